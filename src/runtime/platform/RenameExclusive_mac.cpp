#include <stdio.h>

#include <cerrno>

#include "RenameExclusive.h"

namespace vela {

int renameExclusive(int directory, const char* from, const char* to) {
    return ::renameatx_np(directory, from, directory, to, RENAME_EXCL) == 0 ? 0 : errno;
}

}  // namespace vela
