#include <gtest/gtest.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <functional>
#include <regex>
#include <set>
#include <thread>

#include "Config.h"
#include "Const.h"
#include "Files.h"
#include "Log.h"
#include "LogReader.h"
#include "ScopedEnvironment.h"
#include "TempInstallRoot.h"

using namespace vela;
using vela::test::LogReader;

namespace fs = std::filesystem;

// Byte for byte, with the logging thread's tag; a command output that ends in a line feed is
// written as that line and then an empty one.
TEST(LogLine, HasTheFixedFormatAndALineFeedWhereTheFormatLacksOne) {
    const std::string path = *Log::defaultLog().logFilePath();
    const std::regex head(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{4} VELA-device-Installer\[(\d+):([0-9a-f]{8})\] \[([A-Z]+)\] root )");
    struct Row {
        std::function<void()> log;
        std::string written;  // after the user
        std::string level = "INFO";
        bool queued = true;  // else on disk without a flush
    };
    const Row rows[] = {
        {[] { ILog("plain %d", 1); }, "plain 1\n"},
        {[] { WLog("own line feed\n"); }, "own line feed\n", "WARN"},
        {[] { ILog("%s", "output\n"); }, "output\n\n"},
        {[] { ELog("%s\n", "output\n"); }, "output\n\n", "ERROR"},
        {[] { ILog("%s", ""); }, "\n"},
        {[] { primitiveILog("%s", "now\n"); }, "now\n\n", "INFO", false},
        {[] { std::thread([] { ILog("from a worker"); }).join(); }, "from a worker\n"},
    };
    std::set<std::string> tags;
    for (const Row& row : rows) {
        Log::defaultLog().flush();
        const std::size_t before = test::readFile(path).size();
        row.log();
        if (row.queued) {
            Log::defaultLog().flush();
        }
        const std::string line = test::readFile(path).substr(before);
        SCOPED_TRACE(line);
        std::smatch match;
        ASSERT_TRUE(std::regex_search(line, match, head, std::regex_constants::match_continuous));
        EXPECT_EQ(std::stol(match[1]), static_cast<long>(::getpid()));
        EXPECT_EQ(match[3], row.level);
        EXPECT_EQ(match.suffix(), row.written);
        tags.insert(match[2]);
    }
    EXPECT_EQ(tags.size(), 2u) << "the worker's tag is the main thread's";
}

TEST(LogMode, DebugLinesOnlyInDebugModeWhichTheSettingFileSwitchesOn) {
    LogReader log;
    ASSERT_EQ(inquireLogMode(), "NORMAL");
    DLog("dropped");
    ASSERT_TRUE(applyLogMode("DEBUG"));
    DTrace("kept %s", "here");
    EXPECT_FALSE(applyLogMode("debug"));
    EXPECT_FALSE(applyLogMode(std::nullopt));
    EXPECT_EQ(inquireLogMode(), "DEBUG");
    ASSERT_TRUE(applyLogMode("NORMAL"));
    DLog("dropped again");
    FLog("fatal");
    const std::string setting = *Const::getLogModeSettingFilePath();
    EXPECT_TRUE(Config::setAppLogMode());
    fs::create_directories(setting);  // a directory counts: only existence matters
    EXPECT_TRUE(Config::setAppLogMode());
    fs::remove(setting);
    applyLogMode("NORMAL");
    std::vector<std::string> messages = log.messages();
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_TRUE(std::regex_match(
        messages[0], std::regex(R"(\[DEBUG\] main:-?\d+ virtual void .*TestBody\(\) kept here)")))
        << messages[0];
    EXPECT_EQ(messages[1], "[FATAL] fatal");
    EXPECT_EQ(messages[2], "[INFO] The log mode has changed successfully into  NORMAL.");
    EXPECT_EQ(messages[3], "[INFO] The log mode has changed successfully into  DEBUG.");
}

