#include <sys/utsname.h>

#include <fstream>

#include "OperatingSystem.h"

namespace vela {

namespace {

// PRETTY_NAME of os-release, unquoted; empty when there is none.
std::string distributionName() {
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        std::ifstream in(path);
        for (std::string line; std::getline(in, line);) {
            const std::string key = "PRETTY_NAME=";
            if (line.rfind(key, 0) != 0) {
                continue;
            }
            std::string value = line.substr(key.size());
            if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
                value.back() == value.front()) {
                value = value.substr(1, value.size() - 2);
            }
            return value;
        }
    }
    return std::string();
}

}  // namespace

OperatingSystemCheck checkOperatingSystem() {
    OperatingSystemCheck check;
    check.isSupported = true;
    utsname host{};
    const bool known = ::uname(&host) == 0;
    check.description = std::string("seems the system is ") + (known ? host.sysname : "Linux") +
                        ", not macOS, and is treated as supported";
    std::string distribution = distributionName();
    if (!known && distribution.empty()) {
        check.versionString = "unknown";
    } else if (!known) {
        check.versionString = distribution;
    } else {
        check.versionString = (distribution.empty() ? std::string() : distribution + ", ") +
                              "kernel " + host.release + " (" + host.machine + ")";
    }
    return check;
}

}  // namespace vela
