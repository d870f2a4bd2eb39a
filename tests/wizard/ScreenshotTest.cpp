// Every page in both languages: saved for a person to look at (build/screenshots), and checked
// that no text is cut off at the window's size.
#include <QLabel>
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

void expectNothingClipped(QWidget* page, const QString& name) {
    const QRect area = page->rect();
    const QList<QLabel*> labels = page->findChildren<QLabel*>();
    for (QLabel* label : labels) {
        if (!label->isVisible() || label->text().isEmpty()) {
            continue;
        }
        const std::string where = name.toStdString() + ": " + label->text().toStdString();
        if (label->wordWrap()) {
            EXPECT_LE(label->heightForWidth(label->width()), label->height()) << where;
        } else {
            EXPECT_LE(label->sizeHint().width(), label->width()) << where;
        }
        EXPECT_TRUE(area.contains(QRect(label->mapTo(page, QPoint(0, 0)), label->size()))) << where;
    }
    const QList<QPushButton*> buttons = page->findChildren<QPushButton*>();
    for (QPushButton* button : buttons) {
        const std::string where = name.toStdString() + ": " + button->text().toStdString();
        EXPECT_LE(button->sizeHint().width(), button->width()) << where;
        EXPECT_TRUE(area.contains(QRect(button->mapTo(page, QPoint(0, 0)), button->size())))
            << where;
    }
}

class Screenshots : public WizardFixture, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        language_ = QString::fromLatin1(GetParam());
        useTranslationFor(QLocale(language_));
    }
    void TearDown() override { useTranslationFor(QLocale(QLocale::English)); }

    void shoot(WizardWindow& window, const QString& page) {
        QCoreApplication::processEvents();
        const QString name = language_ + QLatin1Char('-') + page;
        saveScreenshot(&window, name);
        expectNothingClipped(window.contentViewController(), name);
    }

    QString language_;
};

TEST_P(Screenshots, OfTheRoadOfANewInstallation) {
    const int status = runWizard(
        [&](WizardWindow& window) {
            auto* start = waitForPage<InstallStartViewController>(window);
            ASSERT_NE(start, nullptr);
            ASSERT_TRUE(waitUntil([&] { return !window.windowTitle().isEmpty(); }));
            shoot(window, QStringLiteral("1-start"));
            click(start->installButton());
            auto* installation = waitForPage<InstallationViewController>(window);
            ASSERT_NE(installation, nullptr);
            ASSERT_TRUE(
                waitUntil([&] { return installation->installationProgressBar()->value() >= 200; }));
            shoot(window, QStringLiteral("2-installation"));
            auto* complete = waitForPage<InstallCompleteViewController>(window);
            ASSERT_NE(complete, nullptr);
            shoot(window, QStringLiteral("3-complete"));
            click(complete->nextButton());
            auto* tutorial = waitForPage<TutorialViewController>(window);
            ASSERT_NE(tutorial, nullptr);
            shoot(window, QStringLiteral("4-tutorial"));
            click(tutorial->closeButton());
        },
        largeBundle());
    EXPECT_EQ(status, 0);
}

TEST_P(Screenshots, OfTheFailurePageAndTheRefusal) {
    writeFile(root.at("/Library/Application Support/Quillmark/VELA/VELA-device"), "in the way");
    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        click(start->installButton());
        auto* failure = waitForPage<InstallFailureViewController>(window);
        ASSERT_NE(failure, nullptr);
        shoot(window, QStringLiteral("5-failure"));
        alertScreenshotName = language_ + QStringLiteral("-6-alert");
        answerNextAlert();
        AlertUtil::runModalWithMessage(
            QCoreApplication::translate("vela::InstallStartViewController",
                                        "Please install with administrator privileges"),
            QCoreApplication::translate("vela::InstallStartViewController", "Error"));
        click(failure->closeButton());
    });
    EXPECT_EQ(status, 0);
    ASSERT_EQ(alerts.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Languages, Screenshots, testing::Values("en", "ja"));

}  // namespace
}  // namespace vela::test
