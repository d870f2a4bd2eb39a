#include "OfflineFlag.h"

#include "Commands.h"
#include "Const.h"
#include "Log.h"
#include "ShellExecute.h"
#include "ShellForm.h"
#include "platform/StatCommand.h"

namespace vela {

bool OfflineFlag::createDeviceOfflineFlagFile() const {
    DTrace("start");
    const std::string path = Const::getDeviceOfflineFlagFilePath();
    const std::string shellPath = shellForm(path);
    ShellExecute::execute("touch " + shellPath);
    if (!fileExistsAtPath(path)) {
        context_.performSegueToInstallFailure(
            "MSG_E3001", stringWithFormat("installation failure: create: %s", path.c_str()));
        DTrace("end");
        return false;
    }
    DTraceExecute("chown -R root:admin " + shellPath);
    DTraceExecute("chmod 664 " + shellPath);
    // One stat for all three fields here, unlike the device directory's three separate reads.
    std::string access = trimmingNewlines(DTraceExecute(statCommand("%Su:%Sg:%Sp", shellPath)));
    DTrace("statinfo for %s: [%s]", path.c_str(), access.c_str());
    if (access == "root:admin:-rw-rw-r--") {
        ILog("Created completely offline flag file for the device license mode: %s", path.c_str());
        DTrace("end");
        return true;
    }
    context_.performSegueToInstallFailure(
        "MSG_E3001", stringWithFormat("installation failure: set access rights: %s (%s)",
                                      path.c_str(), access.c_str()));
    DTrace("end");
    return false;
}

}  // namespace vela
