#pragma once

#include <string>
#include <vector>

namespace vela::test {

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& contents);
/// Lines of `text`, without their line feeds.
std::vector<std::string> linesOf(const std::string& text);
/// Lines of a text file, without their line feeds.
std::vector<std::string> readLines(const std::string& path);
/// "owner:group:mode" as ls shows it, e.g. "root:admin:drwxrwxr-x"; empty when missing.
std::string accessOf(const std::string& path);
/// One line per item below `root` (sorted): relative path, type, mode, size, link target and a
/// hash of the contents, and with `withTimes` the modification time. Two equal snapshots mean
/// byte-for-byte equal trees. Lines that contain any of `leaveOut` are left out.
std::string snapshotTree(const std::string& root, const std::vector<std::string>& leaveOut = {},
                         bool withTimes = false);
/// The lines of the vendor folders that any run makes around what it installs.
extern const std::vector<std::string> kVendorFolders;
bool exists(const std::string& path);

}  // namespace vela::test
