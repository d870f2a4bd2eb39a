#include "Bundle.h"

#include <plist/plist.h>

#include <cstdlib>
#include <filesystem>

#include "Const.h"
#include "SafeFiles.h"
#include "platform/ExecutablePath.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

// The file's bytes; `error` says in a few words why there are none to read.
std::string readPlainFile(const std::string& file, std::string& error) {
    std::string data;
    const std::error_code ec = readRegularFile(file, data);
    if (ec == std::errc::too_many_symbolic_link_levels) {
        error = "is a symbolic link";
    } else if (ec == std::errc::is_a_directory) {
        error = "is a folder, not a file";
    } else if (ec == Refusal::NotRegularFile) {
        error = "is not a regular file";
    } else if (ec == std::errc::file_too_large) {
        error = "is larger than 1 MiB";
    } else if (ec) {
        error = ec.message();
    }
    return ec ? std::string() : data;
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
