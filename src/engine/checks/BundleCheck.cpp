#include "BundleCheck.h"

#include <cctype>

#include "Const.h"
#include "Payload.h"

namespace vela {

namespace {

constexpr std::size_t kLongestVersion = 32;

// The value as an administrator can read it in one line: bytes that are not printable ASCII as
// \xNN, a long value cut short.
std::string shown(const std::string& value) {
    static const char* digits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < value.size() && i < 2 * kLongestVersion; ++i) {
        const auto c = static_cast<unsigned char>(value[i]);
        if (c >= 0x20 && c < 0x7f) {
            text += static_cast<char>(c);
        } else {
            text += std::string("\\x") + digits[c >> 4] + digits[c & 15];
        }
    }
    return value.size() > 2 * kLongestVersion ? text + "..." : text;
}

}  // namespace

bool BundleCheck::isPlainVersion(const std::string& version) {
    if (version.empty() || version.size() > kLongestVersion ||
        !std::isdigit(static_cast<unsigned char>(version.front())) || version.back() == '.' ||
        version.find("..") != std::string::npos) {
        return false;
    }
    for (char c : version) {
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-') {
            return false;
        }
    }
    const std::string suffix = Const::kDestinationDirectorySuffix;
    if (version.size() >= suffix.size()) {
        std::string tail = version.substr(version.size() - suffix.size());
        for (char& c : tail) {
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        return tail != suffix;
    }
    return true;
}

std::optional<std::string> BundleCheck::defect(const Bundle& bundle) {
    const std::string plist = bundle.infoPlistPath();
    if (!bundle.infoError().empty()) {
        return "the installer bundle is damaged: " + plist + ": " + bundle.infoError();
    }
    const std::optional<std::string> version = bundle.shortVersionString();
    if (!version) {
        return "the installer bundle is damaged: " + plist + ": no CFBundleShortVersionString";
    }
    if (!isPlainVersion(*version)) {
        return "the installer bundle is damaged: " + plist + ": CFBundleShortVersionString \"" +
               shown(*version) +
               "\" is not a plain version (a digit, then up to 31 digits, letters, single dots "
               "and hyphens, not ending in .old)";
    }
    return Payload(bundle, Const::applicationDirectoryPathWithVersion(version), false).defect();
}

}  // namespace vela
