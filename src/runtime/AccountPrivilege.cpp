#include "AccountPrivilege.h"

#include <grp.h>

#include <cstring>

#include "Log.h"

namespace vela {

namespace {

std::optional<std::vector<std::string>> adminMembers() {
    group* entry = ::getgrnam("admin");
    if (entry == nullptr) {
        return std::nullopt;
    }
    std::vector<std::string> members;
    for (char** member = entry->gr_mem; member && *member; ++member) {
        members.emplace_back(*member);
    }
    return members;
}

}  // namespace

bool AccountPrivilege::isMenberAdminGroup(const std::optional<std::string>& user) {
    return isMenberOfGroup(user, user ? adminMembers() : std::nullopt);
}

bool AccountPrivilege::isMenberOfGroup(const std::optional<std::string>& user,
                                       const std::optional<std::vector<std::string>>& members) {
    const char* shown = user ? user->c_str() : "(empty)";
    ILog("Start check user %s in admin group", shown);
    bool result = false;
    if (user && members) {
        for (const std::string& member : *members) {
            ILog("current user: [%s](%zu): in admin group user: [%s](%zu)", user->c_str(),
                 user->size(), member.c_str(), member.size());
            if (member.size() == user->size() &&
                std::memcmp(member.data(), user->data(), user->size()) == 0) {
                result = true;
                break;
            }
        }
    }
    ILog("End check user %s in admin group(%s)", shown, result ? "with admin" : "no admin");
    return result;
}

}  // namespace vela
