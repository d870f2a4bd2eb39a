#include "Bundle.h"

#include <fcntl.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "Const.h"
#include "UniqueFd.h"
#include "platform/ExecutablePath.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

// Reads the file through a descriptor that neither follows a link nor waits on a FIFO; `error`
// says why there is nothing to read ("is a directory", ...).
std::string readPlainFile(const std::string& file, std::string& error) {
    const UniqueFd fd(::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (!fd.valid() || ::fstat(fd.get(), &info) != 0) {
        error = errno == ELOOP ? "is a symbolic link" : std::strerror(errno);
        return {};
    }
    std::string data;
    if (!S_ISREG(info.st_mode)) {
        error = S_ISDIR(info.st_mode) ? "is a folder, not a file" : "is not a regular file";
    } else if (info.st_size > (1 << 20)) {
        error = "is larger than 1 MiB";
    } else {
        char buffer[8192];
        for (;;) {
            const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n < 0) {
                error = std::strerror(errno);
                data.clear();
                break;
            }
            if (n == 0) {
                break;
            }
            data.append(buffer, static_cast<std::size_t>(n));
        }
    }
    return data;
}

std::map<std::string, std::string> readStringsOfInfoPlist(const std::string& file,
                                                          std::string& error) {
    std::map<std::string, std::string> values;
    std::string data = readPlainFile(file, error);
    if (!error.empty()) {
        return values;
    }
    if (data.empty()) {
        error = "is empty";
        return values;
    }
    plist_t root = nullptr;
    plist_from_memory(data.data(), static_cast<std::uint32_t>(data.size()), &root);
    if (root == nullptr || plist_get_node_type(root) != PLIST_DICT) {
        error = "is not a property list of keys and values";
    } else {
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(root, &it);
        for (;;) {
            char* key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(root, it, &key, &value);
            if (key == nullptr) {
                break;
            }
            if (value != nullptr && plist_get_node_type(value) == PLIST_STRING) {
                char* text = nullptr;
                plist_get_string_val(value, &text);
                if (text != nullptr) {
                    values.emplace(key, text);
                    std::free(text);
                }
            }
            std::free(key);
        }
        std::free(it);
    }
    plist_free(root);
    return values;
}

std::string locateMainBundle() {
    if (const char* env = std::getenv("VELA_MAIN_BUNDLE"); env && *env) {
        std::error_code ec;
        const fs::path absolute = fs::absolute(env, ec);
        return ec ? std::string(env) : absolute.string();
    }
    fs::path exe = executablePath();
    fs::path macos = exe.parent_path();
    fs::path contents = macos.parent_path();
    fs::path bundle = contents.parent_path();
    if (macos.filename() == "MacOS" && contents.filename() == "Contents" &&
        bundle.extension() == ".app") {
        return bundle.string();
    }
    return std::string();
}

}  // namespace

Bundle::Bundle(std::string path) : path_(std::move(path)) {
    info_ = readStringsOfInfoPlist(infoPlistPath(), infoError_);
}

const Bundle& Bundle::mainBundle() {
    static const Bundle bundle = [] {
        std::string path = locateMainBundle();
        return path.empty() ? Bundle() : Bundle(path);
    }();
    return bundle;
}

std::string Bundle::infoPlistPath() const {
    return joinPath(path_, "Contents/Info.plist");
}

std::optional<std::string> Bundle::infoValue(const std::string& key) const {
    auto it = info_.find(key);
    if (it == info_.end()) {
        return std::nullopt;
    }
    return it->second;
}

std::optional<std::string> Bundle::existingItem(const std::string& path) const {
    if (path_.empty()) {
        return std::nullopt;
    }
    std::error_code ec;
    if (!fs::exists(path, ec)) {
        return std::nullopt;
    }
    return path;
}

std::optional<std::string> Bundle::pathForResource(const std::string& name,
                                                   const std::string& type) const {
    std::string file = type.empty() ? name : name + "." + type;
    return existingItem(joinPath(joinPath(path_, "Contents/Resources"), file));
}

std::optional<std::string> Bundle::pathForAuxiliaryExecutable(const std::string& name) const {
    return existingItem(joinPath(joinPath(path_, "Contents/MacOS"), name));
}

std::optional<std::string> Bundle::executablePath() const {
    std::optional<std::string> name = bundleName();
    if (!name || path_.empty()) {
        return std::nullopt;
    }
    return joinPath(joinPath(path_, "Contents/MacOS"), *name);
}

}  // namespace vela
