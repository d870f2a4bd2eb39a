// The wizard's roads, clicked through with real widgets into a temporary target root.
#include <QCoreApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include <filesystem>

#include "Files.h"
#include "InstallComplete/InstallCompleteViewController.h"
#include "InstallFailure/InstallFailureViewController.h"
#include "InstallStart/InstallStartViewController.h"
#include "Installation/InstallationViewController.h"
#include "Process.h"
#include "ScopedEnvironment.h"
#include "Translations.h"
#include "Tutorial/TutorialViewController.h"
#include "WizardFixture.h"

namespace vela::test {
namespace {

namespace fs = std::filesystem;

const QString kTitle = QStringLiteral("Install of VELA desktop application");

QStringList labelTexts(QWidget* page) {
    QStringList texts;
    const QList<QLabel*> labels = page->findChildren<QLabel*>();
    for (QLabel* label : labels) {
        if (!label->text().isEmpty()) {
            texts << label->text();
        }
    }
    return texts;
}

bool offersButton(const WizardWindow& window, Qt::WindowType hint) {
    return window.windowFlags().testFlag(hint);
}

class WizardRoad : public WizardFixture {
protected:
    std::string generation() const {
        return root.at("/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION);
    }
    std::string deviceDirectory() const {
        return root.at("/Library/Application Support/Quillmark/VELA/VELA-device");
    }
    std::string link() const { return root.at("/Applications/Quillmark/VELA"); }
    std::string launchAgent() const {
        return root.at("/Library/LaunchAgents/com.quillmark.VELA.plist");
    }
};

TEST_F(WizardRoad, NewInstallationLeadsToTheTutorialWhoseCloseEndsTheApplication) {
    // Languages without a catalogue keep the English texts checked below.
    EXPECT_FALSE(useTranslationFor(QLocale(QLocale::German, QLocale::Germany)));
    EXPECT_FALSE(useTranslationFor(QLocale(QLocale::English, QLocale::UnitedKingdom)));
    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        ASSERT_TRUE(waitUntil([&] { return window.windowTitle() == kTitle; }, 5000, "the title"));
        shoot(window, QStringLiteral("en-1-start"));
        EXPECT_FALSE(start->isOverwrite());
        EXPECT_EQ(start->installButton()->text(), QStringLiteral("Install"));
        EXPECT_EQ(start->backButton()->text(), QStringLiteral("Cancel"));
        EXPECT_TRUE(labelTexts(start).contains(QStringLiteral("ver." VELA_TEST_VERSION)));
        EXPECT_TRUE(labelTexts(start).contains(QStringLiteral("Welcome to VELA installer")));
        EXPECT_TRUE(offersButton(window, Qt::WindowCloseButtonHint));
        EXPECT_TRUE(offersButton(window, Qt::WindowMinimizeButtonHint));
        EXPECT_FALSE(offersButton(window, Qt::WindowMaximizeButtonHint));

        click(start->installButton());
        auto* installation =
            dynamic_cast<InstallationViewController*>(window.contentViewController());
        ASSERT_NE(installation, nullptr) << "Install leads straight to the installation page";
        // A new installation cannot be cancelled before its copy has started.
        EXPECT_FALSE(installation->cancelButton()->isEnabled());
        EXPECT_EQ(installation->installationProgressBar()->value(), 0);
        EXPECT_TRUE(labelTexts(installation).contains(QStringLiteral("Installing...")));
        shoot(window, QStringLiteral("en-2-installation"));

        auto* complete = waitForPage<InstallCompleteViewController>(window);
        ASSERT_NE(complete, nullptr);
        EXPECT_EQ(complete->nextButton()->text(), QStringLiteral("Next"));
        EXPECT_TRUE(labelTexts(complete).contains(QStringLiteral("Install complete")));
        shoot(window, QStringLiteral("en-3-complete"));
        ASSERT_TRUE(
            waitUntil([&] { return window.standardButtonsHidden(); }, 5000, "buttons hidden"));
        EXPECT_FALSE(offersButton(window, Qt::WindowCloseButtonHint));
        EXPECT_FALSE(window.isStandardButtonEnabled(WizardWindow::StandardButton::Close));
        // The agent is reloaded as the page loads, before anybody presses a button.
        EXPECT_GE(indexOf("[INFO] Launch desktop application"), 0);
        EXPECT_GE(indexOf("launchctl unload"), 0);
        EXPECT_GE(indexOf("launchctl load"), 0);
        EXPECT_EQ(indexOf("nextButtonClicked"), -1);

        click(complete->nextButton());
        auto* tutorial = waitForPage<TutorialViewController>(window);
        ASSERT_NE(tutorial, nullptr);
        ASSERT_TRUE(waitUntil([&] { return window.windowTitle().isEmpty(); }, 5000, "no title"));
        shoot(window, QStringLiteral("en-4-tutorial"));
        EXPECT_TRUE(window.standardButtonsHidden());
        EXPECT_EQ(tutorial->closeButton()->text(), QStringLiteral("Close"));
        click(tutorial->closeButton());
    });
    EXPECT_EQ(status, 0) << "closing the tutorial's window ends the application";

