#pragma once

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/FileData.h"

namespace vela::test {

/// The lines of the vendor folders that any run makes around what it installs.
inline const std::vector<std::string> kVendorFolders = {
    "Applications/Quillmark mode=", "Library/Application Support/Quillmark mode=",
    "Library/Application Support/Quillmark/VELA mode="};

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

inline void writeFile(const std::string& path, const std::string& contents) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
}

/// Lines of `text`, without their line feeds.
inline std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// Lines of a text file, without their line feeds.
inline std::vector<std::string> readLines(const std::string& path) {
    return linesOf(readFile(path));
}

/// "owner:group:mode" as ls shows it, e.g. "root:admin:drwxrwxr-x"; empty when missing.
inline std::string accessOf(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
        return std::string();
    }
    passwd* owner = ::getpwuid(info.st_uid);
    group* grp = ::getgrgid(info.st_gid);
    std::string mode = S_ISDIR(info.st_mode) ? "d" : S_ISLNK(info.st_mode) ? "l" : "-";
    const char* letters = "rwxrwxrwx";
    for (int bit = 0; bit < 9; ++bit) {
        mode += (info.st_mode & (0400u >> bit)) ? letters[bit] : '-';
    }
    return std::string(owner ? owner->pw_name : "?") + ":" + (grp ? grp->gr_name : "?") + ":" +
           mode;
}

/// One line per item below `root` (sorted): relative path, type, mode, size, link target and a
/// hash of the contents, and with `withTimes` the modification time. Two equal snapshots mean
/// byte-for-byte equal trees. Lines that contain any of `leaveOut` are left out.
inline std::string snapshotTree(const std::string& root,
                                const std::vector<std::string>& leaveOut = {},
                                bool withTimes = false) {
    std::vector<std::string> rows;
    std::error_code ec;
    for (std::filesystem::recursive_directory_iterator it(root, ec), end; !ec && it != end;
         it.increment(ec)) {
        const std::filesystem::path& path = it->path();
        struct stat info {};
        ::lstat(path.c_str(), &info);
        std::ostringstream row;
        row << path.lexically_relative(root).string() << " mode=" << std::oct << info.st_mode
            << std::dec << " uid=" << info.st_uid << " gid=" << info.st_gid;
        if (withTimes) {
            const struct timespec modified = accessAndModificationTimes(info)[1];
            row << " mtime=" << modified.tv_sec << "." << modified.tv_nsec;
        }
        if (S_ISLNK(info.st_mode)) {
            row << " -> " << std::filesystem::read_symlink(path, ec).string();
        } else if (S_ISREG(info.st_mode)) {
            row << " size=" << info.st_size
                << " hash=" << std::hash<std::string>{}(readFile(path.string()));
        }
        const std::string text = row.str();
        if (std::none_of(leaveOut.begin(), leaveOut.end(), [&text](const std::string& part) {
                return text.find(part) != std::string::npos;
            })) {
            rows.push_back(text);
        }
    }
    std::sort(rows.begin(), rows.end());
    std::string text;
    for (const std::string& row : rows) {
        text += row + "\n";
    }
    return text;
}

inline bool exists(const std::string& path) {
    std::error_code ec;
    return std::filesystem::exists(std::filesystem::symlink_status(path, ec));
}

}  // namespace vela::test
