#include "PayloadGenerator.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <vector>

namespace vela::bench {

namespace fs = std::filesystem;

namespace {

std::uint64_t splitMix(std::uint64_t& state) {
    std::uint64_t z = (state += 0x9e3779b97f4a7c15ULL);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31);
}

// xoshiro256**: fast enough that writing, not generating, sets the pace.
class Random {
public:
    explicit Random(std::uint64_t seed) {
        for (std::uint64_t& word : state_) {
            word = splitMix(seed);
        }
    }
    std::uint64_t next() {
        const std::uint64_t result = rotate(state_[1] * 5, 7) * 9;
        const std::uint64_t t = state_[1] << 17;
        state_[2] ^= state_[0];
        state_[3] ^= state_[1];
        state_[1] ^= state_[2];
        state_[0] ^= state_[3];
        state_[2] ^= t;
        state_[3] = rotate(state_[3], 45);
        return result;
    }
    /// Uniform in [0, 1).
    double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

private:
    static std::uint64_t rotate(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
    std::array<std::uint64_t, 4> state_{};
};

struct PlannedFile {
    std::string path;  // relative to the bundle
    std::uint64_t size;
    bool executable;
};

struct Plan {
    std::vector<std::string> directories;                    // relative, parents first
    std::vector<std::pair<std::string, std::string>> links;  // relative path, link text
    std::vector<PlannedFile> files;
};

const char* const kFrameworks[] = {"VelaCore", "VelaRender", "VelaMedia",
                                   "VelaText", "VelaNet",    "VelaUI"};
const char* const kLanguages[] = {"en", "de", "fr", "ja", "zh-Hans", "zh-Hant",
                                  "ko", "es", "it", "pt", "nl",      "sv"};
const char* const kExtensions[] = {".png", ".strings", ".nib", ".json",
                                   ".dat", ".js",      ".css", ".plist"};
// Share of the total size held by the large files; the small files share the rest.
const double kLargeShares[] = {0.18, 0.12, 0.08, 0.05, 0.04, 0.03};

std::string frameworkDir(const char* name) {
    return std::string("Contents/Frameworks/") + name + ".framework";
}

Plan makePlan(const PayloadShape& shape) {
    Plan plan;
    Random random(shape.seed);
    auto addDir = [&plan](const std::string& dir) { plan.directories.push_back(dir); };

    addDir("Contents");
    addDir("Contents/Frameworks");
    std::vector<std::string> smallDirs;
    for (const char* name : kFrameworks) {
        const std::string base = frameworkDir(name);
        addDir(base);
        addDir(base + "/Versions");
        addDir(base + "/Versions/A");
        addDir(base + "/Versions/A/Resources");
        for (const char* sub : {"Shaders", "Strings", "Icons"}) {
            addDir(base + "/Versions/A/Resources/" + sub);
            smallDirs.push_back(base + "/Versions/A/Resources/" + sub);
        }
        plan.links.emplace_back(base + "/Versions/Current", "A");
        plan.links.emplace_back(base + "/" + name, std::string("Versions/Current/") + name);
        plan.links.emplace_back(base + "/Resources", "Versions/Current/Resources");
    }
    addDir("Contents/PlugIns");
    addDir("Contents/PlugIns/Import.bundle");
    addDir("Contents/PlugIns/Import.bundle/Contents");
    addDir("Contents/PlugIns/Import.bundle/Contents/MacOS");
    addDir("Contents/Resources");
    addDir("Contents/Resources/Data");
    for (const char* language : kLanguages) {
        addDir(std::string("Contents/Resources/") + language + ".lproj");
        smallDirs.push_back(std::string("Contents/Resources/") + language + ".lproj");
    }
    addDir("Contents/Resources/Assets");
    for (int a = 0; a < 16; ++a) {
        const std::string level1 = "Contents/Resources/Assets/set" + std::to_string(a);
        addDir(level1);
        for (int b = 0; b < 16; ++b) {
            const std::string level2 = level1 + "/group" + std::to_string(b);
            addDir(level2);
            smallDirs.push_back(level2);
            if (b % 4 == 0) {
                // Some deeper folders, as icon sets and localised media have.
                addDir(level2 + "/scale2x");
                smallDirs.push_back(level2 + "/scale2x");
            }
        }
    }

    const int largeCount =
        std::min(static_cast<int>(std::size(kLargeShares)), std::max(0, shape.fileCount / 2));
    const std::string largePaths[] = {
        frameworkDir("VelaCore") + "/Versions/A/VelaCore",
        frameworkDir("VelaRender") + "/Versions/A/VelaRender",
        "Contents/Resources/Data/dictionary.bin",
        frameworkDir("VelaMedia") + "/Versions/A/VelaMedia",
        "Contents/Resources/Data/templates.pack",
        "Contents/PlugIns/Import.bundle/Contents/MacOS/Import",
    };
    std::uint64_t largeBytes = 0;
    for (int i = 0; i < largeCount; ++i) {
        const auto size = static_cast<std::uint64_t>(static_cast<double>(shape.totalBytes) *
                                                     kLargeShares[static_cast<std::size_t>(i)]);
        const std::string& path = largePaths[static_cast<std::size_t>(i)];
        plan.files.push_back({path, size, path.find("/Data/") == std::string::npos});
        largeBytes += size;
    }

    // Frameworks without a large binary still have one. Large files 0, 1 and 3 are the
    // binaries of the first three frameworks.
    const int smallCount = shape.fileCount - largeCount;
    auto hasLargeBinary = [largeCount](std::size_t framework) {
        const int largeIndex[] = {0, 1, 3};
        return framework < std::size(largeIndex) && largeIndex[framework] < largeCount;
    };
    std::vector<PlannedFile> small;
    for (std::size_t i = 0;
         i < std::size(kFrameworks) && static_cast<int>(small.size()) < smallCount; ++i) {
        if (!hasLargeBinary(i)) {
            small.push_back(
                {frameworkDir(kFrameworks[i]) + "/Versions/A/" + kFrameworks[i], 0, true});
        }
    }
    while (static_cast<int>(small.size()) < smallCount) {
        const std::size_t index = small.size();
        const std::string& dir = smallDirs[random.next() % smallDirs.size()];
        const char* extension = kExtensions[random.next() % std::size(kExtensions)];
        small.push_back({dir + "/item" + std::to_string(index) + extension, 0, false});
    }

    // Log-uniform weights from 128 bytes to 256 KiB, then scaled so that the total is exact.
    std::vector<double> weights(small.size());
    double weightSum = 0;
    for (double& weight : weights) {
        weight = 128.0 * std::pow(2048.0, random.unit());
        weightSum += weight;
    }
    const std::uint64_t smallBytes = shape.totalBytes - std::min(shape.totalBytes, largeBytes);
    double cumulative = 0;
    std::uint64_t given = 0;
    for (std::size_t i = 0; i < small.size(); ++i) {
        cumulative += weights[i];
        const auto upTo = i + 1 == small.size()
                              ? smallBytes
                              : static_cast<std::uint64_t>(static_cast<double>(smallBytes) *
                                                           (cumulative / weightSum));
        small[i].size = upTo > given ? upTo - given : 0;
        given += small[i].size;
    }
    plan.files.insert(plan.files.end(), small.begin(), small.end());
    return plan;
}

std::string describe(const std::string& what, const std::string& path, int error) {
    return what + " " + path + ": " + std::strerror(error);
}

bool writeFile(const std::string& path, const PlannedFile& file, std::uint64_t seed,
               std::vector<std::uint64_t>& buffer, std::string* error) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                    file.executable ? 0755 : 0644);
    if (fd < 0) {
        *error = describe("cannot create", path, errno);
        return false;
    }
    Random random(seed);
    std::uint64_t left = file.size;
    while (left > 0) {
        const std::size_t chunk = static_cast<std::size_t>(
            std::min<std::uint64_t>(left, buffer.size() * sizeof(std::uint64_t)));
        const std::size_t words = (chunk + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t);
        for (std::size_t i = 0; i < words; ++i) {
            buffer[i] = random.next();
        }
        const char* data = reinterpret_cast<const char*>(buffer.data());
        std::size_t remaining = chunk;
        while (remaining > 0) {
            ssize_t written = ::write(fd, data, remaining);
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                *error = describe("cannot write", path, written < 0 ? errno : ENOSPC);
                ::close(fd);
                return false;
            }
            data += written;
            remaining -= static_cast<std::size_t>(written);
        }
        left -= chunk;
    }
    if (::close(fd) != 0) {
        *error = describe("cannot close", path, errno);
        return false;
    }
    return true;
}

