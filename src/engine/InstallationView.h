#pragma once

#include <string>

namespace vela {

/// The names of the page changes of the road, as both front ends compare them.
struct Segue {
    static constexpr const char* kToInstallation = "toInstallation";
    static constexpr const char* kToInstallComplete = "toInstallComplete";
    static constexpr const char* kToInstallFailure = "toInstallFailure";
    static constexpr const char* kToTutorial = "toTutorial";
};

/// The codes a failure is reported with, in the log, the alert and the record.
struct FailureCode {
    /// Anything that stops or undoes an installation.
    static constexpr const char* kInstallation = "MSG_E3001";
    /// The user is not an administrator: nothing was started.
    static constexpr const char* kNotAdministrator = "MSG_E3002";
};

/// A page change requested by the installation run.
struct Transition {
    std::string identifier;  ///< Segue::kToInstallComplete or Segue::kToInstallFailure
    std::string code;        ///< FailureCode::kInstallation for a failure, empty otherwise
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