// Only the family's programs write a file. An unwritable path loses its lines and nothing else:
// nothing written through what was planted there (we may be root), the reason said once.
TEST(LogFile, OnlyTheFamilyWritesAndUnwritablePathsLoseLinesAndSayWhyOnce) {
    test::TempInstallRoot root;
    test::ScopedEnvironment home("HOME", root.home());
    const std::string path = root.home() + "/Library/Logs/VELA-device-Installer.log";
    const std::string cannot = "message: the log file cannot be written: " + path;
    EXPECT_EQ(Log(std::string("VELA")).logFilePath(), root.home() + "/Library/Logs/VELA.log");
    EXPECT_EQ(Log(std::string("VELA-Installer")).logFilePath(),
              root.home() + "/Library/Logs/VELA-Installer.log");
    const struct {
        const char* name;
        std::function<void()> plant;
        std::string reason;
        std::optional<std::string> program = "VELA-device-Installer";
    } rows[] = {
        {"another program", [] {}, "", "SomethingElse"},
        {"no program", [] {}, "", std::nullopt},
        {"a folder at the path", [&] { fs::create_directories(path); },
         "code 3: " + cannot + ": Description: [it is not a regular file]\n"},
        {"a dangling link", [&] { fs::create_symlink(root.base() + "/created", path); },
         "code 1: " + cannot + ": Description: [it is a symbolic link]\n"},
        {"Library a plain file",
         [&] {
             fs::remove_all(root.home() + "/Library");
             test::writeFile(root.home() + "/Library", "");
         },
         "code 4: " + cannot + ": Description: [it is not a directory]\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove_all(root.home() + "/Library");
        fs::create_directories(root.home() + "/Library/Logs");
        row.plant();
        const std::string before = test::snapshotTree(root.base());
        Log log(row.program);
        testing::internal::CaptureStderr();
        for (int i = 0; i < 3; ++i) {
            log.enqueue(Log::kLogLevelInfo, "lost", 1);
            log.writeImmediately("lost", 1);
        }
        log.flush();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.reason);
        EXPECT_EQ(test::snapshotTree(root.base()), before);
    }
}

// Root-owned folders in a home would keep the user's own programs from writing their logs. The
// size is checked before every line, so a long-running installer starts a new file.
TEST(LogFile, CreatedFoldersBelongToTheHomesOwnerAndTheNextLineAfterARotationStartsANewFile) {
    test::TempInstallRoot root;
    const struct passwd* nobody = ::getpwnam("nobody");
    ASSERT_NE(nobody, nullptr);
    const std::string home = root.base() + "/nobody's home";
    fs::create_directories(home);
    ASSERT_EQ(::chown(home.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
    fs::permissions(home, fs::perms(0755));
    test::ScopedEnvironment variable("HOME", home);
    const std::string path = home + "/Library/Logs/VELA-device-Installer.log";
    const mode_t mask = ::umask(077);
    {
        Log log(std::string("VELA-device-Installer"));
        log.enqueue(Log::kLogLevelInfo, "first line", 1);
        log.flush();
        fs::resize_file(path, 10'000'001);
        log.enqueue(Log::kLogLevelInfo, "first of the new file", 1);
        log.flush();
    }
    ::umask(mask);
    EXPECT_EQ(test::readFile(path + "_1").size(), 10'000'001u) << "the previous generation";
    for (const std::string& folder : {home + "/Library", home + "/Library/Logs"}) {
        EXPECT_EQ(test::accessOf(folder), test::accessOf(home)) << folder;
    }
    EXPECT_EQ(test::readLines(path).size(), 1u);
    EXPECT_NE(test::readFile(path).find("first of the new file"), std::string::npos);
}

// A failed step is reported (the first failure, whatever follows) and replaces nothing at its
// destination, so no generation is lost. Immutable entries stand for what root cannot move.
TEST(LogRotation, RotatesAboveTheLimitAndAFailedStepLosesNoGeneration) {
    test::TempInstallRoot root;
    const std::string folder = root.home();
    const std::string log = folder + "/app.log";
    const std::string failed = "message: failed to rotate the log file: %@: " + log;
    constexpr std::uintmax_t big = 10'000'001;
    // Sizes of the log, _1 and _last (0: absent); the console whole if it ends a line, else a
    // start.
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
                test::writeFile(names[i], "");
                fs::resize_file(names[i], row.before[i]);
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
        const bool whole = row.console.empty() || row.console.back() == '\n';
        EXPECT_EQ(whole ? console : console.substr(0, row.console.size()), row.console);
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
