#include "SamplePayload.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

namespace vela::bench {

namespace fs = std::filesystem;

namespace {

// splitmix64: fast enough that the disk, not the generator, sets the pace.
std::uint64_t next(std::uint64_t& state) {
    std::uint64_t z = (state += 0x9e3779b97f4a7c15ULL);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31);
}

const char* const kFrameworks[] = {"VelaCore", "VelaRender", "VelaMedia",
                                   "VelaText", "VelaNet",    "VelaUI"};
// Each framework binary's share of all bytes: half together.
const double kLargeShares[] = {0.18, 0.12, 0.08, 0.05, 0.04, 0.03};
const char* const kExtensions[] = {".png", ".strings", ".nib", ".json", ".dat", ".js"};

std::error_code writeRandom(const fs::path& path, std::uint64_t size, std::uint64_t& state) {
    std::vector<std::uint64_t> buffer(std::min<std::uint64_t>(size / 8 + 1, 1 << 17));
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    for (std::uint64_t left = size; out && left > 0;) {
        const auto chunk = std::min<std::uint64_t>(left, buffer.size() * sizeof(std::uint64_t));
        std::generate_n(buffer.begin(), (chunk + 7) / 8, [&state] { return next(state); });
        out.write(reinterpret_cast<const char*>(buffer.data()),
                  static_cast<std::streamsize>(chunk));
        left -= chunk;
    }
    out.close();
    return out ? std::error_code() : std::make_error_code(std::errc::io_error);
}

}  // namespace

std::error_code makePayload(const std::string& dir, const PayloadShape& shape) {
    std::vector<fs::path> folders;
    std::vector<std::pair<fs::path, fs::path>> links;  // link, what it points to
    std::vector<std::pair<fs::path, std::uint64_t>> files;
    std::uint64_t bytesLeft = shape.bytes;
    for (std::size_t i = 0; i < std::size(kFrameworks); ++i) {
        const std::string name = kFrameworks[i];
        const fs::path framework = "Contents/Frameworks/" + name + ".framework";
        for (const char* sub : {"Shaders", "Strings", "Icons"}) {
            folders.push_back(framework / "Versions/A/Resources" / sub);
        }
        links.emplace_back(framework / "Versions/Current", "A");
        links.emplace_back(framework / name, "Versions/Current/" + name);
        links.emplace_back(framework / "Resources", "Versions/Current/Resources");
        const auto size =
            static_cast<std::uint64_t>(static_cast<double>(shape.bytes) * kLargeShares[i]);
        files.emplace_back(framework / "Versions/A" / name, size);
        bytesLeft -= size;
    }
    for (const char* language : {"en", "de", "fr", "ja", "ko", "zh-Hans"}) {
        folders.push_back(fs::path("Contents/Resources") / (std::string(language) + ".lproj"));
    }
    for (int set = 0; set < 16; ++set) {
        for (int group = 0; group < 24; ++group) {
            folders.push_back("Contents/Resources/Assets/set" + std::to_string(set) + "/group" +
                              std::to_string(group));
        }
    }
    // Small files from 128 bytes to 256 KiB, log-uniform, scaled to hold the other half.
    std::uint64_t state = shape.seed;
    std::vector<double> weights(static_cast<std::size_t>(std::max(1, shape.files - 6)));
    double weightLeft = 0;
    for (double& weight : weights) {
        const double unit = static_cast<double>(next(state) >> 11) * 0x1.0p-53;
        weightLeft += weight = 128.0 * std::pow(2048.0, unit);
    }
    for (std::size_t i = 0; i < weights.size(); ++i) {
        const auto size =
            i + 1 == weights.size()
                ? bytesLeft
                : std::min(bytesLeft, static_cast<std::uint64_t>(static_cast<double>(bytesLeft) *
                                                                 weights[i] / weightLeft));
        bytesLeft -= size;
        weightLeft -= weights[i];
        const fs::path& folder = folders[next(state) % folders.size()];
        const char* extension = kExtensions[next(state) % std::size(kExtensions)];
        files.emplace_back(folder / ("item" + std::to_string(i) + extension), size);
    }

    const fs::path root(dir);
    std::error_code ec;
    for (const fs::path& folder : folders) {
        if (fs::create_directories(root / folder, ec); ec) {
            return ec;
        }
    }
    for (const auto& [link, to] : links) {
        if (fs::create_symlink(to, root / link, ec); ec) {
            return ec;
        }
    }
    for (const auto& [file, size] : files) {
        if (ec = writeRandom(root / file, size, state); ec) {
            return ec;
        }
    }
    return ec;
}

std::error_code makeInstaller(const std::string& installer, const std::string& out,
                              const PayloadShape& shape) {
    std::error_code ec;
    if (fs::exists(fs::symlink_status(out, ec))) {
        return std::make_error_code(std::errc::file_exists);
    }
    fs::copy(installer, out, fs::copy_options::recursive | fs::copy_options::copy_symlinks, ec);
    return ec ? ec : makePayload(out + "/Contents/MacOS/VELA.app", shape);
}

std::optional<std::uint64_t> parseBytes(const std::string& text) {
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [rest, ec] = std::from_chars(text.data(), end, value);
    const std::string units[] = {"", "K", "M", "G"};
    const auto unit = std::find(units, units + 4, std::string(rest, end)) - units;
    if (ec != std::errc() || unit == 4 || value > (~std::uint64_t{0} >> (10 * unit))) {
        return std::nullopt;
    }
    return value << (10 * unit);
}

}  // namespace vela::bench
