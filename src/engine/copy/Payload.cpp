#include "Payload.h"

#include <sys/stat.h>

#include <filesystem>

#include "Const.h"
#include "HelpFile.h"

namespace vela {

namespace fs = std::filesystem;

Payload::Payload(const Bundle& bundle, const std::string& generation, bool measure) {
    for (const char* name : {Const::kClientAppName, Const::kUninstallerName}) {
        const std::string app = std::string(name) + "." + Const::kAppFileType;
        items_.push_back({app, bundle.pathForAuxiliaryExecutable(app), generation + app, true});
    }
    for (const char* name : {Const::kAppModeScriptNormalName, Const::kAppModeScriptDebugName}) {
        const std::string script = std::string(name) + "." + Const::kAppModeScriptFileType;
        items_.push_back({script, bundle.pathForResource(name, Const::kAppModeScriptFileType),
                          generation + script});
    }
    items_.push_back(
        {std::string(Const::kDeviceHelpFileName) + "." + Const::kDeviceHelpFileType,
         bundle.pathForResource(Const::kDeviceHelpFileName, Const::kDeviceHelpFileType),
         HelpFile::destinationPath()});
    items_.push_back({std::string(Const::kClientAppName) + ".plist",
                      bundle.pathForResource(Const::kClientAppName, "plist"),
                      Const::applicationLaunchAgentPlistPath()});
    for (Item& item : items_) {
        if (item.source && measure) {
            this->measure(*item.source, item);
        }
    }
}

void Payload::measure(const std::string& path, Item& item) {
    // One lstat per entry: the walk runs on the main thread before every installation.
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
        return;
    }
    if (S_ISREG(info.st_mode)) {
        const auto size = static_cast<std::uint64_t>(info.st_size);
        bytes_ += size;
        ++files_;
        item.bytes += size;
        ++item.files;
        fileSizes_.push_back(size);
        return;
    }
    if (!S_ISDIR(info.st_mode)) {
        return;
    }
    ++folders_;
    std::error_code ec;
    for (fs::directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
        measure(it->path().string(), item);
    }
}

std::optional<std::string> Payload::defect() const {
    for (const Item& item : items_) {
        if (!item.source) {
            return "the installer bundle is incomplete: no " + item.what;
        }
        // What is installed as a bundle must be a folder of the installer's own, the rest plain
        // files: a link would be copied as a link pointing out of the generation.
        const bool folder = item.isBundle;
        struct stat info {};
        if (::lstat(item.source->c_str(), &info) != 0 ||
            (folder ? !S_ISDIR(info.st_mode) : !S_ISREG(info.st_mode))) {
            return "the installer bundle is damaged: " + *item.source + " is not a " +
                   (folder ? "folder" : "plain file");
        }
    }
    return std::nullopt;
}

const Payload::Item* Payload::itemAt(const std::string& target) const {
    for (const Item& item : items_) {
        if (item.target == target) {
            return &item;
        }
    }
    return nullptr;
}

std::optional<std::string> Payload::sourceOf(const std::string& target) const {
    const Item* item = itemAt(target);
    return item != nullptr ? item->source : std::nullopt;
}

std::uint64_t Payload::allocatedBytes(std::uint64_t blockSize) const {
    blockSize = blockSize == 0 ? 1 : blockSize;
    std::uint64_t total = folders_ * blockSize;
    for (std::uint64_t size : fileSizes_) {
        total += (size + blockSize - 1) / blockSize * blockSize;
    }
    return total;
}

}  // namespace vela
