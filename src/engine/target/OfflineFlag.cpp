#include "OfflineFlag.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Commands.h"
#include "Const.h"
#include "DeviceDirectory.h"
#include "InstallationView.h"
#include "InstalledAccess.h"
#include "Log.h"
#include "SafeFiles.h"
#include "ShellForm.h"

namespace vela {

namespace {

// The existing flag when it is a plain file of its own, else a new one in its place.
std::error_code touchFlag(int directory, const std::string& name, UniqueFd& out) {
    UniqueFd file(
        ::openat(directory, name.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (file.valid() && ::fstat(file.get(), &info) == 0 && S_ISREG(info.st_mode) &&
        info.st_nlink == 1) {
        ::futimens(file.get(), nullptr);
        const Ownership ownership = InstalledAccess::sharedFile();
        if (::fchown(file.get(), ownership.owner, ownership.group) != 0 ||
            ::fchmod(file.get(), ownership.mode) != 0) {
            return {errno, std::generic_category()};
        }
        out = std::move(file);
        return {};
    }
    return createFileAfresh(directory, name, InstalledAccess::sharedFile(), out);
}

}  // namespace

bool OfflineFlag::isToBeMade(bool isOverwrite) {
    const EntryKind flag = entryKind(Const::getDeviceOfflineFlagFilePath());
    return !isOverwrite || (flag != EntryKind::Missing && flag != EntryKind::File);
}

StepFailure OfflineFlag::createDeviceOfflineFlagFile() {
    DTrace("start");
    const std::string path = Const::getDeviceOfflineFlagFilePath();
    UniqueFd directory;
    UniqueFd flag;
    std::error_code ec = DeviceDirectory::open(true, directory);
    if (!ec) {
        ec = touchFlag(directory.get(), nameOf(path), flag);
    }
    if (ec) {
        DTrace("create %s: %s", path.c_str(), ec.message().c_str());
        DTrace("end");
        return Failure::ofError("installation failure: create", path, ec);
    }
    DTrace("set root:admin 664 on %s", path.c_str());
    // Read back from the descriptor they were set on, not by name through a shell.
    const std::string access = accessText(flag.get());
    DTrace("statinfo for %s: [%s]", path.c_str(), access.c_str());
    if (access == InstalledAccess::listing(InstalledAccess::sharedFile(), '-')) {
        ILog("Created completely offline flag file for the device license mode: %s", path.c_str());
        DTrace("end");
        return std::nullopt;
    }
    DTrace("end");
    return Failure{"installation failure: set access rights", path, access};
}

StepFailure OfflineFlag::removeDeviceOfflineFlagFile() {
    const std::string path = Const::getDeviceOfflineFlagFilePath();
    UniqueFd directory;
    std::error_code ec = DeviceDirectory::open(false, directory);
    if (ec == std::errc::no_such_file_or_directory ||
        (!ec && entryKindAt(directory.get(), nameOf(path)) != EntryKind::File)) {
        return std::nullopt;
    }
    ILog("Remove offline flag file for the device license mode: %s", path.c_str());
    if (!ec && ::unlinkat(directory.get(), nameOf(path).c_str(), 0) != 0) {
        ec = {errno, std::generic_category()};
    }
    if (ec) {
        return Failure::ofError("cannot remove", path, ec);
    }
    return std::nullopt;
}

}  // namespace vela