    EXPECT_TRUE(
        inOrder(messages(), {
                                "[INFO] Start InstallStartViewController installButtonClicked",
                                "[INFO] End InstallStartViewController installButtonClicked",
                                "[INFO] Start Installation process",
                                "[INFO] End Installation process",
                                "[INFO] Launch desktop application",
                                "[INFO] Start InstallCompleteViewController nextButtonClicked",
                                "[INFO] Start TutorialViewController",
                                "[INFO] End InstallCompleteViewController nextButtonClicked",
                                "[INFO] Start TutorialViewController closeButtonClicked",
                                "[INFO] End TutorialViewController closeButtonClicked",
                                "[INFO] End TutorialViewController",
                            }));
    EXPECT_EQ(countOf("svc: [InstallStartViewController]: dvc: [InstallationViewController]"), 1);
    EXPECT_EQ(countOf("[ERROR]"), 0);

    EXPECT_TRUE(fs::is_symlink(link()));
    EXPECT_TRUE(exists(generation() + "/VELA.app"));
    EXPECT_TRUE(exists(generation() + "/VELA-Uninstaller.app"));
    EXPECT_EQ(accessOf(deviceDirectory()), "root:admin:drwxrwxr-x");
    EXPECT_TRUE(exists(deviceDirectory() + "/VELA-device.offline-mode"));
    EXPECT_TRUE(exists(launchAgent()));
}

TEST_F(WizardRoad, OverwriteEndsTheApplicationFromTheCompletionPage) {
    // An installed generation, made by the unattended front end from the same bundle.
    const RunResult first =
        run({VELA_TEST_CLI, "--target", root.root()}, {{"HOME", root.base() + "/cli-home"}});
    ASSERT_EQ(first.status, 0) << first.err;

    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        EXPECT_TRUE(start->isOverwrite());
        click(start->installButton());
        auto* installation =
            dynamic_cast<InstallationViewController*>(window.contentViewController());
        ASSERT_NE(installation, nullptr);
        EXPECT_TRUE(installation->isOverwrite());
        EXPECT_TRUE(installation->cancelButton()->isEnabled())
            << "an overwrite can be cancelled at once";

        auto* complete = waitForPage<InstallCompleteViewController>(window);
        ASSERT_NE(complete, nullptr);
        EXPECT_TRUE(complete->isOverwrite());
        EXPECT_EQ(complete->nextButton()->text(), QStringLiteral("Completion"));
        click(complete->nextButton());
    });
    EXPECT_EQ(status, 0);
    EXPECT_GE(indexOf("[INFO] Found installed module: VELA-Ver" VELA_TEST_VERSION), 0);
    EXPECT_GE(indexOf("[INFO] Generation rename processing "), 0);
    const long launch = indexOf("[INFO] Launch desktop application");
    EXPECT_GE(launch, 0) << "the agent is reloaded after an overwrite too";
    EXPECT_GT(indexOf("[INFO] End InstallCompleteViewController nextButtonClicked"), launch);
    EXPECT_EQ(countOf("TutorialViewController"), 0) << "an update never shows the tutorial";
    EXPECT_TRUE(exists(generation() + "/VELA-Uninstaller.app"));
    EXPECT_FALSE(exists(generation() + ".old"));
}

TEST_F(WizardRoad, UnpreparedDeviceDirectoryReachesTheFailurePageAndCloseEnds) {
    writeFile(deviceDirectory(), "a plain file where the directory belongs");

    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        click(start->installButton());
        auto* failure = waitForPage<InstallFailureViewController>(window);
        ASSERT_NE(failure, nullptr);
        EXPECT_EQ(window.windowTitle(), kTitle);
        EXPECT_EQ(failure->closeButton()->text(), QStringLiteral("Close"));
        const QStringList texts = labelTexts(failure);
        EXPECT_TRUE(texts.contains(QStringLiteral("Installation couldn't be completed")));
        EXPECT_TRUE(texts.contains(QStringLiteral("Error occurred")));
        EXPECT_TRUE(texts.contains(QStringLiteral("ver." VELA_TEST_VERSION)));
        EXPECT_FALSE(texts.join(QLatin1Char(' ')).contains(QStringLiteral("MSG_E3001")))
            << "the code is for the log only";
        shoot(window, QStringLiteral("en-5-failure"));
        click(failure->closeButton());
    });
    EXPECT_EQ(status, 0);
    EXPECT_GE(indexOf("[ERROR] code=MSG_E3001"), 0);
    EXPECT_EQ(indexOf("VELA.app to"), -1) << "no copy is started";
    EXPECT_GE(indexOf("[INFO] End InstallFailureViewController closeButtonClicked"), 0);
    EXPECT_FALSE(exists(generation()));
}

