#include "PrivilegesExecute.h"

#include "Elevation.h"

namespace vela {

bool privilegesExecuteWithTool(const std::string& tool, const std::vector<std::string>& arguments) {
    return privilegesExecuteWithTool(*systemElevation(), tool, arguments);
}

bool privilegesExecuteWithTool(Elevation& elevation, const std::string& tool,
                               const std::vector<std::string>& arguments) {
    ElevationResult started = elevation.executeWithPrivileges(tool, arguments, true);
    if (started.outcome != ElevationOutcome::Executing) {
        return false;  // the authorization is deliberately left to the end of the process
    }
    // The communications pipe is neither read nor closed: the tool may still be writing.
    elevation.release(nullptr, /*destroyRights=*/true);
    return true;
}

}  // namespace vela
