#include "SystemPath.h"

#include "Const.h"
#include "SafeFiles.h"

namespace vela {

std::string systemPathOf(const std::string& path) {
    const std::string root = withoutTrailingSlashes(Const::targetRoot());
    if (root == "/" || path.compare(0, root.size(), root) != 0 ||
        (path.size() > root.size() && path[root.size()] != '/')) {
        return path;
    }
    std::string rest = path.substr(root.size());
    return rest.empty() ? std::string("/") : rest;
}

StepFailure syncTarget() {
    std::string folder;
    if (std::error_code ec = syncVolumes(
            {Const::underTargetRoot("/Applications"), Const::underTargetRoot("/Library")},
            folder)) {
        return Failure::ofError("installation failure: sync", folder, ec);
    }
    return std::nullopt;
}

}  // namespace vela
