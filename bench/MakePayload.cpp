// make-payload: writes the benchmark's payload on its own, for measuring by hand.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "SamplePayload.h"

using namespace vela::bench;

int main(int argc, char* argv[]) {
    PayloadShape shape;
    std::string installer;
    std::string out;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : "";
        if (arg == "--size" && parseBytes(value)) {
            shape.bytes = *parseBytes(argv[++i]);
        } else if (arg == "--files" && std::atoi(value) > 6) {
            shape.files = std::atoi(argv[++i]);
        } else if (arg == "--seed" && *value != '\0') {
            shape.seed = std::strtoull(argv[++i], nullptr, 10);
        } else if (arg == "--installer" && *value != '\0') {
            installer = argv[++i];
        } else if (out.empty() && !arg.empty() && arg.front() != '-') {
            out = arg;
        } else {
            out.clear();
            break;
        }
    }
    if (out.empty()) {
        std::fputs(
            "usage: make-payload [--size BYTES] [--files N] [--seed N] [--installer SRC.app] OUT\n"
            "Writes an application-like tree of BYTES (1G; K, M, G suffixes) in N > 6 files\n"
            "(20000) into OUT; with --installer, OUT is a copy of SRC.app whose VELA.app holds "
            "it.\n",
            stderr);
        return 2;
    }
    const std::error_code ec =
        installer.empty() ? makePayload(out, shape) : makeInstaller(installer, out, shape);
    if (ec) {
        std::fprintf(stderr, "make-payload: %s: %s\n", out.c_str(), ec.message().c_str());
        return 1;
    }
    return 0;
}
