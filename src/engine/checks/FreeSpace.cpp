#include "FreeSpace.h"

#include <sys/statvfs.h>

#include <filesystem>

#include "Const.h"
#include "InstallationView.h"
#include "Log.h"

namespace vela {

namespace {

// Room for what the copies cannot be measured for beforehand: folders' own growth, file system
// metadata, the log, the agent's and the device files' rewrites.
constexpr std::uint64_t kFixedMargin = 8u << 20;
constexpr std::uint64_t kMarginShare = 64;  // plus one 64th of the payload

}  // namespace

std::optional<FreeSpace::Figures> FreeSpace::measure(const Payload& payload) {
    // The generations' folder may not exist yet: the volume is then its nearest parent's.
    std::filesystem::path folder = Const::appBaseDirectoryPath();
    struct statvfs volume {};
    while (::statvfs(folder.c_str(), &volume) != 0) {
        if (!folder.has_relative_path()) {
            return std::nullopt;
        }
        folder = folder.parent_path();
    }
    const std::uint64_t block = volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize;
    const std::uint64_t allocated = payload.allocatedBytes(block);
    Figures figures;
    figures.volume = folder.string();
    figures.needed = allocated + allocated / kMarginShare + kFixedMargin;
    figures.available = static_cast<std::uint64_t>(volume.f_bavail) * block;
    return figures;
}

std::string FreeSpace::shortfallMessage(const Figures& figures) {
    return stringWithFormat("not enough free space on %s: %llu bytes needed, %llu bytes available",
                            figures.volume.c_str(), static_cast<unsigned long long>(figures.needed),
                            static_cast<unsigned long long>(figures.available));
}

std::optional<std::string> FreeSpace::check(const Payload& payload) {
    std::optional<Figures> figures = measure(payload);
    if (!figures) {
        // Nothing to measure: the copies report what the volume refuses.
        ILog("Free space check: cannot measure the volume of %s",
             Const::appBaseDirectoryPath().c_str());
        return std::nullopt;
    }
    ILog(
        "Free space check: %s: %llu bytes available, %llu bytes needed for %llu bytes in %llu "
        "files",
        figures->volume.c_str(), static_cast<unsigned long long>(figures->available),
        static_cast<unsigned long long>(figures->needed),
        static_cast<unsigned long long>(payload.bytes()),
        static_cast<unsigned long long>(payload.files()));
    if (figures->enough()) {
        return std::nullopt;
    }
    return shortfallMessage(*figures);
}

}  // namespace vela