bool writeInfoPlistIfMissing(const fs::path& bundle, std::string* error) {
    const fs::path plist = bundle / "Contents/Info.plist";
    std::error_code ec;
    if (fs::exists(fs::symlink_status(plist, ec))) {
        return true;
    }
    const std::string name = bundle.stem().string();
    const std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
        "\t<key>CFBundleName</key>\n\t<string>" +
        name + "</string>\n\t<key>CFBundleExecutable</key>\n\t<string>" + name +
        "</string>\n</dict>\n</plist>\n";
    int fd = ::open(plist.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0 || ::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        *error = describe("cannot write", plist.string(), errno);
        if (fd >= 0) {
            ::close(fd);
        }
        return false;
    }
    ::close(fd);
    return true;
}

}  // namespace

bool generatePayload(const std::string& bundlePath, const PayloadShape& shape,
                     PayloadSummary* summary, std::string* error) {
    std::string ignored;
    if (error == nullptr) {
        error = &ignored;
    }
    if (shape.fileCount < 1) {
        *error = "the file count must be at least 1";
        return false;
    }
    const Plan plan = makePlan(shape);
    const fs::path bundle(bundlePath);
    PayloadSummary made;
    std::error_code ec;
    fs::create_directories(bundle, ec);
    if (ec) {
        *error = "cannot create " + bundlePath + ": " + ec.message();
        return false;
    }
    for (const std::string& dir : plan.directories) {
        if (fs::create_directory(bundle / dir, ec)) {
            ++made.directories;
        } else if (ec) {
            *error = "cannot create " + (bundle / dir).string() + ": " + ec.message();
            return false;
        }
    }
    if (!writeInfoPlistIfMissing(bundle, error)) {
        return false;
    }
    std::vector<std::uint64_t> buffer(std::size_t{1} << 17);  // 1 MiB
    std::uint64_t fileSeed = shape.seed;
    for (const PlannedFile& file : plan.files) {
        if (!writeFile((bundle / file.path).string(), file, splitMix(fileSeed), buffer, error)) {
            return false;
        }
        ++made.files;
        made.bytes += file.size;
    }
    for (const auto& [path, text] : plan.links) {
        fs::create_symlink(text, bundle / path, ec);
        if (ec) {
            *error = "cannot link " + (bundle / path).string() + ": " + ec.message();
            return false;
        }
        ++made.links;
    }
    if (summary != nullptr) {
        *summary = made;
    }
    return true;
}

