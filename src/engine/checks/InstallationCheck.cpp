#include "InstallationCheck.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include "Const.h"
#include "InstallationSteps.h"
#include "Log.h"
#include "UniqueFd.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

char typeOf(mode_t mode) {
    return S_ISDIR(mode) ? 'd' : S_ISLNK(mode) ? 'l' : S_ISREG(mode) ? '-' : '?';
}

std::string typeName(char type) {
    switch (type) {
        case 'd':
            return "folder";
        case 'l':
            return "link";
        case '-':
            return "file";
        default:
            return "special file";
    }
}

// "drwxrwxr-x", the form administrators read in listings.
std::string modeText(char type, mode_t mode) {
    std::string text(1, type);
    const char* letters = "rwxrwxrwx";
    for (int bit = 0; bit < 9; ++bit) {
        text += (mode & (0400u >> bit)) != 0 ? letters[bit] : '-';
    }
    return text;
}

std::string ownerText(const struct stat& info) {
    const struct passwd* user = ::getpwuid(info.st_uid);
    const struct group* group = ::getgrgid(info.st_gid);
    return (user != nullptr ? std::string(user->pw_name) : std::to_string(info.st_uid)) + ":" +
           (group != nullptr ? std::string(group->gr_name) : std::to_string(info.st_gid));
}

std::optional<std::string> linkText(const std::string& path) {
    std::error_code ec;
    fs::path text = fs::read_symlink(path, ec);
    return ec ? std::nullopt : std::optional<std::string>(text.string());
}

// Reads until `size` bytes or the end; the count read, or -1.
ssize_t readUpTo(int fd, char* buffer, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        ssize_t n = ::read(fd, buffer + done, size - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return -1;
        }
        if (n == 0) {
            break;
        }
        done += static_cast<std::size_t>(n);
    }
    return static_cast<ssize_t>(done);
}

