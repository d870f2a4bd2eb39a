#include <gtest/gtest.h>

#include <filesystem>

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
    test::TempInstallRoot root;
    std::string log = root.home() + "/app.log";
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

// A step that fails (here a directory that refuses renames) is reported on the console; the
// file stays where it was and the writer appends to it.
TEST_F(LogRotation, AFailedRotationIsReportedAndKeepsTheFile) {
    makeFileOfSize(log, 10'000'001, 'a');
    ASSERT_EQ(::system(("chattr +i '" + root.home() + "'").c_str()), 0);
    testing::internal::CaptureStderr();
    logObservation(log);
    std::string console = testing::internal::GetCapturedStderr();
    ::system(("chattr -i '" + root.home() + "'").c_str());
    EXPECT_EQ(
        console.rfind(
            "code 1: message: failed to rotate the log file: %@: " + log + ": Description: [", 0),
        0u)
        << console;
    EXPECT_EQ(fs::file_size(log), 10'000'001u);
}
