#include "FileData.h"

namespace vela {

std::error_code copyFileData(int from, int to, const std::function<void(std::uint64_t)>& copied) {
    return copyFileDataByReading(from, to, copied);
}

}  // namespace vela
