#include "Bench.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace vela::bench {

namespace fs = std::filesystem;

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t mid = values.size() / 2;
    return values.size() % 2 == 1 ? values[mid] : (values[mid - 1] + values[mid]) / 2;
}

void printRow(const char* name, const std::vector<double>& values, const char* format) {
    std::printf("  %-40s", name);
    for (double value : values) {
        std::printf(format, value);
    }
    std::printf("  | ");
    std::printf(format, median(values));
    std::printf("\n");
}

TreeSize measureTree(const std::vector<std::string>& paths) {
    TreeSize size;
    std::error_code ec;
    for (const std::string& path : paths) {
        for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end;
             it.increment(ec)) {
            if (it->is_regular_file(ec) && !it->is_symlink(ec)) {
                ++size.files;
                size.bytes += it->file_size(ec);
            }
        }
    }
    return size;
}

bool settle(const std::string& source, bool cold) {
    ::sync();
    if (cold) {
        std::ofstream drop("/proc/sys/vm/drop_caches");
        return static_cast<bool>(drop << "3\n" << std::flush);
    }
    std::vector<char> buffer(std::size_t{1} << 20);
    std::error_code ec;
    for (fs::recursive_directory_iterator it(source, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->is_regular_file(ec)) {
            std::ifstream in(it->path(), std::ios::binary);
            while (in.read(buffer.data(), std::ssize(buffer))) {
            }
        }
    }
    return true;
}

void syncDisk(const std::string& path) {
    if (const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC); fd >= 0) {
        ::syncfs(fd);
        ::close(fd);
    }
}

bool makeTargetRoot(const std::string& root) {
    std::error_code ec;
    for (const char* dir :
         {"Applications", "Library/LaunchAgents", "Library/Application Support", "Users"}) {
        if (fs::create_directories(fs::path(root) / dir, ec); ec) {
            std::fprintf(stderr, "InstallBench: cannot create %s: %s\n", root.c_str(),
                         ec.message().c_str());
            return false;
        }
    }
    return true;
}

}  // namespace vela::bench
