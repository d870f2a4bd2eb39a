#pragma once

#include <string>

namespace vela {

/// A page change requested by the installation run.
struct Transition {
    std::string identifier;  ///< "toInstallComplete" or "toInstallFailure"
    std::string code;        ///< "MSG_E3001" for a failure, empty otherwise
    std::string message;     ///< the failure's message, empty otherwise
};

/// What the installation run needs of the page that shows it: the wizard's page implements it
/// with a real button and progress bar, the unattended front end with a terminal and signals.
class InstallationView {
public:
    virtual ~InstallationView() = default;

    /// The Cancel button's state: true once the user has asked to cancel. Read from any thread.
    virtual bool isCancelRequested() const = 0;
    /// Main thread.
    virtual void setCancelEnabled(bool enabled) = 0;
    /// Main thread; percent, 0 to 100 (not clamped).
    virtual void showProgress(float percent) = 0;
    /// Main thread.
    virtual void performSegue(const Transition& transition) = 0;
    /// Main thread: the user cancelled and the rollback is done; the application should end.
    virtual void terminate() = 0;
    /// Main thread: a failed run is being undone (true) or has been (false); the main thread is
    /// busy meanwhile, so a view shows it before it starts.
    virtual void showUndoing(bool /*undoing*/) {}
};

}  // namespace vela
