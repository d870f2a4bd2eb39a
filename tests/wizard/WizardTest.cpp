// The wizard clicked through with real widgets into a temporary target root. Each page is saved
// for a person to look at (build/screenshots) and checked that no text, Japanese too, is cut off.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "AlertUtil.h"
#include "BaseViewController.h"
#include "Const.h"
#include "EventLoop.h"
#include "Files.h"
#include "InstallComplete/InstallCompleteViewController.h"
#include "InstallFailure/InstallFailureViewController.h"
#include "InstallStart/InstallStartViewController.h"
#include "Installation/InstallationViewController.h"
#include "LogReader.h"
#include "Process.h"
#include "ScopedEnvironment.h"
#include "Storyboard.h"
#include "TempInstallRoot.h"
#include "Translations.h"
#include "Tutorial/TutorialViewController.h"
#include "WizardWindow.h"

namespace vela::test {
namespace {

namespace fs = std::filesystem;

const QString kVersion = QStringLiteral("ver." VELA_TEST_VERSION);
const QLocale kJapanese(QLocale::Japanese, QLocale::Japan);

// What `page` shows for the English `text` in the language in use.
QString tr(const char* page, const char* text) {
    return QCoreApplication::translate((std::string("vela::") + page).c_str(), text);
}

void saveScreenshot(QWidget* widget, const QString& name) {
    QDir().mkpath(QStringLiteral(VELA_SCREENSHOT_DIR));
    widget->grab().save(QStringLiteral(VELA_SCREENSHOT_DIR "/") + name + QStringLiteral(".png"));
}

std::string shownPage(const WizardWindow& window) {
    const BaseViewController* page = window.contentViewController();
    return !window.isVisible() ? "no window" : page ? page->identifier().toStdString() : "no page";
}

// A fresh target root, a reader of the log from the test's start on; English again at the end.
class WizardFixture : public testing::Test {
protected:
    WizardFixture() {
        Const::setTargetRoot(root.root());
        writeFile(*Const::getLogModeSettingFilePath(), "");  // DEBUG: the trace lines are read too
    }
    ~WizardFixture() override {
        Const::setTargetRoot("/");
        useTranslationFor(QLocale(QLocale::English, QLocale::UnitedStates));
    }

    // Runs a new wizard window with `script`: the loop's status once the application has ended,
    // or -1 at once when the script failed or the application has not ended 30 s after it.
    static int runWizard(const std::function<void(WizardWindow&)>& script,
                         const std::optional<Bundle>& bundle = std::nullopt) {
        std::unique_ptr<WizardWindow> window = Storyboard::instantiateWindow();
        if (bundle) {
            window->setInstallerBundle(*bundle);
        }
        window->show();
        QTimer::singleShot(0, window.get(), [&script, &window] {
            script(*window);
            if (testing::Test::HasFailure()) {
                QCoreApplication::exit(-1);
            }
            QTimer::singleShot(30000, window.get(), [&window] {
                ADD_FAILURE() << "the application did not end; the window shows "
                              << shownPage(*window);
                QCoreApplication::exit(-1);
            });
        });
        return QApplication::exec();
    }

    // Waits for `condition`; fails at once, naming `awaited`, when the road stops elsewhere.
    static bool waitOnPage(const WizardWindow& window, const std::function<bool()>& condition,
                           const char* awaited, int timeoutMs = 20000) {
        const QStringList stops = {"no window", "InstallFailureViewController",
                                   "InstallCompleteViewController", "TutorialViewController"};
        waitUntil(
            [&] {
                return condition() || stops.contains(QString::fromStdString(shownPage(window)));
            },
            timeoutMs);
        const bool held = condition();
        if (!held) {
            ADD_FAILURE() << "waited in vain for " << awaited << ", the window shows "
                          << shownPage(window);
        }
        return held;
    }
    template <typename Page>
    static Page* waitForPage(WizardWindow& window) {
        const auto shown = [&] { return dynamic_cast<Page*>(window.contentViewController()); };
        waitOnPage(
            window, [&] { return shown() != nullptr; }, typeid(Page).name(), 60000);
        return shown();
    }

    static void click(QAbstractButton* button) {
        ASSERT_NE(button, nullptr);
        ASSERT_TRUE(button->isVisible() && button->isEnabled()) << button->text().toStdString();
        QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, button->rect().center());
    }

