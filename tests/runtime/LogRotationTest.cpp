#include <gtest/gtest.h>

#include <array>
#include <filesystem>

#include "Files.h"
#include "Log.h"
#include "TempInstallRoot.h"

using namespace vela;
namespace fs = std::filesystem;

namespace {

void makeFileOfSize(const std::string& path, std::uintmax_t size) {
    test::writeFile(path, "");
    fs::resize_file(path, size);
}

}  // namespace

// A log above the limit becomes the one previous generation. A step that fails is reported on
// the console, with the first failure kept even when later steps succeed, and no step replaces
// what is at its destination: whatever fails, no generation is lost. An immutable entry stands
// for what root cannot remove or rename.
TEST(LogRotation, RotatesAboveTheLimitAndAFailedStepLosesNoGeneration) {
    test::TempInstallRoot root;
    const std::string folder = root.home();
    const std::string log = folder + "/app.log";
    const std::string failed = "message: failed to rotate the log file: %@: " + log;
    constexpr std::uintmax_t big = 10'000'001;
    // Sizes of the log, _1 and _last (0: absent) before and after; the console all of it when
    // empty or ending in a line feed, else its start.
    const struct {
        const char* name;
        std::array<std::uintmax_t, 3> before;
        std::string immutable;  // the folder itself when "."
        std::string console;
        std::array<std::uintmax_t, 3> after;
    } rows[] = {
        {"at the limit", {big - 1, 0, 0}, "", "", {big - 1, 0, 0}},
        {"above the limit, with a stale _last", {big, 20, 5}, "", "", {0, big, 0}},
        {"no log",
         {0, 0, 0},
         "",
         "code 0: message: the log file does not exists.: " + log + "\n",
         {0, 0, 0}},
        {"the folder refuses renames", {big, 20, 0}, ".", "code 17: " + failed, {big, 20, 0}},
        {"_last cannot be removed", {big, 20, 5}, "_last", "code 17: " + failed, {big, 20, 5}},
        {"_last cannot be removed and there is no _1",
         {big, 0, 5},
         "_last",
         "code 1: " + failed,
         {0, big, 5}},
        {"_1 cannot be moved", {big, 20, 0}, "_1", "code 17: " + failed, {big, 20, 0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string names[] = {log, log + "_1", log + "_last"};
        for (int i = 0; i < 3; ++i) {
            if (row.before[i] > 0) {
                makeFileOfSize(names[i], row.before[i]);
            }
        }
        const std::string immutable = row.immutable == "." ? folder : log + row.immutable;
        const auto chattr = [&](const char* flag) {
            return row.immutable.empty() ||
                   ::system(("chattr " + std::string(flag) + " '" + immutable + "'").c_str()) == 0;
        };
        ASSERT_TRUE(chattr("+i"));
        testing::internal::CaptureStderr();
        logObservation(log);
        const std::string console = testing::internal::GetCapturedStderr();
        ASSERT_TRUE(chattr("-i"));
        if (row.console.empty() || row.console.back() == '\n') {
            EXPECT_EQ(console, row.console);
        } else {
            EXPECT_EQ(console.rfind(row.console, 0), 0u) << console;
        }
        long present = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(fs::exists(names[i]) ? fs::file_size(names[i]) : 0, row.after[i]) << i;
            present += row.after[i] > 0 ? 1 : 0;
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), present)
            << "nothing else is left";
        for (const auto& entry : fs::directory_iterator(folder)) {
            fs::remove_all(entry.path());
        }
    }
    // The size cannot be read: said, and nothing is moved.
    test::writeFile(folder + "/plain", "not a folder");
    testing::internal::CaptureStderr();
    logObservation(folder + "/plain/app.log");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "code 20: message: failed to get attribute file: " + folder +
                  "/plain/app.log: Description: [Not a directory]\n");
    EXPECT_EQ(test::readFile(folder + "/plain"), "not a folder");
}
