#include "Const.h"

#include <cstdlib>
#include <filesystem>

#include "Bundle.h"
#include "SafeFiles.h"
#include "platform/CurrentUser.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

// A relative root would be read against whatever folder a later command runs in, and the link
// would point nowhere: it is made absolute at once, against the folder the process started in.
std::string absoluteRoot(std::string root) {
    if (root.empty()) {
        return "/";
    }
    if (root.front() == '/') {
        return root;
    }
    std::error_code ec;
    fs::path absolute = fs::absolute(fs::path(root), ec);
    return ec ? root : absolute.lexically_normal().string();
}

std::string& targetRootStorage() {
    static std::string root = [] {
        const char* env = std::getenv("VELA_TARGET_ROOT");
        return absoluteRoot(env ? env : "");
    }();
    return root;
}

std::vector<std::string> listDirectory(const std::string& path) {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
        names.push_back(it->path().filename().string());
    }
    return names;
}

bool exists(const std::string& path) {
    std::error_code ec;
    return fs::exists(fs::symlink_status(path, ec)) && fs::exists(path, ec);
}

const char* const kApplicationSupportComponent = "Application Support/Quillmark/VELA";

}  // namespace

std::string joinPath(const std::string& base, const std::string& component) {
    if (base.empty()) {
        return component;
    }
    std::string::size_type end = base.find_last_not_of('/');
    std::string left = end == std::string::npos ? std::string() : base.substr(0, end + 1);
    std::string::size_type start = component.find_first_not_of('/');
    std::string right = start == std::string::npos ? std::string() : component.substr(start);
    if (right.empty()) {
        return left.empty() ? std::string("/") : left;
    }
    return left + "/" + right;
}

const std::string& Const::targetRoot() {
    return targetRootStorage();
}

void Const::setTargetRoot(std::string root) {
    targetRootStorage() = absoluteRoot(std::move(root));
}

std::string Const::underTargetRoot(const std::string& path) {
    const std::string& root = targetRoot();
    if (root == "/") {
        return path;
    }
    return joinPath(root, path);
}

std::string Const::applicationDirectoryNameWithVersion(const std::optional<std::string>& version) {
    return std::string(kClientAppVersionPrefix) + version.value_or("");
}

std::string Const::applicationDirectoryPathWithVersion(const std::optional<std::string>& version) {
    return joinPath(appBaseDirectoryPath(), applicationDirectoryNameWithVersion(version)) + "/";
}

std::string Const::appBaseDirectoryPath() {
    return underTargetRoot(kAppBaseDir);
}

std::string Const::symbolicLinkPath() {
    return underTargetRoot(std::string(kSymbolicLinkDir) + "/" + kClientAppName);
}

std::string Const::applicationLaunchAgentPlistPath() {
    return joinPath(underTargetRoot("/Library/LaunchAgents"),
                    std::string(kVendorPrefix) + "." + kClientAppName + ".plist");
}

std::optional<std::string> Const::applicationUserAreaDirectoryPath(
    const std::optional<std::string>& user) {
    std::optional<std::string> home = homeDirectoryOfUser(user);
    if (!home) {
        return std::nullopt;
    }
    return joinPath(joinPath(*home, "Library"), kApplicationSupportComponent);
}

std::optional<std::string> Const::applicationUserLogDirectoryPath(
    const std::optional<std::string>& user) {
    std::optional<std::string> home = homeDirectoryOfUser(user);
    if (!home) {
        return std::nullopt;
    }
    return joinPath(*home, "Library/Logs");
}

namespace {
std::optional<std::string> userLogFile(const char* name) {
    std::optional<std::string> dir = Const::applicationUserLogDirectoryPath();
    if (!dir) {
        return std::nullopt;
    }
    return joinPath(*dir, name);
}
}  // namespace

