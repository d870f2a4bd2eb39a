#include "WizardFixture.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <filesystem>

#include "BaseViewController.h"
#include "Const.h"
#include "Files.h"
#include "Storyboard.h"
#include "Translations.h"

namespace vela::test {

namespace fs = std::filesystem;

namespace {

// From a road's last click to the application's end: an undo included, with a margin.
constexpr int kEndMs = 30000;

void saveScreenshot(QWidget* widget, const QString& name) {
    QDir().mkpath(QStringLiteral(VELA_SCREENSHOT_DIR));
    widget->grab().save(QStringLiteral(VELA_SCREENSHOT_DIR "/") + name + QStringLiteral(".png"));
}

std::string shownPage(const WizardWindow& window) {
    if (!window.isVisible()) {
        return "no window";
    }
    const BaseViewController* page = window.contentViewController();
    return page != nullptr ? page->identifier().toStdString() : "no page";
}

// Whether the window is closed or shows a page that only a click leaves.
bool stoppedElsewhere(const WizardWindow& window) {
    const std::string shown = shownPage(window);
    return shown == "no window" || shown == "InstallFailureViewController" ||
           shown == "InstallCompleteViewController" || shown == "TutorialViewController";
}

}  // namespace

WizardFixture::WizardFixture() {
    Const::setTargetRoot(root.root());
    writeFile(*Const::getLogModeSettingFilePath(), "");  // DEBUG: the trace lines are read too
}

WizardFixture::~WizardFixture() {
    Const::setTargetRoot("/");
    useTranslationFor(QLocale(QLocale::English, QLocale::UnitedStates));
}

int WizardFixture::runWizard(const std::function<void(WizardWindow&)>& script,
                             const std::optional<Bundle>& bundle) {
    std::unique_ptr<WizardWindow> window = Storyboard::instantiateWindow();
    if (bundle) {
        window->setInstallerBundle(*bundle);
    }
    window->show();
    // A road that has failed ends at once rather than wait for a click that never comes; one
    // whose last click does not end the application fails after a short while.
    QTimer::singleShot(0, window.get(), [&script, &window] {
        script(*window);
        if (testing::Test::HasFailure()) {
            QCoreApplication::exit(-1);
        }
        QTimer::singleShot(kEndMs, window.get(), [&window] {
            ADD_FAILURE() << "the application did not end after the road's last step; the "
                             "window shows "
                          << shownPage(*window);
            QCoreApplication::exit(-1);
        });
    });
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

void WizardFixture::answerNextAlert(int index, const QString& shot) {
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

void WizardFixture::shoot(WizardWindow& window, const QString& name) {
    QCoreApplication::processEvents();
    saveScreenshot(&window, name);
    QWidget* page = window.contentViewController();
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
    }
}

Bundle WizardFixture::bundleCopy(const std::function<void(const std::string&)>& change) const {
    const std::string path = root.base() + "/VELA-device-Installer.app";
    fs::copy(VELA_TEST_BUNDLE_DIR, path, fs::copy_options::recursive);
    change(path);
    return Bundle(path);
}

}  // namespace vela::test
