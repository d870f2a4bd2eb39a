#include <gtest/gtest.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

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

// Every line is read back byte for byte as written. The line feed follows the format: a logged
// command output that ends in a line feed is written as that line and then an empty one.
TEST(LogLine, HasTheFixedFormatAndALineFeedWhereTheFormatLacksOne) {
    const std::string path = *Log::defaultLog().logFilePath();
    const std::regex head(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{4} VELA-device-Installer\[(\d+):[0-9a-f]{8}\] \[([A-Z]+)\] root )");
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
    };
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
        EXPECT_EQ(match[2], row.level);
        EXPECT_EQ(match.suffix(), row.written);
    }
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

TEST(LogQueue, LinesFromManyThreadsKeepSubmissionOrderAndTheirTags) {
    LogReader log;
    std::vector<std::thread> threads;
    std::mutex order;
    std::vector<std::string> submitted;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                std::lock_guard lock(order);  // the order of submission is the order of this lock
                std::string text = "thread " + std::to_string(t) + " line " + std::to_string(i);
                ILog("%s", text.c_str());
                submitted.push_back("[INFO] " + text);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(log.messages(), submitted);
    std::set<std::string> tags;
    for (const std::string& line : log.lines()) {
        tags.insert(line.substr(line.find(':', 20), 9));
    }
    EXPECT_EQ(tags.size(), 4u);
}

// Only the family's programs write a file. A log path that cannot be written loses its lines and
// nothing else: no crash, no hang, nothing written or created through what was planted there (the
// installer may run as root), and the reason said once on standard error however many lines are
// lost.
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

// Folders the writer creates in a home belong to the home's owner: root-owned folders there
// would keep the user's own programs from writing their logs. The writer checks the size before
// every line, so a long-running installer starts a new file.
TEST(LogFile, CreatedFoldersBelongToTheHomesOwnerAndTheNextLineAfterARotationStartsANewFile) {
    test::TempInstallRoot root;
    const struct passwd* nobody = ::getpwnam("nobody");
    ASSERT_NE(nobody, nullptr);
    const std::string home = root.base() + "/nobody's home";
    fs::create_directories(home);
    ASSERT_EQ(::chown(home.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
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
        SCOPED_TRACE(folder);
        struct stat info {};
        ASSERT_EQ(::lstat(folder.c_str(), &info), 0);
        EXPECT_EQ(info.st_uid, nobody->pw_uid);
        EXPECT_EQ(info.st_gid, nobody->pw_gid);
        EXPECT_EQ(info.st_mode & 07777, 0755u);
    }
    const std::vector<std::string> lines = test::readLines(path);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("first of the new file"), std::string::npos);
}
