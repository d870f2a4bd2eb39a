#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "Files.h"
#include "Log.h"
#include "ScopedEnvironment.h"
#include "TempInstallRoot.h"

using namespace vela;
namespace fs = std::filesystem;

namespace {

void makeFileOfSize(const std::string& path, std::uintmax_t size, char fill) {
    test::writeFile(path, std::string(16, fill));
    fs::resize_file(path, size);
}

class LogRotation : public testing::Test {
protected:
    void TearDown() override {
        for (const std::string& item : immutable) {
            ::system(("chattr -i '" + item + "'").c_str());
        }
    }

    void makeImmutable(const std::string& path) {
        ASSERT_EQ(::system(("chattr +i '" + path + "'").c_str()), 0);
        immutable.push_back(path);
    }

    test::TempInstallRoot root;
    std::string log = root.home() + "/app.log";
    std::vector<std::string> immutable;
};

}  // namespace

// The writer checks before every line, so a long-running installer starts a new file.
TEST_F(LogRotation, TheNextLineAfterARotationStartsANewFile) {
    test::ScopedEnvironment home("HOME", root.home());
    Log writer(std::string("VELA-device-Installer"));
    std::string path = *writer.logFilePath();
    fs::create_directories(fs::path(path).parent_path());
    makeFileOfSize(path, 10'000'001, 'x');
    writer.enqueue(Log::kLogLevelInfo, "first of the new file", 1);
    writer.flush();
    EXPECT_EQ(fs::file_size(path + "_1"), 10'000'001u);
    std::vector<std::string> lines = test::readLines(path);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("first of the new file"), std::string::npos);
}

// A log above the limit becomes the one previous generation. A step that fails is reported on
// the console, with the first failure kept even when later steps succeed, and no step replaces
// what is at its destination: whatever fails, no generation is lost. Immutable entries stand for
// what root cannot remove or rename.
TEST_F(LogRotation, RotatesAboveTheLimitAndAFailedStepLosesNoGeneration) {
    const std::string rotateFailed = "message: failed to rotate the log file: %@: " + log;
    const std::string inside = root.home() + "/plain/app.log";
    const auto usual = [this] {
        makeFileOfSize(log + "_1", 20, 'o');
        makeFileOfSize(log, 10'000'001, 'n');
    };
    struct Row {
        const char* name;
        std::function<void()> plant;
        std::string console;  // all of it when empty or ending in a line feed, else its start
        std::vector<std::pair<std::string, std::uintmax_t>> sizesAfter;  // 0: absent
        std::string observed = {};                                       // the log when empty
    };
    const Row rows[] = {
        {"at the limit",
         [&] { makeFileOfSize(log, 10'000'000, 'a'); },
         "",
         {{log, 10'000'000}, {log + "_1", 0}}},
        {"above the limit, with a stale _last",
         [&] {
             usual();
             test::writeFile(log + "_last", "stale");
         },
         "",
         {{log, 0}, {log + "_1", 10'000'001}, {log + "_last", 0}}},
        {"no log", [] {}, "code 0: message: the log file does not exists.: " + log + "\n", {}},
        {"attributes that cannot be read",
         [&] { test::writeFile(root.home() + "/plain", "not a folder"); },
         "code 20: message: failed to get attribute file: " + inside +
             ": Description: [Not a directory]\n",
         {{root.home() + "/plain", 12}},
         inside},
        {"the folder refuses renames",
         [&] {
             usual();
             makeImmutable(root.home());
         },
         "code 17: " + rotateFailed,
         {{log, 10'000'001}, {log + "_1", 20}, {log + "_last", 0}}},
        {"_last cannot be removed",
         [&] {
             usual();
             test::writeFile(log + "_last", "stale");
             makeImmutable(log + "_last");
         },
         "code 17: " + rotateFailed,
         {{log, 10'000'001}, {log + "_1", 20}, {log + "_last", 5}}},
        {"_last cannot be removed and there is no _1",
         [&] {
             makeFileOfSize(log, 10'000'001, 'n');
             test::writeFile(log + "_last", "stale");
             makeImmutable(log + "_last");
         },
         "code 1: " + rotateFailed,
         {{log, 0}, {log + "_1", 10'000'001}, {log + "_last", 5}}},
        {"_1 cannot be moved",
         [&] {
             usual();
             makeImmutable(log + "_1");
         },
         "code 17: " + rotateFailed,
         {{log, 10'000'001}, {log + "_1", 20}, {log + "_last", 0}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        row.plant();
        testing::internal::CaptureStderr();
        logObservation(row.observed.empty() ? log : row.observed);
        const std::string console = testing::internal::GetCapturedStderr();
        for (const std::string& item : immutable) {
            ::system(("chattr -i '" + item + "'").c_str());
        }
        immutable.clear();
        if (row.console.empty() || row.console.back() == '\n') {
            EXPECT_EQ(console, row.console);
        } else {
            EXPECT_EQ(console.rfind(row.console, 0), 0u) << console;
        }
        long present = 0;
        for (const auto& [path, size] : row.sizesAfter) {
            EXPECT_EQ(fs::exists(path) ? fs::file_size(path) : 0, size) << path;
            present += size > 0 ? 1 : 0;
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(root.home()), fs::directory_iterator()),
                  present)
            << "nothing else is left";
        for (const auto& entry : fs::directory_iterator(root.home())) {
            fs::remove_all(entry.path());
        }
    }
}
