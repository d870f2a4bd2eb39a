#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "CurrentUser.h"
#include "RequestingUser.h"

namespace vela {

namespace {

std::optional<passwd> lookup(const char* name, uid_t uid, std::vector<char>& buffer) {
    buffer.assign(16384, '\0');
    passwd entry{};
    passwd* found = nullptr;
    int rc = name ? getpwnam_r(name, &entry, buffer.data(), buffer.size(), &found)
                  : getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found);
    if (rc != 0 || found == nullptr) {
        return std::nullopt;
    }
    return entry;
}

}  // namespace

std::string currentUserName() {
    std::vector<char> buffer;
    std::optional<passwd> entry = lookup(nullptr, requestingUserId(), buffer);
    return entry ? std::string(entry->pw_name) : std::string();
}

std::optional<std::string> homeDirectoryOfUser(const std::optional<std::string>& user) {
    std::vector<char> buffer;
    if (!user) {
        if (const char* home = std::getenv("HOME"); home && *home) {
            return std::string(home);
        }
        std::optional<passwd> entry = lookup(nullptr, requestingUserId(), buffer);
        if (entry && entry->pw_dir && *entry->pw_dir) {
            return std::string(entry->pw_dir);
        }
        return std::nullopt;
    }
    std::optional<passwd> entry = lookup(user->c_str(), 0, buffer);
    if (entry && entry->pw_dir && *entry->pw_dir) {
        return std::string(entry->pw_dir);
    }
    return std::nullopt;
}

}  // namespace vela
