// The roads in Japanese, whose texts are the longest: each page saved for a person to look at
// (build/screenshots; the English ones come from the road tests) and checked that no text is cut
// off at the window's size. The long copy also shows how the progress bar moves.
#include <QProgressBar>
#include <QPushButton>

#include "AlertUtil.h"
#include "Files.h"
#include "InstallComplete/InstallCompleteViewController.h"
#include "InstallFailure/InstallFailureViewController.h"
#include "InstallStart/InstallStartViewController.h"
#include "Installation/InstallationViewController.h"
#include "Translations.h"
#include "Tutorial/TutorialViewController.h"
#include "WizardFixture.h"

namespace vela::test {
namespace {

class InJapanese : public WizardFixture {
protected:
    void SetUp() override {
        ASSERT_TRUE(useTranslationFor(QLocale(QLocale::Japanese, QLocale::Japan)));
    }
    void TearDown() override {
        useTranslationFor(QLocale(QLocale::English, QLocale::UnitedStates));
    }
};

TEST_F(InJapanese, TheNewInstallationWhileItsBarMovesInSteps) {
    std::vector<int> values;
    const int status = runWizard(
        [&](WizardWindow& window) {
            auto* start = waitForPage<InstallStartViewController>(window);
            ASSERT_NE(start, nullptr);
            ASSERT_TRUE(
                waitUntil([&] { return !window.windowTitle().isEmpty(); }, 5000, "the title"));
            EXPECT_EQ(window.windowTitle(),
                      QStringLiteral("VELA デスクトップアプリケーションのインストール"));
            EXPECT_EQ(start->installButton()->text(), QStringLiteral("インストール"));
            EXPECT_EQ(start->backButton()->text(), QStringLiteral("キャンセル"));
            shoot(window, QStringLiteral("ja-1-start"));
            click(start->installButton());
            auto* installation = waitForPage<InstallationViewController>(window);
            ASSERT_NE(installation, nullptr);
            QProgressBar* bar = installation->installationProgressBar();
            QObject::connect(bar, &QProgressBar::valueChanged,
                             [&values](int v) { values.push_back(v); });
            ASSERT_TRUE(waitOnPage(
                window, [&] { return bar->value() >= 200; }, "the bar at 2 %"));
            shoot(window, QStringLiteral("ja-2-installation"));
            auto* complete = waitForPage<InstallCompleteViewController>(window);
            ASSERT_NE(complete, nullptr);
            shoot(window, QStringLiteral("ja-3-complete"));
            click(complete->nextButton());
            auto* tutorial = waitForPage<TutorialViewController>(window);
            ASSERT_NE(tutorial, nullptr);
            shoot(window, QStringLiteral("ja-4-tutorial"));
            click(tutorial->closeButton());
        },
        largeBundle());
    EXPECT_EQ(status, 0);
    ASSERT_FALSE(values.empty());
    const int half = 50 * InstallationViewController::kProgressScale;
    int inFirstHalf = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        inFirstHalf += values[i] > 0 && values[i] < half ? 1 : 0;
        if (i > 0) {
            EXPECT_GE(values[i], values[i - 1]) << "the bar never goes back";
        }
    }
    // Each value reached the bar through the event loop while the copy ran on another thread.
    EXPECT_GE(inFirstHalf, 3) << "the application copy moves the bar in steps, not at once";
    // The second copy starts its half at 50 %; the page changes as soon as it has ended.
    EXPECT_GE(values.back(), half);
}

TEST_F(InJapanese, TheFailurePageAndTheRefusal) {
    writeFile(root.at("/Library/Application Support/Quillmark/VELA/VELA-device"), "in the way");
    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        click(start->installButton());
        auto* failure = waitForPage<InstallFailureViewController>(window);
        ASSERT_NE(failure, nullptr);
        shoot(window, QStringLiteral("ja-5-failure"));
        alertScreenshotName = QStringLiteral("ja-6-alert");
        answerNextAlert();
        AlertUtil::runModalWithMessage(
            QCoreApplication::translate("vela::InstallStartViewController",
                                        "Please install with administrator privileges"),
            QCoreApplication::translate("vela::InstallStartViewController", "Error"));
        click(failure->closeButton());
    });
    EXPECT_EQ(status, 0);
    answerNextAlert(1);
    AlertUtil::runModalWithErrorMessage(QString(), QString(), {}, nullptr);
    ASSERT_EQ(alerts.size(), 2u);
    EXPECT_EQ(alerts[1].buttons,
              (QStringList{QStringLiteral("ログアウト"), QStringLiteral("キャンセル")}));
}

}  // namespace
}  // namespace vela::test