    // Answers the next alert with its button `index`, recording it in `alerts` as "icon:
    // headline / text [buttons]" (icon 2 a warning, 3 critical) and saving it as <shot>.png.
    void answerNextAlert(int index, const QString& shot) {
        auto* timer = new QTimer();
        QObject::connect(timer, &QTimer::timeout, [this, timer, index, shot] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr || !box->isVisible()) {
                return;
            }
            timer->deleteLater();
            timer->stop();
            QStringList buttons;
            for (QAbstractButton* button : box->buttons()) {
                buttons << button->text();
            }
            alerts.push_back(QStringLiteral("%1: %2 / %3 [%4]")
                                 .arg(box->icon())
                                 .arg(box->text(), box->informativeText(), buttons.join(u", "))
                                 .toStdString());
            saveScreenshot(box, shot);
            QTest::mouseClick(box->buttons().value(index), Qt::LeftButton);
        });
        timer->start(10);
    }

    // Saves the window as <name>.png; fails for a text of its page cut off or outside it.
    // Returns the texts its page shows, labels and buttons.
    static QStringList shoot(WizardWindow& window, const QString& name) {
        QCoreApplication::processEvents();
        saveScreenshot(&window, name);
        QWidget* page = window.contentViewController();
        QStringList texts;
        for (QWidget* child : page->findChildren<QWidget*>()) {
            auto* label = qobject_cast<QLabel*>(child);
            auto* button = qobject_cast<QPushButton*>(child);
            const QString text = label ? label->text() : button ? button->text() : QString();
            if (!child->isVisible() || text.isEmpty()) {
                continue;
            }
            const bool fits = label && label->wordWrap()
                                  ? label->heightForWidth(label->width()) <= label->height()
                                  : child->sizeHint().width() <= child->width();
            EXPECT_TRUE(fits) << name.toStdString() << ": cut off: " << text.toStdString();
            EXPECT_TRUE(page->rect().contains(QRect(child->mapTo(page, QPoint()), child->size())))
                << name.toStdString() << ": outside the page: " << text.toStdString();
            texts << text;
        }
        return texts;
    }

    // A copy of the built installer bundle beside the target root, once `change` has changed it.
    Bundle bundleCopy(const std::function<void(const std::string&)>& change,
                      const std::string& name = "VELA-device-Installer.app") const {
        const std::string path = root.base() + "/" + name;
        fs::copy(VELA_TEST_BUNDLE_DIR, path, fs::copy_options::recursive);
        change(path);
        return Bundle(path);
    }

    long countOf(const std::string& text) const { return test::countOf(log.messages(), text); }

    TempInstallRoot root;
    LogReader log;
    std::vector<std::string> alerts;
};

using WizardRoad = WizardFixture;

