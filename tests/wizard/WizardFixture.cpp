#include "WizardFixture.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "BaseViewController.h"
#include "Const.h"
#include "Storyboard.h"

namespace vela::test {

namespace fs = std::filesystem;

namespace {

// Far above any road, which its own waits end first: this only ends a hung application.
constexpr int kWatchdogMs = 120000;

// Copies of the built bundle live in one folder per process, removed at its end.
const std::string& bundleCopies() {
    static const std::string base = [] {
        std::string pattern = (fs::temp_directory_path() / "vela-bundles-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            return std::string();
        }
        static const std::string remove = pattern;
        std::atexit([] {
            std::error_code ec;
            fs::remove_all(remove, ec);
        });
        return pattern;
    }();
    return base;
}

std::string copyOfBuiltBundle(const std::string& name) {
    const fs::path target = fs::path(bundleCopies()) / name / "VELA-device-Installer.app";
    fs::create_directories(target.parent_path());
    fs::copy(VELA_TEST_BUNDLE_DIR, target, fs::copy_options::recursive);
    return target.string();
}

}  // namespace

WizardFixture::WizardFixture() {
    Const::setTargetRoot(root.root());
}

WizardFixture::~WizardFixture() {
    Const::setTargetRoot("/");
}

int WizardFixture::runWizard(const std::function<void(WizardWindow&)>& script,
                             const std::optional<Bundle>& bundle) {
    std::unique_ptr<WizardWindow> window = Storyboard::instantiateWindow();
    if (bundle) {
        window->setInstallerBundle(*bundle);
    }
    window->show();
    // A road that has failed ends at once rather than wait for a click that never comes.
    QTimer::singleShot(0, window.get(), [&script, &window] {
        script(*window);
        if (testing::Test::HasFailure()) {
            QCoreApplication::exit(-1);
        }
    });
    QTimer watchdog;
    watchdog.setSingleShot(true);
    QObject::connect(&watchdog, &QTimer::timeout, [] { QCoreApplication::exit(-1); });
    watchdog.start(kWatchdogMs);
    const int status = QApplication::exec();
    window.reset();
    return status;
}

void WizardFixture::click(QAbstractButton* button) {
    ASSERT_NE(button, nullptr);
    ASSERT_TRUE(button->isVisible()) << button->text().toStdString();
    ASSERT_TRUE(button->isEnabled()) << button->text().toStdString();
    QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, button->rect().center());
}

void WizardFixture::answerNextAlert(int index) {
    auto* timer = new QTimer();
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [this, timer, index] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr || !box->isVisible()) {
            return;
        }
        AlertSeen seen;
        seen.title = box->text();
        seen.message = box->informativeText();
        seen.icon = box->icon();
        const QList<QAbstractButton*> buttons = box->buttons();
        for (QAbstractButton* button : buttons) {
            seen.buttons << button->text();
        }
        alerts.push_back(seen);
        saveScreenshot(box, alertScreenshotName.isEmpty()
                                ? QStringLiteral("alert-%1").arg(alerts.size())
                                : alertScreenshotName);
        timer->stop();
        timer->deleteLater();
        if (index < buttons.size()) {
            QTest::mouseClick(buttons.at(index), Qt::LeftButton);
        }
    });
    timer->start();
}

void WizardFixture::saveScreenshot(QWidget* widget, const QString& name) {
    QDir().mkpath(QStringLiteral(VELA_SCREENSHOT_DIR));
    widget->grab().save(QStringLiteral(VELA_SCREENSHOT_DIR "/") + name + QStringLiteral(".png"));
}

bool WizardFixture::stoppedElsewhere(const WizardWindow& window) {
    if (!window.isVisible()) {
        return true;
    }
    const BaseViewController* page = window.contentViewController();
    return page != nullptr &&
           (page->identifier() == QLatin1String("InstallFailureViewController") ||
            page->identifier() == QLatin1String("InstallCompleteViewController") ||
            page->identifier() == QLatin1String("TutorialViewController"));
}

bool WizardFixture::waitOnPage(const WizardWindow& window, const std::function<bool()>& condition,
                               const char* awaited, int timeoutMs) {
    waitUntil([&] { return condition() || stoppedElsewhere(window); }, timeoutMs);
    const bool held = condition();
    if (!held) {
        ADD_FAILURE() << "waited in vain for " << awaited << ", the window shows "
                      << shownPage(window);
    }
    return held;
}

std::string WizardFixture::shownPage(const WizardWindow& window) {
    if (!window.isVisible()) {
        return "no window";
    }
    const BaseViewController* page = window.contentViewController();
    return page != nullptr ? page->identifier().toStdString() : "no page";
}

void WizardFixture::shoot(WizardWindow& window, const QString& name) {
    QCoreApplication::processEvents();
    saveScreenshot(&window, name);
    QWidget* page = window.contentViewController();
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

const Bundle& WizardFixture::largeBundle(int megabytes) {
    static const Bundle bundle = [megabytes] {
        const std::string path = copyOfBuiltBundle("large");
        const fs::path data = fs::path(path) / "Contents/MacOS/VELA.app/Contents/Resources/data";
        fs::create_directories(data);
        const std::string block(2 * 1024 * 1024, 'v');
        for (int i = 0; i < megabytes / 2; ++i) {
            std::ofstream(data / ("block" + std::to_string(i) + ".bin"), std::ios::binary) << block;
        }
        return Bundle(path);
    }();
    return bundle;
}

const Bundle& WizardFixture::bundleWithoutUninstaller() {
    static const Bundle bundle = [] {
        const std::string path = copyOfBuiltBundle("no-uninstaller");
        fs::remove_all(fs::path(path) / "Contents/MacOS/VELA-Uninstaller.app");
        return Bundle(path);
    }();
    return bundle;
}

}  // namespace vela::test
