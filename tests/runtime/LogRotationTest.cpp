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

TEST_F(LogRotation, RotatesOnlyAboveTheLimit) {
    makeFileOfSize(log, 10'000'000, 'a');
    logObservation(log);
    EXPECT_EQ(fs::file_size(log), 10'000'000u);
    EXPECT_FALSE(fs::exists(log + "_1"));

    makeFileOfSize(log, 10'000'001, 'a');
    testing::internal::CaptureStderr();
    logObservation(log);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(fs::exists(log));
    EXPECT_EQ(fs::file_size(log + "_1"), 10'000'001u);
    EXPECT_FALSE(fs::exists(log + "_last"));
}

TEST_F(LogRotation, KeepsExactlyOnePreviousGeneration) {
    makeFileOfSize(log + "_1", 20, 'o');
    test::writeFile(log + "_last", "stale");
    makeFileOfSize(log, 10'000'001, 'n');
    logObservation(log);
    EXPECT_FALSE(fs::exists(log));
    EXPECT_EQ(fs::file_size(log + "_1"), 10'000'001u);
    EXPECT_FALSE(fs::exists(log + "_last"));
    EXPECT_EQ(std::distance(fs::directory_iterator(root.home()), fs::directory_iterator()), 1);
}

TEST_F(LogRotation, MissingFileIsReportedOnTheConsole) {
    testing::internal::CaptureStderr();
    logObservation(log);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "code 0: message: the log file does not exists.: " + log + "\n");
}

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

// A step that fails is reported on the console, with the first failure kept even when later
// steps succeed, and no step replaces what is at its destination: whatever fails, no generation
// is lost. Immutable entries stand for what root cannot remove or rename.
TEST_F(LogRotation, AFailedStepIsReportedAndLosesNoGeneration) {
    const std::string rotateFailed = "message: failed to rotate the log file: %@: " + log;
    struct Row {
        const char* name;
        std::function<void()> plant;
        std::string console;                                             // its beginning
        std::vector<std::pair<std::string, std::uintmax_t>> sizesAfter;  // 0: absent
    };
    const Row rows[] = {
        {"the folder refuses renames",
         [&] { makeImmutable(root.home()); },
         "code 17: " + rotateFailed,
         {{log, 10'000'001}, {log + "_1", 20}, {log + "_last", 0}}},
        {"_last cannot be removed",
         [&] {
             test::writeFile(log + "_last", "stale");
             makeImmutable(log + "_last");
         },
         "code 17: " + rotateFailed,
         {{log, 10'000'001}, {log + "_1", 20}, {log + "_last", 5}}},
        {"_last cannot be removed and there is no _1",
         [&] {
             fs::remove(log + "_1");
             test::writeFile(log + "_last", "stale");
             makeImmutable(log + "_last");
         },
         "code 1: " + rotateFailed,
         {{log, 0}, {log + "_1", 10'000'001}, {log + "_last", 5}}},
        {"_1 cannot be moved",
         [&] { makeImmutable(log + "_1"); },
         "code 17: " + rotateFailed,
         {{log, 10'000'001}, {log + "_1", 20}, {log + "_last", 0}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        makeFileOfSize(log + "_1", 20, 'o');
        makeFileOfSize(log, 10'000'001, 'n');
        row.plant();
        testing::internal::CaptureStderr();
        logObservation(log);
        const std::string console = testing::internal::GetCapturedStderr();
        for (const std::string& item : immutable) {
            ::system(("chattr -i '" + item + "'").c_str());
        }
        immutable.clear();
        EXPECT_EQ(console.rfind(row.console, 0), 0u) << console;
        for (const auto& [path, size] : row.sizesAfter) {
            EXPECT_EQ(fs::exists(path) ? fs::file_size(path) : 0, size) << path;
        }
        for (const auto& entry : fs::directory_iterator(root.home())) {
            fs::remove_all(entry.path());
        }
    }
}

// Attributes that cannot be read leave the size at 0: no rotation, the reason on the console.
TEST_F(LogRotation, UnreadableAttributesAreReportedAndNothingRotates) {
    test::writeFile(root.home() + "/plain", "not a folder");
    const std::string inside = root.home() + "/plain/app.log";
    testing::internal::CaptureStderr();
    logObservation(inside);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "code 20: message: failed to get attribute file: " + inside +
                  ": Description: [Not a directory]\n");
    EXPECT_EQ(test::readFile(root.home() + "/plain"), "not a folder");
}
