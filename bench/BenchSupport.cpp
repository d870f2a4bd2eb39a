#include "BenchSupport.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "Process.h"

namespace vela::bench {

namespace fs = std::filesystem;

double msBetween(Clock::time_point begin, Clock::time_point end) {
    return std::chrono::duration<double, std::milli>(end - begin).count();
}

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t mid = values.size() / 2;
    return values.size() % 2 == 1 ? values[mid] : (values[mid - 1] + values[mid]) / 2;
}

const char* verdict(bool met) {
    return met ? "met" : "NOT MET";
}

void printRow(const char* name, const std::vector<double>& values, const char* format) {
    std::printf("  %-46s", name);
    for (double value : values) {
        std::printf(format, value);
    }
    std::printf("  | ");
    std::printf(format, median(values));
    std::printf("\n");
}

TreeSize measureTree(const std::string& path) {
    TreeSize size;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->is_regular_file(ec) && !it->is_symlink(ec)) {
            ++size.files;
            size.bytes += it->file_size(ec);
        }
    }
    return size;
}

// Every cold run starts from the same state: nothing of the payload in memory, nothing dirty
// waiting to be written back by an earlier run.
bool dropCaches() {
    ::sync();
    int fd = ::open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool done = ::write(fd, "3\n", 2) == 2;
    ::close(fd);
    return done;
}

void warmTree(const std::string& path) {
    std::vector<char> buffer(std::size_t{1} << 20);
    std::error_code ec;
    for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
        if (!it->is_regular_file(ec) || it->is_symlink(ec)) {
            continue;
        }
        int fd = ::open(it->path().c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            while (::read(fd, buffer.data(), buffer.size()) > 0) {
            }
            ::close(fd);
        }
    }
}

bool makeTargetRoot(const std::string& root) {
    std::error_code ec;
    for (const char* dir :
         {"Applications", "Library/LaunchAgents", "Library/Application Support", "Users"}) {
        fs::create_directories(fs::path(root) / dir, ec);
        if (ec) {
            std::fprintf(stderr, "InstallBench: cannot create %s/%s: %s\n", root.c_str(), dir,
                         ec.message().c_str());
            return false;
        }
    }
    return true;
}

void removeTree(const std::string& path) {
    std::error_code ec;
    fs::remove_all(path, ec);
    ::sync();
}

std::string machineLoad() {
    double load[1] = {-1};
    ::getloadavg(load, 1);
    double waiting = -1;
    if (FILE* pressure = std::fopen("/proc/pressure/cpu", "r")) {
        // "some avg10=… avg60=… avg300=… total=…"
        if (std::fscanf(pressure, "some avg10=%*f avg60=%lf", &waiting) != 1) {
            waiting = -1;
        }
        std::fclose(pressure);
    }
    char text[96];
    std::snprintf(text, sizeof text, "load %.2f, waiting for a core %.0f %%", load[0], waiting);
    return text;
}

TimedRun runTimed(std::vector<std::string> argv,
                  const std::map<std::string, std::string>& environment) {
    const Clock::time_point begin = Clock::now();
    test::Process process(std::move(argv), environment);
    TimedRun result;
    result.status = process.wait(30 * 60 * 1000);
    result.ms = msBetween(begin, Clock::now());
    result.peakMemoryKiB = process.peakResidentSet();  // KiB on Linux
    result.err = process.err();
    return result;
}

void Workbench::settle() const {
    ::sync();
    if (cold && dropCaches()) {
        return;
    }
    warmTree(macos());
}

bool Workbench::holdsBothBundles(const std::string& dir) const {
    return measureTree(dir + "/VELA.app") == app &&
           measureTree(dir + "/VELA-Uninstaller.app") == uninstaller;
}

}  // namespace vela::bench