// An overwrite whose copy fails is undone before anything else can happen: a Close clicked the
// moment the failure page shows finds the previous generation already back.
TEST_F(WizardRoad, AFailedCopyIsUndoneBeforeTheFailurePageCanBeClosed) {
    writeFile(generation() + "/VELA-Uninstaller.app/previous", "previous");
    writeFile(generation() + "/VELA.app/previous", "previous");
    const std::string before = snapshotTree(root.at("/Applications"));
    const int status = runWizard(
        [&](WizardWindow& window) {
            auto* start = waitForPage<InstallStartViewController>(window);
            ASSERT_NE(start, nullptr);
            click(start->installButton());
            auto* failure = waitForPage<InstallFailureViewController>(window);
            ASSERT_NE(failure, nullptr);
            click(failure->closeButton());
        },
        bundleWithoutUninstaller());
    EXPECT_EQ(status, 0);
    EXPECT_EQ(countOf("[ERROR] code=MSG_E3001, message=Installation couldn't be completed"), 1);
    EXPECT_EQ(countOf("svc: [InstallationViewController]"), 1) << "only the first page change";
    EXPECT_LT(indexOf("[INFO] Undo the installation after a failure"),
              indexOf("[INFO] Start InstallFailureViewController closeButtonClicked"));
    EXPECT_EQ(snapshotTree(root.at("/Applications")), before);
}

TEST_F(WizardRoad, CancelDuringTheCopyUndoesTheRunAndEndsTheApplication) {
    const std::string before = snapshotTree(root.root());
    bool clickedDuringCopy = false;
    const int status = runWizard(
        [&](WizardWindow& window) {
            auto* start = waitForPage<InstallStartViewController>(window);
            ASSERT_NE(start, nullptr);
            click(start->installButton());
            auto* installation = waitForPage<InstallationViewController>(window);
            ASSERT_NE(installation, nullptr);
            ASSERT_TRUE(waitOnPage(
                window,
                [&] {
                    return installation->cancelButton()->isEnabled() &&
                           installation->installationProgressBar()->value() > 0;
                },
                "Cancel enabled and the bar moving"));
            clickedDuringCopy = installation->installationProgressBar()->value() <
                                50 * InstallationViewController::kProgressScale;
            click(installation->cancelButton());
            EXPECT_TRUE(installation->isCancelRequested());
            EXPECT_TRUE(installation->cancelButton()->isChecked()) << "the state stays on";
            EXPECT_FALSE(installation->cancelButton()->isEnabled());
        },
        largeBundle());
    EXPECT_EQ(status, 0) << "the rollback ends the application";
    EXPECT_TRUE(clickedDuringCopy) << "the click was meant to land during the first copy";

    EXPECT_EQ(countOf("[INFO] Start InstallationViewController cancelButtonClicked"), 1);
    EXPECT_EQ(countOf("[INFO] End InstallationViewController cancelButtonClicked"), 1);
    EXPECT_EQ(countOf("[INFO] End Installation process"), 0);
    EXPECT_EQ(countOf("[ERROR]"), 0);
    EXPECT_EQ(countOf("svc: [InstallationViewController]"), 0) << "no page change after Cancel";
    EXPECT_FALSE(exists(generation()));
    EXPECT_FALSE(exists(deviceDirectory()));
    EXPECT_FALSE(exists(link()));
    EXPECT_FALSE(exists(launchAgent()));
    // What the run created around them (the vendor folders) may stay; nothing else changed.
    EXPECT_EQ(snapshotTree(root.root(), kVendorFolders), before);
}

// The wizard works for the user who asked for it: an elevated instance asked for by a user
// outside "admin" refuses, though it runs as root.
TEST_F(WizardRoad, AUserOutsideAdminIsRefusedAndNothingChanges) {
    ScopedEnvironment requestedBy("PKEXEC_UID", "65534");
    const std::string before = snapshotTree(root.root());
    alertScreenshotName = QStringLiteral("en-6-alert");
    answerNextAlert();
    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        click(start->installButton());
        waitUntil([&] { return !alerts.empty(); }, 5000, "the refusal's alert");
    });
    EXPECT_EQ(status, 0) << "the application ends";
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].title, QStringLiteral("Error"));
    EXPECT_EQ(alerts[0].message, QStringLiteral("Please install with administrator privileges"));
    EXPECT_TRUE(inOrder(messages(), {"[INFO] End check user nobody in admin group(no admin)",
                                     "[ERROR] code=MSG_E3002, message=please install with "
                                     "administrator privileges"}));
    EXPECT_EQ(countOf("svc: "), 0) << "no page change";
    EXPECT_EQ(snapshotTree(root.root()), before);
}

}  // namespace
}  // namespace vela::test