// A new installation in Japanese, then overwrites of it, each ending by another way. A failed
// copy is undone before the failure page shows: its Close finds the previous generation back.
TEST_F(WizardRoad, NewInstallationAndOverwritesEndAsTheirPagesSay) {
    enum class End {
        TutorialClose,
        CommandW,
        Completion,
        CopyFails,
        Refused,
        RepairFails,
        StartCancel
    };
    struct Road {
        QString name;
        End end;
        std::vector<std::string> said;
        std::string notSaid;
    };
    const std::vector<std::string> undone = {
        "[ERROR] code=MSG_E3001, message=Installation couldn't be completed",
        "[INFO] Undo the installation after a failure",
        "[INFO] Start InstallFailureViewController closeButtonClicked",
        "[INFO] End InstallFailureViewController closeButtonClicked"};
    const Road roads[] = {
        {QStringLiteral("ja"),
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
         End::CommandW,
         {"[INFO] Generation rename processing ", "[INFO] Launch desktop application"},
         "nextButtonClicked"},
        {QStringLiteral("en-completion"),
         End::Completion,
         {"[INFO] Launch desktop application",
          "[INFO] End InstallCompleteViewController nextButtonClicked"},
         "TutorialViewController"},
        // Asked for by a user outside "admin", the elevated instance refuses, though root.
        {QStringLiteral("en-refused"),
         End::Refused,
         {"[INFO] End check user nobody in admin group(no admin)",
          "[ERROR] code=MSG_E3002, message=please install with administrator privileges"},
         "svc: "},
        // A journal left behind that is not acted on: nothing starts.
        {QStringLiteral("en-repair-refused"),
         End::RepairFails,
         {"[ERROR] the journal of an earlier installation is not acted on: ",
          "[INFO] End InstallStartViewController installButtonClicked"},
         "svc: "},
        {QStringLiteral("en-cancel"),
         End::StartCancel,
         {"CustomSegue::perform() start", "svc: [InstallStartViewController]: dvc: [unknown]",
          "[INFO] The segue performed: main:", "CustomSegue::perform() end",
          "[INFO] Start InstallStartViewController cancelButtonClicked",
          "[INFO] End InstallStartViewController cancelButtonClicked"},
         "dvc: [InstallationViewController]"},
        // Refused before anything changes, as the command line refuses it.
        {QStringLiteral("en-failure"),
         End::CopyFails,
         {"[ERROR] code=MSG_E3001, message=the installer bundle is incomplete: no "
          "VELA-Uninstaller.app",
          "[INFO] Start InstallFailureViewController closeButtonClicked"},
         "Undo the installation"},
        {QStringLiteral("ja-failure"), End::CopyFails, undone, "Launch desktop application"},
    };
    const Qt::WindowFlags buttons = Qt::WindowCloseButtonHint | Qt::WindowMinimizeButtonHint;
    const Bundle broken = bundleCopy([](const std::string& bundle) {
        // Its copy fails: a FIFO is no file to install.
        ASSERT_EQ(::mkfifo((bundle + "/Contents/MacOS/VELA-Uninstaller.app/fifo").c_str(), 0644),
                  0);
    });
    const Bundle incomplete = bundleCopy(
        [](const std::string& bundle) {
            fs::remove_all(bundle + "/Contents/MacOS/VELA-Uninstaller.app");
        },
        "Incomplete.app");
    for (const Road& road : roads) {
        SCOPED_TRACE(road.name.toStdString());
        const bool overwrite = &road != &roads[0];  // the others find the first one's installation
        const bool japanese = road.name.startsWith(QLatin1String("ja"));
        EXPECT_EQ(useTranslationFor(japanese ? kJapanese : QLocale::c()), japanese);
        const std::string before = snapshotTree(root.at("/Applications"));
        const LogReader roadLog;
        const auto shot = [&](const char* page) { return road.name + QLatin1String(page); };
        const ScopedEnvironment requestedBy("PKEXEC_UID", road.end == End::Refused ? "65534" : "");
        const std::string journal =
            root.at("/Library/Application Support/Quillmark/VELA/.install-journal");
        if (road.end == End::RepairFails) {
            writeFile(journal, "not a journal");
            ::chmod(journal.c_str(), 0600);
        }
        if (road.end == End::Refused || road.end == End::RepairFails) {
            answerNextAlert(0, shot("-6-alert"));
        }
        const int status = runWizard(
            [&](WizardWindow& window) {
                auto* start = waitForPage<InstallStartViewController>(window);
                ASSERT_NE(start, nullptr);
                const QString title =
                    tr("InstallStartViewController", "Install of VELA desktop application");
                ASSERT_TRUE(
                    waitUntil([&] { return window.windowTitle() == title; }, 5000, "title"));
                EXPECT_EQ(
                    shoot(window, shot("-1-start")),
                    (QStringList{
                        tr("InstallStartViewController", "Welcome to VELA installer"),
                        tr("InstallStartViewController", "Start install for desktop application"),
                        kVersion, tr("InstallStartViewController", "Cancel"),
                        tr("InstallStartViewController", "Install")}));
                EXPECT_EQ(window.windowFlags() & (Qt::WindowMaximizeButtonHint | buttons), buttons);
                const QImage image = window.grab().toImage();
                EXPECT_EQ(image.pixelColor(1, image.height() - 2), QColor(0xf3, 0xf5, 0xf7));

                if (road.end == End::StartCancel) {
                    // Keys reach the focused button first and travel up to the page.
                    QTest::keyClick(start->installButton(), Qt::Key_W);
                    QTest::keyClick(start->installButton(), Qt::Key_Q, Qt::ControlModifier);
                    QTest::keyClick(start, Qt::Key_E, Qt::ControlModifier);
                    start->performSegueWithIdentifier(QStringLiteral("toNowhere"), nullptr);
                    QCoreApplication::processEvents();
                    EXPECT_TRUE(window.isVisible()) << "W alone or Command with another key";
                    EXPECT_EQ(window.contentViewController(), start);
                    EXPECT_EQ(countOf(": The source storyboardID: InstallStartViewController: The "
                                      "destination storyboard ID: unknown"),
                              1);
                    click(start->backButton());
                    EXPECT_FALSE(start->backButton()->isEnabled());
                    return;
                }
                click(start->installButton());
                if (road.end == End::Refused || road.end == End::RepairFails) {
                    return;
                }
                auto* installation =
                    dynamic_cast<InstallationViewController*>(window.contentViewController());
                ASSERT_NE(installation, nullptr)
                    << "Install leads straight to the installation page";
                // Only an overwrite can be cancelled before its copy has started.
                EXPECT_EQ(installation->cancelButton()->isEnabled(), overwrite);
                EXPECT_EQ(installation->installationProgressBar()->value(), 0);
                EXPECT_TRUE(
                    std::ranges::any_of(installation->findChildren<QLabel*>(), [](QLabel* label) {
                        return label->text() == tr("InstallationViewController", "Installing...");
                    }));
                if (road.end == End::CopyFails) {
                    auto* failure = waitForPage<InstallFailureViewController>(window);
                    ASSERT_NE(failure, nullptr);
                    EXPECT_EQ(window.windowTitle(), title);
                    // The error's code is for the log only; what failed, where and why is shown.
                    const QStringList shown = shoot(window, shot("-5-failure"));
                    const QString why = road.name == QLatin1String("en-failure")
                                            ? QStringLiteral("no VELA-Uninstaller.app")
                                            : QStringLiteral("/VELA-Uninstaller.app/fifo (");
                    EXPECT_TRUE(shown.value(1).startsWith(
                        tr("InstallFailureViewController", "Error occurred") +
                        QStringLiteral("\n\n")))
                        << shown.value(1).toStdString();
                    EXPECT_TRUE(shown.value(1).contains(why)) << shown.value(1).toStdString();
                    EXPECT_FALSE(shown.value(1).contains(QStringLiteral("couldn't be completed")))
                        << "the detail repeats the title";
                    EXPECT_EQ(
                        shown.size() == 4 ? shown[0] + shown[2] + shown[3] : QString(),
                        tr("InstallFailureViewController", "Installation couldn't be completed") +
                            kVersion + tr("InstallFailureViewController", "Close"));
                    click(failure->closeButton());
                    return;
                }
                shoot(window, shot("-2-installation"));

                auto* complete = waitForPage<InstallCompleteViewController>(window);
                ASSERT_NE(complete, nullptr);
                EXPECT_EQ(complete->nextButton()->text(),
                          tr("InstallCompleteViewController", overwrite ? "Completion" : "Next"));
                EXPECT_TRUE(shoot(window, shot("-3-complete"))
                                .contains(tr("InstallCompleteViewController", "Install complete")));
                ASSERT_TRUE(waitUntil([&] { return window.standardButtonsHidden(); }, 5000,
                                      "buttons hidden"));
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
                    ASSERT_TRUE(waitUntil([&] { return window.windowTitle().isEmpty(); }, 5000,
                                          "no title"));
                    EXPECT_TRUE(shoot(window, shot("-4-tutorial"))
                                    .contains(tr("TutorialViewController", "Close")));
                    click(tutorial->closeButton());
                }
            },
            road.end != End::CopyFails                 ? std::nullopt
            : road.name == QLatin1String("en-failure") ? std::optional(incomplete)
                                                       : std::optional(broken));
        EXPECT_EQ(status, 0) << "the application ends";
        const std::vector<std::string> said = roadLog.messages();
        EXPECT_TRUE(inOrder(said, road.said));
        EXPECT_EQ(test::countOf(said, road.notSaid), 0);
        EXPECT_EQ(test::countOf(
                      said, "svc: [InstallStartViewController]: dvc: [InstallationViewController]"),
                  road.end < End::Refused ? 1 : 0);
        EXPECT_LE(test::countOf(said, "svc: [InstallationViewController]"), 1)
            << "only the first page change";
        if (road.end == End::CopyFails) {
            EXPECT_EQ(snapshotTree(root.at("/Applications")), before);
        }
        if (road.end == End::RepairFails) {
            EXPECT_TRUE(exists(journal)) << "a journal not acted on stays as it is";
            std::filesystem::remove(journal);
        }
        if (road.end == End::TutorialClose) {  // the record a management tool reads
            EXPECT_NE(readFile(root.at("/Library/Application Support/Quillmark/VELA/"
                                       "last-install.json"))
                          .find("\"installed\""),
                      std::string::npos);
        }
    }
    EXPECT_EQ(alerts, (std::vector<std::string>{
                          "2: Error / Please install with administrator privileges [OK]",
                          "2: Error / An earlier installation did not end and could not be "
                          "repaired. The log says what is left and where. [OK]"}));
}

