#include "SystemPath.h"

#include "Const.h"

namespace vela {

std::string systemPathOf(const std::string& path) {
    std::string root = Const::targetRoot();
    while (root.size() > 1 && root.back() == '/') {
        root.pop_back();
    }
    if (root == "/" || path.compare(0, root.size(), root) != 0 ||
        (path.size() > root.size() && path[root.size()] != '/')) {
        return path;
    }
    std::string rest = path.substr(root.size());
    return rest.empty() ? std::string("/") : rest;
}

}  // namespace vela
