#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vela {

/// The catalogue of every fixed name and install path. Absolute paths are joined to the target
/// root ("/" unless set), so tests and demos install into a folder instead of the machine itself.
/// Operations compose strings only; nothing here touches the disk except the two enumerations.
class Const {
public:
    static constexpr const char* kClientAppName = "VELA";
    static constexpr const char* kAppBaseDir = "/Applications/Quillmark";
    static constexpr const char* kSymbolicLinkDir = "/Applications/Quillmark";
    static constexpr const char* kAppDir = "/Applications/Quillmark/VELA-Ver%s/";
    static constexpr const char* kAppUpdateFileNameExcludeExtension = "VELA-Ver%s";
    static constexpr const char* kInstallerName = "VELA-Installer";
    static constexpr const char* kUninstallerName = "VELA-Uninstaller";
    static constexpr const char* kDeviceInstallerName = "VELA-device-Installer";
    static constexpr const char* kAppFileType = "app";
    static constexpr const char* kDestinationDirectorySuffix = ".old";
    static constexpr const char* kAppLogoName = "VELA_logo3";
    static constexpr const char* kAppModeScriptDebugName = "LOGforDEBUG";
    static constexpr const char* kAppModeScriptNormalName = "LOGforRELEASE";
    static constexpr const char* kAppModeScriptFileType = "command";
    static constexpr const char* kDeviceHelpFileName = "VELA-for-Device-help";
    static constexpr const char* kDeviceHelpFileType = "pdf";
    static constexpr const char* kDeviceOfflineFlagFileName = "VELA-device.offline-mode";
    static constexpr const char* kLogPath = "/Library/Logs/";
    static constexpr std::int64_t kLogMaximumSize = 10000000;
    static constexpr std::int64_t kAppMaxGenerationsCount = 2;
    static constexpr std::int64_t kMKeyCode = 13;
    static constexpr std::int64_t kDialogResultCode = 1000;
    static constexpr const char* kLogModeNormal = "NORMAL";
    static constexpr const char* kLogModeDebug = "DEBUG";
    static constexpr const char* kClientAppVersionPrefix = "VELA-Ver";
    static constexpr const char* kLogAppicationName = "VELA.log";
    static constexpr const char* kLogInstallName = "VELA-Installer.log";
    static constexpr const char* kLogUninstallName = "VELA-Uninstaller.log";
    static constexpr const char* kLogDeviceInstallName = "VELA-device-Installer.log";
    /// Reverse-DNS prefix of the vendor, heads the LaunchAgent file name.
    static constexpr const char* kVendorPrefix = "com.quillmark";

    /// The folder that stands for "/" in every catalogue path, always absolute. Starts as
    /// $VELA_TARGET_ROOT, or "/" when that is unset or empty; a relative root (here and in
    /// setTargetRoot) is taken against the current folder at once. Not thread-safe to change:
    /// set it before any work starts.
    static const std::string& targetRoot();
    static void setTargetRoot(std::string root);
    /// `path` (absolute, as the catalogue spells it) under the target root.
    static std::string underTargetRoot(const std::string& path);

    /// "VELA-Ver" + version; "VELA-Ver" alone without a version.
    static std::string applicationDirectoryNameWithVersion(
        const std::optional<std::string>& version);
    /// The generation directory, always ending in "/".
    static std::string applicationDirectoryPathWithVersion(
        const std::optional<std::string>& version);
    /// The base directory holding every generation and the link (target root applied).
    static std::string appBaseDirectoryPath();
    /// The link to the installed generation: <kSymbolicLinkDir>/VELA.
    static std::string symbolicLinkPath();
    static std::string applicationLaunchAgentPlistPath();

    /// Home of `user` (the current user when none) + Library/Application Support/Quillmark/VELA;
    /// none when the user has no known home.
    static std::optional<std::string> applicationUserAreaDirectoryPath(
        const std::optional<std::string>& user = std::nullopt);
    static std::optional<std::string> applicationUserLogDirectoryPath(
        const std::optional<std::string>& user = std::nullopt);
    static std::optional<std::string> applicationLogPath();
    static std::optional<std::string> applicationInstallerLogPath();
    static std::optional<std::string> applicationUninstallerLogPath();
    static std::optional<std::string> applicationDeviceInstallerLogPath();

    /// CFBundleShortVersionString / CFBundleVersion of the main bundle; none without a bundle.
    static std::optional<std::string> getCurrentAppVersion();
    static std::optional<std::string> getCurrentBuildNumber();

    /// Names (not paths) in the base directory that begin with "VELA-Ver", in listing order.
    /// Plain files are returned too; a missing directory gives an empty list.
    static std::vector<std::string> applicationDirectoryPrefixEnumerate();
    /// Paths (no trailing slash) of the generations moved aside by an earlier run ("….old").
    static std::vector<std::string> movedAsideGenerationPaths();
    /// Paths (no trailing slash) of every generation but `kept` (trailing slash or not),
    /// moved-aside ones included.
    static std::vector<std::string> otherGenerationPaths(const std::string& kept);
    /// Existing VELA.config.plist and VELA.font.plist of every entry of /Users, in listing order.
    static std::vector<std::string> allUserDirectoryPlistPaths();

    /// The installer's own folder on the target (the journal, the lock, the record, the device
    /// directory), as the installed system sees it; vendorDirectoryPath() under the target root.
    static constexpr const char* kVendorDirectory = "/Library/Application Support/Quillmark/VELA";
    static std::string vendorDirectoryPath();
    static std::string getDeviceLicenseModeDirectoryPath();
    static std::string getDeviceLicenseModeConfigPath();
    static std::string getDeviceLicenseModeFontPlistPath();
    static std::string getLibTargetFontInfoPath();
    static std::string getDeviceOfflineFlagFilePath();
    static std::string getDeviceHelpFilePath();
    static std::optional<std::string> getCommonWorkingDirectoryPath();
    static std::optional<std::string> getLogModeSettingFilePath();
};

/// Joins path components with exactly one "/" between them.
std::string joinPath(const std::string& base, const std::string& component);

}  // namespace vela