TEST_F(WizardRoad, CancelDuringTheCopyUndoesTheRunAndEndsTheApplication) {
    const std::string before = snapshotTree(root.root());
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
            ASSERT_TRUE(waitOnPage(
                window,
                [&] { return installation->cancelButton()->isEnabled() && values.size() >= 3; },
                "Cancel enabled and the bar moved three steps"));
            clickedDuringCopy = bar->value() < 50 * InstallationViewController::kProgressScale;
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
    EXPECT_EQ(countOf("[ERROR]"), 0);
    EXPECT_EQ(countOf("[INFO] End Installation process"), 0);
    EXPECT_EQ(countOf("svc: [InstallationViewController]"), 0) << "no page change after Cancel";
    // What the run created around them (the vendor folders) may stay; nothing else changed.
    EXPECT_EQ(snapshotTree(root.root(), kVendorFolders), before);
}

using Alerts = WizardFixture;

TEST_F(Alerts, TextsGoWhereTheyBelongAndTheButtonsPositionIsTheAnswer) {
    answerNextAlert(0, QStringLiteral("alert-message"));
    AlertUtil::runModalWithMessage(QStringLiteral("the message"), QString());
    answerNextAlert(0, QStringLiteral("alert-title"));
    AlertUtil::runModalWithMessage(QString(), QStringLiteral("the title"));
    answerNextAlert(0, QStringLiteral("alert-error"));
    AlertUtil::runModalWithError(QStringLiteral("broken"), QStringLiteral("Error"));

    QWidget window;
    window.show();
    std::vector<int> handled;
    auto handler = [&handled](int response) { handled.push_back(response); };
    const QString m = QStringLiteral("m");
    answerNextAlert(0, QStringLiteral("alert-logout"));
    EXPECT_EQ(AlertUtil::runModalWithErrorMessage(m, m, handler, &window), 1000);
    answerNextAlert(1, QStringLiteral("alert-logout"));
    EXPECT_EQ(AlertUtil::runModalWithErrorMessage(m, m, handler, &window), 1001);
    answerNextAlert(1, QStringLiteral("alert-select"));
    EXPECT_EQ(AlertUtil::runModalWithSelectMessage(m, m, QStringLiteral("Install"),
                                                   QStringLiteral("Later"), handler, nullptr),
              1001);
    EXPECT_EQ(handled, (std::vector<int>{1000, 1001, 1001}));
    ASSERT_TRUE(useTranslationFor(QLocale(QLocale::Japanese, QLocale::Japan)));
    answerNextAlert(1, QStringLiteral("ja-7-alert-logout"));
    AlertUtil::runModalWithErrorMessage(QString(), QString(), {}, nullptr);
    // A null title leaves the headline empty, a null message the text below.
    EXPECT_EQ(alerts,
              (std::vector<std::string>{"2:  / the message [OK]", "2: the title /  [OK]",
                                        "3: Error / broken [OK]", "2: m / m [Logout, Cancel]",
                                        "2: m / m [Logout, Cancel]", "2: m / m [Install, Later]",
                                        "2:  /  [ログアウト, キャンセル]"}));
}

// Every text the sources pass to tr() or translate() today, as lupdate finds it, has a Japanese
// translation in the catalogue the bundle ships: a new text without one fails here.
TEST(TranslationCatalogue, EveryVisibleTextHasAJapaneseTranslation) {
    const TempInstallRoot scratch;
    const std::string catalogue = scratch.base() + "/vela_ja.ts";
    std::filesystem::copy_file(VELA_TEST_TS_FILE, catalogue);
    const RunResult scan =
        run({VELA_TEST_LUPDATE, "-locations", "none", VELA_TEST_SOURCE_ROOT "/wizard",
             VELA_TEST_SOURCE_ROOT "/entry", "-ts", catalogue});
    ASSERT_EQ(scan.status, 0) << scan.err;
    const RunResult release = run({VELA_TEST_LRELEASE, catalogue});
    ASSERT_EQ(release.status, 0) << release.err;
    EXPECT_EQ(scan.out.find("Found 0 source text"), std::string::npos) << scan.out;
    EXPECT_NE(scan.out.find(" (0 new and "), std::string::npos) << scan.out;
    EXPECT_NE(release.out.find(" finished and 0 unfinished)"), std::string::npos) << release.out;
}

}  // namespace
}  // namespace vela::test
