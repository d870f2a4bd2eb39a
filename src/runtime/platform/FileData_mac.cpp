#include <copyfile.h>
#include <fcntl.h>
#include <sys/clonefile.h>

#include <cerrno>

#include "FileData.h"

namespace vela {

std::error_code copyFileData(int from, int to, const ChunkCopied& copied) {
    // The loop, not the system's one-call copy, so that a stop is seen between chunks.
    return copyFileDataByReading(from, to, copied);
}

std::error_code cloneFile(int from, const std::string& target) {
    // Without CLONE_NOOWNERCOPY a clone made as root keeps the source's owner; a copy belongs to
    // whoever made it.
    if (::fclonefileat(from, AT_FDCWD, target.c_str(), CLONE_NOOWNERCOPY) == 0) {
        return {};
    }
    if (errno == ENOTSUP || errno == EOPNOTSUPP || errno == EXDEV) {
        return std::make_error_code(std::errc::not_supported);
    }
    return {errno, std::generic_category()};
}

std::error_code copyFileExtras(int from, int to) {
    // Code signatures and quarantine flags live in extended attributes; a copy without them
    // would not start.
    if (::fcopyfile(from, to, nullptr, COPYFILE_XATTR | COPYFILE_ACL) != 0) {
        return {errno, std::generic_category()};
    }
    return {};
}

std::array<struct timespec, 2> accessAndModificationTimes(const struct stat& info) {
    return {info.st_atimespec, info.st_mtimespec};
}

}  // namespace vela