bool makeInstallerWithPayload(const std::string& installerPath, const std::string& outPath,
                              const PayloadShape& shape, PayloadSummary* summary,
                              std::string* error) {
    std::string ignored;
    if (error == nullptr) {
        error = &ignored;
    }
    std::error_code ec;
    if (fs::exists(fs::symlink_status(outPath, ec))) {
        *error = outPath + " exists already";
        return false;
    }
    if (!fs::is_directory(fs::path(installerPath) / "Contents/MacOS/VELA.app", ec)) {
        *error = installerPath + " is not an installer bundle (no Contents/MacOS/VELA.app)";
        return false;
    }
    fs::copy(installerPath, outPath, fs::copy_options::recursive | fs::copy_options::copy_symlinks,
             ec);
    if (ec) {
        *error = "cannot copy " + installerPath + " to " + outPath + ": " + ec.message();
        return false;
    }
    return generatePayload((fs::path(outPath) / "Contents/MacOS/VELA.app").string(), shape, summary,
                           error);
}

bool parseByteSize(const std::string& text, std::uint64_t* bytes) {
    if (text.empty() || text.front() < '0' || text.front() > '9') {
        return false;
    }
    std::size_t used = 0;
    unsigned long long value = 0;
    for (; used < text.size() && text[used] >= '0' && text[used] <= '9'; ++used) {
        if (value > (~0ULL - 9) / 10) {
            return false;
        }
        value = value * 10 + static_cast<unsigned long long>(text[used] - '0');
    }
    std::string unit = text.substr(used);
    int shift = 0;
    if (unit == "K" || unit == "KiB") {
        shift = 10;
    } else if (unit == "M" || unit == "MiB") {
        shift = 20;
    } else if (unit == "G" || unit == "GiB") {
        shift = 30;
    } else if (!unit.empty()) {
        return false;
    }
    if (shift > 0 && value > (~0ULL >> shift)) {
        return false;
    }
    *bytes = static_cast<std::uint64_t>(value) << shift;
    return true;
}

}  // namespace vela::bench
