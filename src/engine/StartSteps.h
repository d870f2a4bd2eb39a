#pragma once

#include <functional>
#include <string>

#include "Bundle.h"
#include "Repair.h"

namespace vela {

/// What the start page does to and learns from the system, without showing anything.
class StartSteps {
public:
    /// The run's first line, written at once: who started the program and, in `purpose`
    /// (" to repair", or empty), what for.
    static void announce(const std::string& user, const char* purpose);
    /// Loading: host name, the log-mode switch and the run's identification lines.
    static void load();
    /// Before the page shows: hands the installer log to the user and tells whether an installed
    /// generation (one holding the uninstaller) exists, which makes this run an overwrite.
    static bool detectInstalledGeneration();
    /// What the refusal of a user outside "admin" says, in the log and the record.
    static constexpr const char* kNotAdministratorMessage =
        "please install with administrator privileges";

    /// The rights check of the install button: true for an explicit member of "admin"; for
    /// anybody else logs the refusal (FailureCode::kNotAdministrator) and returns false.
    static bool checkAdministrator(const std::string& user);

    /// What the start page learns before it shows.
    struct Arrival {
        Repair::Outcome repair = Repair::Outcome::Nothing;
        std::string repairMessage;  ///< what the repair did, or what is left and where
        bool isOverwrite = false;   ///< an installed generation exists
        /// True when a killed run could not be repaired: nothing may be installed.
        bool repairFailed() const;
    };
    /// Before the page shows, on the main thread under the lock of the target root: repairs a
    /// run that was killed, then detects an installed generation (detectInstalledGeneration).
    /// Both front ends go this way, with the same log lines.
    static Arrival arrive(const Bundle& bundle);

    /// What the install button leads to.
    enum class Decision { Install, RepairFailed, NotAdministrator };
    /// The install button of both front ends: logs its Start line, decides for `user` after
    /// `arrival` (a failed repair first, then the rights check), lets `act` carry the decision
    /// out (the page change, an alert) when given, logs its End line and returns the decision.
    static Decision clickInstall(const Arrival& arrival, const std::string& user,
                                 const std::function<void(Decision)>& act = {});
};

}  // namespace vela
