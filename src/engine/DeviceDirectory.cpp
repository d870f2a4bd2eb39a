#include "DeviceDirectory.h"

#include <filesystem>

#include "Commands.h"
#include "Const.h"
#include "Log.h"
#include "ShellForm.h"
#include "platform/StatCommand.h"

namespace vela {

namespace fs = std::filesystem;

bool DeviceDirectory::createDirectoryDeviceLicenseConfig() const {
    DTrace("start");
    const std::string path = Const::getDeviceLicenseModeDirectoryPath();
    const std::string shellPath = shellForm(path);
    std::error_code ec;
    fs::file_status status = fs::status(path, ec);
    if (!fs::exists(status)) {
        std::error_code createError;
        fs::create_directories(path, createError);
        if (createError) {
            context_.performSegueToInstallFailure(
                "MSG_E3001",
                stringWithFormat("installation failure: create directory: %s", path.c_str()));
            return false;
        }
        ILog("Created directory for configuration of the device license mode: %s", path.c_str());
    } else if (!fs::is_directory(status)) {
        context_.performSegueToInstallFailure(
            "MSG_E3001", stringWithFormat("non-directory item exists: %s", path.c_str()));
        return false;
    }
    DTraceExecute("chown -R root:admin " + shellPath);
    DTraceExecute("chmod 775 " + shellPath);
    std::string owner = trimmingNewlines(DTraceExecute(statCommand("%Su", shellPath)));
    std::string group = trimmingNewlines(DTraceExecute(statCommand("%Sg", shellPath)));
    std::string mode = trimmingNewlines(DTraceExecute(statCommand("%Sp", shellPath)));
    std::string access = owner + ":" + group + ":" + mode;
    DTrace("statinfo for %s: [%s]", path.c_str(), access.c_str());
    if (access == "root:admin:drwxrwxr-x") {
        return true;
    }
    context_.performSegueToInstallFailure(
        "MSG_E3001", stringWithFormat("installation failure: set access rights: %s (%s)",
                                      path.c_str(), access.c_str()));
    return false;
}

void DeviceDirectory::removeDirectoryDeviceLicenseConfig() const {
    DTrace("start");
    const std::string path = Const::getDeviceLicenseModeDirectoryPath();
    ILog("Remove directory for device license mode: %s", path.c_str());
    DTraceExecute(removalCommand("-rf", path));
    DTrace("end");
}

}  // namespace vela
