#pragma once

#include <sys/types.h>

#include <string>

#include "Elevation.h"

namespace vela {

/// Elevation through polkit's pkexec. pkexec asks for the password and, once authorised,
/// replaces itself with the program, so the program's start is seen as the process changing
/// its name; a pkexec that ends first has failed, and its status and message say how.
class PkexecElevation final : public Elevation {
public:
    explicit PkexecElevation(std::string pkexecPath = "/usr/bin/pkexec");
    ~PkexecElevation() override;

    /// Starts "pkexec /usr/bin/env NAME=value... tool arguments...", passing on what the
    /// program needs to reach the user's display, home and target root. Dismissed (126) or not
    /// authorised is Cancelled; any other failure of pkexec is ExecuteFailed, and a missing
    /// pkexec CreateFailed (with errno).
    ElevationResult executeWithPrivileges(const std::string& tool,
                                          const std::vector<std::string>& arguments,
                                          bool preauthorize) override;
    /// Closes `reply`; once the program has ended, what it wrote to standard error is passed on
    /// to ours.
    void release(std::FILE* reply, bool destroyRights) override;

    /// The variables handed to the elevated program, as "NAME=value", from this environment.
    static std::vector<std::string> passedEnvironment();

private:
    std::string pkexec_;
    pid_t pid_ = -1;
    int diagnostics_ = -1;  // the program's standard error: an unnamed file, never a full pipe
};

}  // namespace vela
