// make-payload: writes a large application bundle for the installation benchmark.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "PayloadGenerator.h"

using namespace vela::bench;

namespace {

constexpr const char* kUsage =
    "usage: make-payload [--size BYTES] [--files N] [--seed N] [--installer SRC.app] OUT\n"
    "\n"
    "Writes an application bundle OUT of BYTES in N regular files (default 1G, 20000): nested\n"
    "frameworks and resource folders, a few large files and many small ones, random content.\n"
    "BYTES takes the suffixes K, M, G (binary units).\n"
    "With --installer, OUT becomes a copy of the installer bundle SRC.app whose\n"
    "Contents/MacOS/VELA.app carries that payload. OUT must not exist in that case.\n";

int usage(const char* problem) {
    if (problem != nullptr) {
        std::fprintf(stderr, "make-payload: %s\n", problem);
    }
    std::fputs(kUsage, problem != nullptr ? stderr : stdout);
    return problem != nullptr ? 2 : 0;
}

}  // namespace

int main(int argc, char* argv[]) {
    PayloadShape shape;
    std::string installer;
    std::string out;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--help" || arg == "-h") {
            return usage(nullptr);
        } else if (arg == "--size" && hasValue) {
            if (!parseByteSize(argv[++i], &shape.totalBytes)) {
                return usage("--size: not a byte count");
            }
        } else if (arg == "--files" && hasValue) {
            char* end = nullptr;
            long value = std::strtol(argv[++i], &end, 10);
            if (*end != '\0' || value < 1 || value > 10000000) {
                return usage("--files: not a count between 1 and 10000000");
            }
            shape.fileCount = static_cast<int>(value);
        } else if (arg == "--seed" && hasValue) {
            char* end = nullptr;
            shape.seed = std::strtoull(argv[++i], &end, 10);
            if (*end != '\0') {
                return usage("--seed: not a number");
            }
        } else if (arg == "--installer" && hasValue) {
            installer = argv[++i];
        } else if (!arg.empty() && arg.front() == '-') {
            return usage(("unknown option or missing value: " + arg).c_str());
        } else if (out.empty()) {
            out = arg;
        } else {
            return usage(("unexpected argument: " + arg).c_str());
        }
    }
    if (out.empty()) {
        return usage("no output bundle given");
    }

    PayloadSummary summary;
    std::string error;
    const bool made = installer.empty()
                          ? generatePayload(out, shape, &summary, &error)
                          : makeInstallerWithPayload(installer, out, shape, &summary, &error);
    if (!made) {
        std::fprintf(stderr, "make-payload: %s\n", error.c_str());
        return 1;
    }
    std::printf("%s: %llu bytes in %d files, %d directories, %d links\n", out.c_str(),
                static_cast<unsigned long long>(summary.bytes), summary.files, summary.directories,
                summary.links);
    return 0;
}
