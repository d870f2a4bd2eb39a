#pragma once

#include <string>

namespace vela {

/// What the start page does to and learns from the system, without showing anything.
class StartSteps {
public:
    /// Loading: host name, the log-mode switch and the run's identification lines.
    static void load();
    /// Before the page shows: hands the installer log to the user and tells whether an installed
    /// generation (one holding the uninstaller) exists, which makes this run an overwrite.
    static bool detectInstalledGeneration();
    /// The rights check of the install button: true for an explicit member of "admin"; for
    /// anybody else logs the refusal (FailureCode::kNotAdministrator) and returns false.
    static bool checkAdministrator(const std::string& user);
};

}  // namespace vela