bool sameBytes(const std::string& first, const std::string& second) {
    const UniqueFd a(::open(first.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    const UniqueFd b(::open(second.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    bool same = a.valid() && b.valid();
    std::vector<char> left(1 << 16);
    std::vector<char> right(left.size());
    while (same) {
        ssize_t n = readUpTo(a.get(), left.data(), left.size());
        ssize_t m = readUpTo(b.get(), right.data(), right.size());
        same = n >= 0 && n == m &&
               std::memcmp(left.data(), right.data(), static_cast<std::size_t>(n)) == 0;
        if (n <= 0) {
            break;
        }
    }
    return same;
}

std::set<std::string> namesIn(const std::string& folder) {
    std::set<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        names.insert(it->path().filename().string());
    }
    return names;
}

}  // namespace

InstallationCheck::InstallationCheck(const Bundle& bundle) : bundle_(bundle) {
    if (const struct group* admin = ::getgrnam("admin")) {
        adminGroup_ = admin->gr_gid;
    }
}

std::string InstallationCheck::expectedLinkText(const std::optional<std::string>& version) {
    return std::string(Const::kAppBaseDir) + "/" +
           Const::applicationDirectoryNameWithVersion(version) + "/";
}

InstallationCheck::State InstallationCheck::run() {
    differences_.clear();
    const std::string generation =
        Const::applicationDirectoryPathWithVersion(bundle_.shortVersionString());
    const std::string folder = generation.substr(0, generation.size() - 1);
    struct stat info {};
    if (!lstatOrMissing(folder, info, "the generation's folder")) {
        return State::Absent;
    }
    DTrace("verifying %s", folder.c_str());
    // What every step of a new installation leaves, as its row says.
    const InstallationSteps steps(bundle_, false, generation);
    std::vector<Expected> expected;
    for (StepId id : steps.all()) {
        if (const StepRow& row = stepRow(id); row.leaves) {
            row.leaves(steps, expected);
        }
    }
    for (const Expected& item : expected) {
        compare(item);
    }
    return differences_.empty() ? State::Intact : State::Damaged;
}

bool InstallationCheck::lstatOrMissing(const std::string& path, struct stat& info,
                                       const std::string& expected) {
    if (::lstat(path.c_str(), &info) == 0) {
        return true;
    }
    differences_.push_back({"missing", path, expected, "nothing"});
    return false;
}

bool InstallationCheck::checkOwner(const std::string& path, const struct stat& info) {
    if (info.st_uid == 0 && adminGroup_ && info.st_gid == *adminGroup_) {
        return true;
    }
    differences_.push_back({"owner", path, "root:admin", ownerText(info)});
    return false;
}

void InstallationCheck::compareTree(const std::string& source, const std::string& target,
                                    std::optional<mode_t> mode) {
    struct stat from {};
    struct stat to {};
    if (::lstat(source.c_str(), &from) != 0) {
        return;
    }
    const char type = typeOf(from.st_mode);
    // A link has no mode of its own.
    if (!expectAccess(
            target, type,
            type == 'l' ? std::nullopt : std::optional(mode.value_or(from.st_mode & 07777)), to)) {
        return;
    }
    if (type == '-') {
        compareFile(source, target, from, to);
    } else if (type == 'l') {
        std::string expected = linkText(source).value_or("");
        std::string found = linkText(target).value_or("");
        if (expected != found) {
            differences_.push_back({"link text", target, expected, found});
        }
    } else if (type == 'd') {
        std::set<std::string> wanted = namesIn(source);
        for (const std::string& name : wanted) {
            compareTree(joinPath(source, name), joinPath(target, name), std::nullopt);
        }
        for (const std::string& name : namesIn(target)) {
            if (wanted.count(name) == 0) {
                differences_.push_back({"extra", joinPath(target, name), "nothing",
                                        "an item the bundle does not have"});
            }
        }
    }
}

void InstallationCheck::compareFile(const std::string& source, const std::string& target,
                                    const struct stat& sourceInfo, const struct stat& targetInfo) {
    if (sourceInfo.st_size != targetInfo.st_size) {
        differences_.push_back({"size", target, std::to_string(sourceInfo.st_size) + " bytes",
                                std::to_string(targetInfo.st_size) + " bytes"});
    } else if (!sameBytes(source, target)) {
        differences_.push_back({"contents", target, "the bundle's bytes", "other bytes"});
    }
}

bool InstallationCheck::expectAccess(const std::string& path, char type, std::optional<mode_t> mode,
                                     struct stat& info) {
    if (!lstatOrMissing(path, info, typeName(type))) {
        return false;
    }
    if (typeOf(info.st_mode) != type) {
        differences_.push_back({"type", path, typeName(type), typeName(typeOf(info.st_mode))});
        return false;
    }
    checkOwner(path, info);
    if (mode && (info.st_mode & 07777) != *mode) {
        differences_.push_back(
            {"mode", path, modeText(type, *mode), modeText(type, info.st_mode & 07777)});
    }
    return true;
}

void InstallationCheck::compare(const Expected& item) {
    struct stat info {};
    switch (item.kind) {
        case Expected::Kind::Copy:
            if (item.source) {
                compareTree(*item.source, item.path, item.mode);
            }
            break;
        case Expected::Kind::Folder:
            expectAccess(item.path, 'd', item.mode, info);
            break;
        case Expected::Kind::File:
            if (lstatOrMissing(item.path, info, "file") && !S_ISREG(info.st_mode)) {
                differences_.push_back({"type", item.path, "file", typeName(typeOf(info.st_mode))});
            }
            break;
        case Expected::Kind::Link:
            checkLink(item.path, item.text);
            break;
    }
}

void InstallationCheck::checkLink(const std::string& link, const std::string& expected) {
    struct stat info {};
    if (!lstatOrMissing(link, info, "a link to " + expected)) {
        return;
    }
    std::optional<std::string> text = linkText(link);
    if (!text) {
        differences_.push_back({"type", link, "link", typeName(typeOf(info.st_mode))});
    } else if (*text != expected) {
        differences_.push_back({"link text", link, expected, *text});
    }
}

}  // namespace vela
