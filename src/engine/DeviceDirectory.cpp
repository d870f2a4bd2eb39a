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

bool DeviceDirectory::createDirectoryDeviceLicenseConfig(UndoRecord& record) const {
    DTrace("start");
    const std::string path = Const::getDeviceLicenseModeDirectoryPath();
    // The step's check has refused anything but a folder at the name; one planted since is
    // refused by the open below, which follows no link.
    if (entryKind(path) == EntryKind::Missing &&
        !context_.recordStep(record, {UndoStep::DeviceDirectoryCreated, systemPathOf(path), {}})) {
        return false;
    }
    // Owner and mode go on the descriptor of the real directory: the group admin may write in
    // it, so nothing in it is re-owned and no name is followed.
    UniqueFd directory;
    bool created = false;
    std::error_code ec = open(true, directory, &created);
    if (ec) {
        context_.performSegueToInstallFailure(
            FailureCode::kInstallation,
            stringWithFormat("installation failure: create directory: %s (%s)", path.c_str(),
                             ec.message().c_str()));
        return false;
    }
    if (created) {
        ILog("Created directory for configuration of the device license mode: %s", path.c_str());
    }
    DTrace("set root:admin 775 on %s", path.c_str());
    // Read back from the descriptor they were set on, not by name through a shell.
    const std::string access = accessText(directory.get());
    DTrace("statinfo for %s: [%s]", path.c_str(), access.c_str());
    if (access == InstalledAccess::listing(InstalledAccess::deviceDirectory(), 'd')) {
        return true;
    }
    context_.performSegueToInstallFailure(
        FailureCode::kInstallation,
        stringWithFormat("installation failure: set access rights: %s (%s)", path.c_str(),
                         access.c_str()));
    return false;
}

std::optional<std::string> DeviceDirectory::removeDirectoryDeviceLicenseConfig() {
    DTrace("start");
    const std::string path = Const::getDeviceLicenseModeDirectoryPath();
    ILog("Remove directory for device license mode: %s", path.c_str());
    std::optional<std::string> failure = removeEntryTraced(__PRETTY_FUNCTION__, path);
    DTrace("end");
    return failure;
}

}  // namespace vela
