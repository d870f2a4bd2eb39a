#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace vela {

/// How a request to run a program with administrator rights ended.
enum class ElevationOutcome {
    CreateFailed,   ///< the authorization service could not be used at all
    Cancelled,      ///< the user dismissed the password dialog or was not authorised
    ExecuteFailed,  ///< rights granted or not, the program could not be started
    Executing,      ///< the program runs with administrator rights
};

struct ElevationResult {
    ElevationOutcome outcome;
    int status;                  ///< the system's status of the failing step; 0 when Executing
    std::FILE* reply = nullptr;  ///< Executing only: reads the program's standard output
};

/// The system's service for running a program with administrator rights. One request per
/// object. Backends: Authorization Services on macOS, pkexec (polkit) on Linux.
class Elevation {
public:
    virtual ~Elevation() = default;

    /// Asks for administrator rights (the system's password dialog, where it shows one) and
    /// starts `tool` with `arguments` with them. `preauthorize` asks for the general right ahead
    /// of use; otherwise the right names `tool`. Blocks until the program has been started or
    /// the request has ended.
    virtual ElevationResult executeWithPrivileges(const std::string& tool,
                                                  const std::vector<std::string>& arguments,
                                                  bool preauthorize) = 0;
    /// After the reply has been read: closes `reply` (where given) and releases the
    /// authorization; `destroyRights` also revokes the rights it holds.
    virtual void release(std::FILE* reply, bool destroyRights) = 0;
};

/// The backend of this platform.
std::unique_ptr<Elevation> systemElevation();

}  // namespace vela
