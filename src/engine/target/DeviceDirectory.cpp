#include "DeviceDirectory.h"

#include "Commands.h"
#include "Const.h"
#include "InstallationView.h"
#include "InstalledAccess.h"
#include "Log.h"
#include "SafeFiles.h"
#include "ShellForm.h"
#include "SystemPath.h"

namespace vela {

std::error_code DeviceDirectory::open(bool create, UniqueFd& out, bool* created) {
    const std::string library = Const::underTargetRoot("/Library");
    const std::string device = Const::getDeviceLicenseModeDirectoryPath();
    if (create) {
        return openOwnedDirectory(library, device, InstalledAccess::deviceDirectory(), out,
                                  created);
    }
    return openDirectoryBelow(library, device.substr(withoutTrailingSlashes(library).size()), {},
                              out);
}

StepFailure DeviceDirectory::check() {
    const std::string device = Const::getDeviceLicenseModeDirectoryPath();
    const EntryKind kind = entryKind(device);
    if (kind != EntryKind::Missing && kind != EntryKind::Directory) {
        return Failure{"non-directory item exists", device};
    }
    if (std::optional<std::string> reason = unwritable(Const::underTargetRoot("/Library"))) {
        return Failure{"installation failure: create directory", device, *reason};
    }
    return std::nullopt;
}

StepFailure DeviceDirectory::createDirectoryDeviceLicenseConfig() {
    DTrace("start");
    const std::string path = Const::getDeviceLicenseModeDirectoryPath();
    // The step's check has refused anything but a folder at the name; one planted since is
    // refused by the open below, which follows no link. Owner and mode go on the descriptor of
    // the real directory: the group admin may write in it, so nothing in it is re-owned and no
    // name is followed.
    UniqueFd directory;
    bool created = false;
    std::error_code ec = open(true, directory, &created);
    if (ec) {
        return Failure::ofError("installation failure: create directory", path, ec);
    }
    if (created) {
        ILog("Created directory for configuration of the device license mode: %s", path.c_str());
    }
    DTrace("set root:admin 775 on %s", path.c_str());
    // Read back from the descriptor they were set on, not by name through a shell.
    const std::string access = accessText(directory.get());
    DTrace("statinfo for %s: [%s]", path.c_str(), access.c_str());
    if (access == InstalledAccess::listing(InstalledAccess::deviceDirectory(), 'd')) {
        return std::nullopt;
    }
    return Failure{"installation failure: set access rights", path, access};
}

StepFailure DeviceDirectory::removeDirectoryDeviceLicenseConfig() {
    DTrace("start");
    const std::string path = Const::getDeviceLicenseModeDirectoryPath();
    ILog("Remove directory for device license mode: %s", path.c_str());
    StepFailure failure = removeEntryTraced(__PRETTY_FUNCTION__, path);
    DTrace("end");
    return failure;
}

}  // namespace vela
