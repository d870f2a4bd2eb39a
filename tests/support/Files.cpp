#include "Files.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "platform/FileData.h"

namespace vela::test {

namespace fs = std::filesystem;

const std::vector<std::string> kVendorFolders = {
    "Applications/Quillmark mode=", "Library/Application Support/Quillmark mode=",
    "Library/Application Support/Quillmark/VELA mode="};

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void writeFile(const std::string& path, const std::string& contents) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> readLines(const std::string& path) {
    return linesOf(readFile(path));
}

std::string accessOf(const std::string& path) {
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

std::string snapshotTree(const std::string& root, const std::vector<std::string>& leaveOut,
                         bool withTimes) {
    std::vector<std::string> rows;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec)) {
        const fs::path& path = it->path();
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
            row << " -> " << fs::read_symlink(path, ec).string();
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

bool exists(const std::string& path) {
    std::error_code ec;
    return fs::exists(fs::symlink_status(path, ec));
}

}  // namespace vela::test
