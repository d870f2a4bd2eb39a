#pragma once

#include <map>
#include <optional>
#include <string>

namespace vela {

/// An application bundle (X.app/Contents/{Info.plist,MacOS,Resources}) as the installer sees it.
/// Look-ups never fail loudly: a missing key or item gives no value.
class Bundle {
public:
    /// Reads `path`/Contents/Info.plist (XML or binary) with libplist. A bundle without a
    /// readable Info.plist has no keys (infoError() says why) but still answers look-ups of its
    /// items. A link, a folder or a FIFO at that name is not read.
    explicit Bundle(std::string path);
    Bundle() = default;

    /// The bundle around the running executable, or the one named by $VELA_MAIN_BUNDLE.
    /// Empty (no path, no keys) when the executable is not inside a bundle. Read once.
    static const Bundle& mainBundle();

    const std::string& bundlePath() const { return path_; }
    std::string infoPlistPath() const;
    /// Why Info.plist gave no keys ("No such file or directory", "is a folder, not a file",
    /// "is not a property list of keys and values"); empty when it was read.
    const std::string& infoError() const { return infoError_; }
    std::optional<std::string> infoValue(const std::string& key) const;
    std::optional<std::string> bundleName() const { return infoValue("CFBundleName"); }
    std::optional<std::string> shortVersionString() const {
        return infoValue("CFBundleShortVersionString");
    }
    std::optional<std::string> bundleVersion() const { return infoValue("CFBundleVersion"); }

    /// Contents/Resources/<name>.<type> when it exists.
    std::optional<std::string> pathForResource(const std::string& name,
                                               const std::string& type) const;
    /// Contents/MacOS/<name> when it exists.
    std::optional<std::string> pathForAuxiliaryExecutable(const std::string& name) const;
    /// Contents/MacOS/<CFBundleName>: the main executable's path; none without a name.
    std::optional<std::string> executablePath() const;

private:
    std::optional<std::string> existingItem(const std::string& path) const;

    std::string path_;
    std::map<std::string, std::string> info_;
    std::string infoError_;
};

}  // namespace vela
