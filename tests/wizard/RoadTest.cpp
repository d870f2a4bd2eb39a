// The wizard's roads, clicked through with real widgets into a temporary target root. Each page
// is saved for a person to look at (build/screenshots) and checked that no text is cut off; the
// Japanese texts are the longest.
#include <QCoreApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "Files.h"
#include "InstallComplete/InstallCompleteViewController.h"
#include "InstallFailure/InstallFailureViewController.h"
#include "InstallStart/InstallStartViewController.h"
#include "Installation/InstallationViewController.h"
#include "ScopedEnvironment.h"
#include "Translations.h"
#include "Tutorial/TutorialViewController.h"
#include "WizardFixture.h"

namespace vela::test {
namespace {

namespace fs = std::filesystem;

const QString kVersion = QStringLiteral("ver." VELA_TEST_VERSION);
const QLocale kJapanese(QLocale::Japanese, QLocale::Japan);

QStringList labelTexts(QWidget* page) {
    QStringList texts;
    for (QLabel* label : page->findChildren<QLabel*>()) {
        if (!label->text().isEmpty()) {
            texts << label->text();
        }
    }
    return texts;
}

bool offersButton(const WizardWindow& window, Qt::WindowType hint) {
    return window.windowFlags().testFlag(hint);
}

using WizardRoad = WizardFixture;

// What `page` shows for the English `text` in the language in use.
QString tr(const char* page, const char* text) {
    return QCoreApplication::translate((std::string("vela::") + page).c_str(), text);
}

// A new installation in Japanese whose tutorial's Close ends the application, then overwrites
// of it in English: Command-Shift-W closes the completion page, whose Close window button is
// disabled; its Completion button ends the application. The wizard works for the user who
// asked for it: asked for by nobody, it refuses.
TEST_F(WizardRoad, NewInstallationAndOverwritesEndAsTheirPagesSay) {
    // Languages without a catalogue keep the English texts. The agent is reloaded as the
    // completion page loads, before anybody presses a button.
    EXPECT_FALSE(useTranslationFor(QLocale(QLocale::German, QLocale::Germany)));
    EXPECT_FALSE(useTranslationFor(QLocale(QLocale::English, QLocale::UnitedKingdom)));
    enum class End { TutorialClose, CommandW, Completion, Refused };
    struct Road {
        QString name;
        bool overwrite;
        End end;
        std::vector<std::string> said;
        std::string notSaid;
    };
    const Road roads[] = {
        {QStringLiteral("ja"),
         false,
         End::TutorialClose,
         {"[INFO] Start InstallStartViewController installButtonClicked",
          "[INFO] End InstallStartViewController installButtonClicked",
          "[INFO] Start Installation process", "[INFO] End Installation process",
          "[INFO] Launch desktop application", "launchctl unload", "launchctl load",
          "[INFO] Start InstallCompleteViewController nextButtonClicked",
          "[INFO] Start TutorialViewController",
          "[INFO] End InstallCompleteViewController nextButtonClicked",
          "[INFO] Start TutorialViewController closeButtonClicked",
          "[INFO] End TutorialViewController closeButtonClicked",
          "[INFO] End TutorialViewController"},
         "[ERROR]"},
        {QStringLiteral("en-overwrite"),
         true,
         End::CommandW,
         {"[INFO] Generation rename processing ", "[INFO] Launch desktop application"},
         "nextButtonClicked"},
        {QStringLiteral("en-completion"),
         true,
         End::Completion,
         {"[INFO] Launch desktop application",
          "[INFO] End InstallCompleteViewController nextButtonClicked"},
         "TutorialViewController"},
        // Asked for by a user outside "admin", the elevated instance refuses, though root.
        {QStringLiteral("en-refused"),
         true,
         End::Refused,
         {"[INFO] End check user nobody in admin group(no admin)",
          "[ERROR] code=MSG_E3002, message=please install with administrator privileges"},
         "svc: "},
    };
    for (const Road& road : roads) {
        SCOPED_TRACE(road.name.toStdString());
        useTranslationFor(road.name.startsWith(QLatin1String("ja")) ? kJapanese : QLocale::c());
        const LogReader roadLog;
        const auto shot = [&](const char* page) { return road.name + QLatin1String(page); };
        const ScopedEnvironment requestedBy("PKEXEC_UID", road.end == End::Refused ? "65534" : "");
        if (road.end == End::Refused) {
            answerNextAlert(0, shot("-6-alert"));
        }
        const int status = runWizard([&](WizardWindow& window) {
            auto* start = waitForPage<InstallStartViewController>(window);
            ASSERT_NE(start, nullptr);
            const QString title =
                tr("InstallStartViewController", "Install of VELA desktop application");
            ASSERT_TRUE(waitUntil([&] { return window.windowTitle() == title; }, 5000, "title"));
            shoot(window, shot("-1-start"));
            EXPECT_EQ(start->isOverwrite(), road.overwrite);
            EXPECT_EQ(start->installButton()->text(), tr("InstallStartViewController", "Install"));
            EXPECT_EQ(start->backButton()->text(), tr("InstallStartViewController", "Cancel"));
            EXPECT_EQ(labelTexts(start),
                      (QStringList{
                          tr("InstallStartViewController", "Welcome to VELA installer"),
                          tr("InstallStartViewController", "Start install for desktop application"),
                          kVersion}));
            EXPECT_TRUE(offersButton(window, Qt::WindowCloseButtonHint));
            EXPECT_TRUE(offersButton(window, Qt::WindowMinimizeButtonHint));
            EXPECT_FALSE(offersButton(window, Qt::WindowMaximizeButtonHint));

            click(start->installButton());
            if (road.end == End::Refused) {
                return;
            }
            auto* installation =
                dynamic_cast<InstallationViewController*>(window.contentViewController());
            ASSERT_NE(installation, nullptr) << "Install leads straight to the installation page";
            EXPECT_EQ(installation->isOverwrite(), road.overwrite);
            // Only an overwrite can be cancelled before its copy has started.
            EXPECT_EQ(installation->cancelButton()->isEnabled(), road.overwrite);
            EXPECT_EQ(installation->installationProgressBar()->value(), 0);
            EXPECT_TRUE(labelTexts(installation)
                            .contains(tr("InstallationViewController", "Installing...")));
            shoot(window, shot("-2-installation"));

            auto* complete = waitForPage<InstallCompleteViewController>(window);
            ASSERT_NE(complete, nullptr);
            EXPECT_EQ(complete->isOverwrite(), road.overwrite);
            EXPECT_EQ(complete->nextButton()->text(),
                      tr("InstallCompleteViewController", road.overwrite ? "Completion" : "Next"));
            EXPECT_TRUE(labelTexts(complete).contains(
                tr("InstallCompleteViewController", "Install complete")));
            shoot(window, shot("-3-complete"));
            ASSERT_TRUE(
                waitUntil([&] { return window.standardButtonsHidden(); }, 5000, "buttons hidden"));
            EXPECT_FALSE(offersButton(window, Qt::WindowCloseButtonHint));
            EXPECT_FALSE(window.isStandardButtonEnabled(WizardWindow::StandardButton::Close));
            if (road.end == End::CommandW) {
                QTest::keyClick(complete->nextButton(), Qt::Key_W,
                                Qt::ControlModifier | Qt::ShiftModifier);
                EXPECT_FALSE(window.isVisible()) << "only the Command bit is tested";
                return;
            }
            click(complete->nextButton());
            if (road.end == End::TutorialClose) {
                auto* tutorial = waitForPage<TutorialViewController>(window);
                ASSERT_NE(tutorial, nullptr);
                ASSERT_TRUE(
                    waitUntil([&] { return window.windowTitle().isEmpty(); }, 5000, "no title"));
                shoot(window, shot("-4-tutorial"));
                EXPECT_EQ(tutorial->closeButton()->text(), tr("TutorialViewController", "Close"));
                click(tutorial->closeButton());
            }
        });
        EXPECT_EQ(status, 0) << "the application ends";
        const std::vector<std::string> said = roadLog.messages();
        EXPECT_TRUE(inOrder(said, road.said));
        EXPECT_EQ(test::countOf(said, road.notSaid), 0);
        EXPECT_EQ(test::countOf(
                      said, "svc: [InstallStartViewController]: dvc: [InstallationViewController]"),
                  road.end == End::Refused ? 0 : 1);
    }
    EXPECT_EQ(alerts, std::vector<std::string>{
                          "2: Error / Please install with administrator privileges [OK]"});
}

// An overwrite whose copy fails is undone before anything else can happen: a Close clicked the
// moment the failure page shows finds the previous generation already back. Undone, the same
// road runs again in Japanese.
TEST_F(WizardRoad, AFailedCopyIsUndoneBeforeTheFailurePageCanBeClosed) {
    const std::string generation = root.at("/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION);
    writeFile(generation + "/VELA-Uninstaller.app/previous", "previous");
    writeFile(generation + "/VELA.app/previous", "previous");
    const std::string before = snapshotTree(root.at("/Applications"));
    const Bundle broken = bundleCopy([](const std::string& bundle) {
        fs::remove_all(bundle + "/Contents/MacOS/VELA-Uninstaller.app");  // its copy fails
    });
    for (const QString& language : {QStringLiteral("en"), QStringLiteral("ja")}) {
        SCOPED_TRACE(language.toStdString());
        const int status = runWizard(
            [&](WizardWindow& window) {
                auto* start = waitForPage<InstallStartViewController>(window);
                ASSERT_NE(start, nullptr);
                click(start->installButton());
                auto* failure = waitForPage<InstallFailureViewController>(window);
                ASSERT_NE(failure, nullptr);
                shoot(window, language + QStringLiteral("-5-failure"));
                EXPECT_EQ(window.windowTitle(), tr("InstallFailureViewController",
                                                   "Install of VELA desktop application"));
                EXPECT_EQ(failure->closeButton()->text(),
                          tr("InstallFailureViewController", "Close"));
                // The error's code is for the log only.
                EXPECT_EQ(
                    labelTexts(failure),
                    (QStringList{
                        tr("InstallFailureViewController", "Installation couldn't be completed"),
                        tr("InstallFailureViewController", "Error occurred"), kVersion}));
                click(failure->closeButton());
            },
            broken);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(snapshotTree(root.at("/Applications")), before);
        ASSERT_TRUE(useTranslationFor(kJapanese));
    }
    EXPECT_EQ(countOf("[ERROR] code=MSG_E3001, message=Installation couldn't be completed"), 2);
    EXPECT_EQ(countOf("svc: [InstallationViewController]"), 2) << "only the first page change";
    EXPECT_TRUE(
        inOrder(messages(), {"[INFO] Undo the installation after a failure",
                             "[INFO] Start InstallFailureViewController closeButtonClicked",
                             "[INFO] End InstallFailureViewController closeButtonClicked"}));
}

TEST_F(WizardRoad, CancelDuringTheCopyUndoesTheRunAndEndsTheApplication) {
    const std::string before = snapshotTree(root.root());
    const int half = 50 * InstallationViewController::kProgressScale;
    std::vector<int> values;
    bool clickedDuringCopy = false;
    const int status = runWizard(
        [&](WizardWindow& window) {
            auto* start = waitForPage<InstallStartViewController>(window);
            ASSERT_NE(start, nullptr);
            click(start->installButton());
            auto* installation = waitForPage<InstallationViewController>(window);
            ASSERT_NE(installation, nullptr);
            QProgressBar* bar = installation->installationProgressBar();
            QObject::connect(bar, &QProgressBar::valueChanged,
                             [&values](int v) { values.push_back(v); });
            // Steps, not the whole half at once.
            ASSERT_TRUE(waitOnPage(
                window,
                [&] { return installation->cancelButton()->isEnabled() && values.size() >= 3; },
                "Cancel enabled and the bar moved three steps"));
            clickedDuringCopy = bar->value() < half;
            click(installation->cancelButton());
            EXPECT_TRUE(installation->isCancelRequested());
            EXPECT_TRUE(installation->cancelButton()->isChecked()) << "the state stays on";
            EXPECT_FALSE(installation->cancelButton()->isEnabled());
        },
        bundleCopy([](const std::string& bundle) {
            // A gigabyte more to copy: long enough to watch and to cancel.
            const fs::path data = bundle + "/Contents/MacOS/VELA.app/Contents/Resources/data";
            fs::create_directories(data);
            const std::string block(2 * 1024 * 1024, 'v');
            for (int i = 0; i < 512; ++i) {
                std::ofstream(data / ("block" + std::to_string(i)), std::ios::binary) << block;
            }
        }));
    EXPECT_EQ(status, 0) << "the rollback ends the application";
    EXPECT_TRUE(clickedDuringCopy) << "the click was meant to land during the first copy";
    // Each value reached the bar through the event loop while the copy ran on another thread.
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end())) << "the bar never goes back";
    EXPECT_EQ(countOf("[INFO] Start InstallationViewController cancelButtonClicked"), 1);
    EXPECT_EQ(countOf("[INFO] End InstallationViewController cancelButtonClicked"), 1);
    EXPECT_EQ(countOf("[INFO] End Installation process"), 0);
    EXPECT_EQ(countOf("[ERROR]"), 0);
    EXPECT_EQ(countOf("svc: [InstallationViewController]"), 0) << "no page change after Cancel";
    // What the run created around them (the vendor folders) may stay; nothing else changed.
    EXPECT_EQ(snapshotTree(root.root(), kVendorFolders), before);
}

}  // namespace
}  // namespace vela::test
