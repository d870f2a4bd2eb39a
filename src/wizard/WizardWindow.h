#pragma once

#include <QPointer>
#include <QWidget>

#include <memory>
#include <optional>

#include "Bundle.h"

class QVBoxLayout;

namespace vela {

class BaseViewController;
class InstallationRun;

/// The wizard's one window: a fixed-size frame whose content is one page at a time, with the
/// standard buttons each page asks for. Main thread only.
class WizardWindow : public QWidget {
public:
    enum class StandardButton { Close, Miniaturize, Zoom };

    /// The size of the content area, the same for every page.
    static constexpr int kContentWidth = 640;
    static constexpr int kContentHeight = 460;

    WizardWindow();
    /// Ends the installation run first (waiting for a running copy), then the pages.
    ~WizardWindow() override;

    /// Shows `page` as the content: loads it (once), tells it that it will appear, replaces the
    /// current page (which is told it disappeared and is let go) and tells it, once the window
    /// has drawn it, that it appeared.
    void setContentViewController(std::unique_ptr<BaseViewController> page);
    BaseViewController* contentViewController() const { return content_; }

    /// A disabled button is not offered: closing by the window system is refused, the page can
    /// still close the window itself. Hidden buttons are not offered either.
    void setStandardButtonEnabled(StandardButton button, bool enabled);
    bool isStandardButtonEnabled(StandardButton button) const;
    void setStandardButtonsHidden(bool hidden);
    /// Takes the window off the screen at once, on every window system; a later close still
    /// ends the application as the close of a shown window does.
    void vanish();
    bool standardButtonsHidden() const { return buttonsHidden_; }

    /// The installer bundle whose payload an installation copies: the process's own unless
    /// another was set (before the installation page loads).
    void setInstallerBundle(Bundle bundle) { installerBundle_ = std::move(bundle); }
    const Bundle& installerBundle() const {
        return installerBundle_ ? *installerBundle_ : Bundle::mainBundle();
    }

    /// Keeps `run`, and `view` (the page it reports to), for the rest of the window's life: the
    /// run may still report after its page has been replaced.
    InstallationRun& adoptInstallationRun(std::unique_ptr<InstallationRun> run,
                                          BaseViewController* view);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void applyStandardButtons();
    void release(BaseViewController* page);

    QVBoxLayout* layout_;
    BaseViewController* content_ = nullptr;
    std::optional<Bundle> installerBundle_;
    QPointer<BaseViewController> runView_;
    bool vanished_ = false;
    std::unique_ptr<InstallationRun> run_;
    bool closeEnabled_ = true;
    bool miniaturizeEnabled_ = true;
    bool zoomEnabled_ = false;
    bool buttonsHidden_ = false;
};

}  // namespace vela
