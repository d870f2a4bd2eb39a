#pragma once

#include <optional>
#include <string>
#include <system_error>

#include "InstallationView.h"

namespace vela {

/// Why a check, a change or an undo did not work: the system's own message, where, and the
/// system's reason. The one shape every step reports a failure in; the front ends show it.
struct Failure {
    Failure() = default;
    Failure(std::string message_, std::string path_ = {}, std::string reason_ = {})
        : message(std::move(message_)), path(std::move(path_)), reason(std::move(reason_)) {}

    std::string message;  ///< the system's own text, e.g. "installation failure: create directory"
    std::string path;     ///< where, when a path is known
    std::string reason;   ///< the system's error text, e.g. "No space left on device"
    std::string code = FailureCode::kInstallation;
    std::string step;  ///< the name of the row whose check, change or undo failed, if one did

    /// "<message>: <path> (<reason>)", each part only when there is one.
    std::string text() const;

    /// A failure whose reason is an errno value or an error code.
    static Failure ofErrno(std::string message, std::string path, int error);
    static Failure ofError(std::string message, std::string path, std::error_code error);
};

/// What a check, a change or an undo returns: none when it worked.
using StepFailure = std::optional<Failure>;

}  // namespace vela
