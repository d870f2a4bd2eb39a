#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <cerrno>

#include "RenameExclusive.h"

namespace vela {

int renameExclusive(int directory, const char* from, const char* to) {
    if (::renameat2(directory, from, directory, to, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
    // A file system without the flag: look first. Only a racing writer could slip in between.
    struct stat info {};
    if (::fstatat(directory, to, &info, AT_SYMLINK_NOFOLLOW) == 0) {
        return EEXIST;
    }
    return ::renameat(directory, from, directory, to) == 0 ? 0 : errno;
}

}  // namespace vela
