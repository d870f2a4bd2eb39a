#pragma once

#include <QCoreApplication>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Elevation.h"
#include "platform/OperatingSystem.h"

namespace vela {

/// The process's start: the operating-system check, then either the wizard (an elevated
/// administrator, or a standard user, who is never asked for a password) or, for an
/// administrator not yet elevated, a second instance of this program with administrator
/// rights, waited for through its standard output. Main thread, before any window exists.
class StartUp {
    Q_DECLARE_TR_FUNCTIONS(vela::StartUp)

public:
    /// The argument that marks the elevated instance (as the only one).
    static constexpr const char* kPrivilegesArgument = "isPrivileges";

    /// What start-up asks of the system; each defaults to the real thing.
    struct Services {
        std::function<OperatingSystemCheck()> checkOperatingSystem;
        std::function<bool(const std::string& user)> isAdministrator;
        std::function<std::unique_ptr<Elevation>()> elevation;
        /// Runs the wizard and returns its status.
        std::function<int(int& argc, char** argv)> applicationMain;
        /// Shows a refusal; `message` and `title` are English keys in this class's context.
        std::function<void(int& argc, char** argv, const char* message, const char* title)> alert;
        /// This program's executable inside its bundle; none without a bundle.
        std::function<std::optional<std::string>()> executablePath;

        static Services system();
    };

    /// Returns the process's exit status: the wizard's, or for the launcher 0 (cancelled, or
    /// the elevated instance replied "0"), 1 (the authorization service failed) or -1 (any
    /// other reply). An unsupported system gets an alert and 0.
    static int run(int argc, char** argv, const Services& services = Services::system());

    /// True exactly for two arguments whose second is "isPrivileges".
    static bool isElevatedInstance(int argc, const char* const* argv);

private:
    static int relaunchWithAdministratorRights(const Services& services);
};

}  // namespace vela