std::optional<std::string> Const::applicationLogPath() {
    return userLogFile(kLogAppicationName);
}
std::optional<std::string> Const::applicationInstallerLogPath() {
    return userLogFile(kLogInstallName);
}
std::optional<std::string> Const::applicationUninstallerLogPath() {
    return userLogFile(kLogUninstallName);
}
std::optional<std::string> Const::applicationDeviceInstallerLogPath() {
    return userLogFile(kLogDeviceInstallName);
}

std::optional<std::string> Const::getCurrentAppVersion() {
    return Bundle::mainBundle().shortVersionString();
}

std::optional<std::string> Const::getCurrentBuildNumber() {
    return Bundle::mainBundle().bundleVersion();
}

std::vector<std::string> Const::applicationDirectoryPrefixEnumerate() {
    std::vector<std::string> result;
    const std::string prefix = kClientAppVersionPrefix;
    for (const std::string& name : listDirectory(appBaseDirectoryPath())) {
        if (name.compare(0, prefix.size(), prefix) == 0) {
            result.push_back(name);
        }
    }
    return result;
}

std::vector<std::string> Const::movedAsideGenerationPaths() {
    std::vector<std::string> result;
    for (const std::string& name : applicationDirectoryPrefixEnumerate()) {
        if (name.ends_with(kDestinationDirectorySuffix)) {
            result.push_back(joinPath(appBaseDirectoryPath(), name));
        }
    }
    return result;
}

std::vector<std::string> Const::otherGenerationPaths(const std::string& kept) {
    const std::string plain = withoutTrailingSlashes(kept);
    std::vector<std::string> result;
    for (const std::string& name : applicationDirectoryPrefixEnumerate()) {
        if (joinPath(appBaseDirectoryPath(), name) != plain) {
            result.push_back(joinPath(appBaseDirectoryPath(), name));
        }
    }
    return result;
}

std::vector<std::string> Const::allUserDirectoryPlistPaths() {
    std::vector<std::string> result;
    const std::string users = underTargetRoot("/Users");
    for (const std::string& entry : listDirectory(users)) {
        const std::string area =
            joinPath(joinPath(joinPath(users, entry), "Library"), kApplicationSupportComponent);
        for (const char* file : {"VELA.config.plist", "VELA.font.plist"}) {
            std::string path = joinPath(area, file);
            if (exists(path)) {
                result.push_back(std::move(path));
            }
        }
    }
    return result;
}

std::string Const::vendorDirectoryPath() {
    return underTargetRoot(kVendorDirectory);
}

std::string Const::getDeviceLicenseModeDirectoryPath() {
    return joinPath(vendorDirectoryPath(), "VELA-device");
}

std::string Const::getDeviceLicenseModeConfigPath() {
    return joinPath(getDeviceLicenseModeDirectoryPath(), "VELA-device.config.plist");
}

std::string Const::getDeviceLicenseModeFontPlistPath() {
    return joinPath(getDeviceLicenseModeDirectoryPath(), "VELA-device.font.plist");
}

std::string Const::getLibTargetFontInfoPath() {
    return joinPath(getDeviceLicenseModeDirectoryPath(), "VELA-device.target.plist");
}

std::string Const::getDeviceOfflineFlagFilePath() {
    return joinPath(getDeviceLicenseModeDirectoryPath(), kDeviceOfflineFlagFileName);
}

std::string Const::getDeviceHelpFilePath() {
    return joinPath(getDeviceLicenseModeDirectoryPath(),
                    std::string(kDeviceHelpFileName) + "." + kDeviceHelpFileType);
}

std::optional<std::string> Const::getCommonWorkingDirectoryPath() {
    return applicationUserAreaDirectoryPath();
}

std::optional<std::string> Const::getLogModeSettingFilePath() {
    std::optional<std::string> dir = getCommonWorkingDirectoryPath();
    if (!dir) {
        return std::nullopt;
    }
    return joinPath(*dir, ".debug.ini");
}

}  // namespace vela
