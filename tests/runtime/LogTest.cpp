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

TEST(LogLine, IsByteExact) {
    EXPECT_EQ(Log::formatLine("2024-05-01 09:30:12.3456", "VELA-device-Installer", 512, 0xa1b3,
                              "INFO", "alice", "performed by standard user: alice\n"),
              "2024-05-01 09:30:12.3456 VELA-device-Installer[512:0000a1b3] [INFO] alice "
              "performed by standard user: alice\n");
}

TEST(LogLine, WrittenLinesHaveTheFixedFormat) {
    LogReader log;
    ILog("plain %d", 7);
    WLog("ends with a line feed already\n");
    std::vector<std::string> lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    const std::regex form(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{4} VELA-device-Installer\[(\d+):([0-9a-f]{8})\] \[(INFO|WARN)\] \S+ .*)");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(lines[0], match, form)) << lines[0];
    EXPECT_EQ(std::stol(match[1]), static_cast<long>(::getpid()));
    EXPECT_EQ(LogReader::messageOf(lines[0]), "[INFO] plain 7");
    EXPECT_EQ(LogReader::messageOf(lines[1]), "[WARN] ends with a line feed already");
}

// The line feed follows the format: a logged command output that ends in a line feed is written
// as that line and then an empty one.
TEST(LogLine, ALineFeedIsAddedWhenTheFormatLacksOne) {
    const std::string path = *Log::defaultLog().logFilePath();
    struct Row {
        std::function<void()> log;
        std::string written;  // after "<user> "
    };
    const Row rows[] = {
        {[] { ILog("plain %d", 1); }, "plain 1\n"},
        {[] { WLog("own line feed\n"); }, "own line feed\n"},
        {[] { ILog("%s", "output\n"); }, "output\n\n"},
        {[] { ELog("%s\n", "output\n"); }, "output\n\n"},
        {[] { ILog("%s", ""); }, "\n"},
        {[] { primitiveILog("%s", "now\n"); }, "now\n\n"},
    };
    for (const Row& row : rows) {
        Log::defaultLog().flush();
        const std::size_t before = test::readFile(path).size();
        row.log();
        Log::defaultLog().flush();
        const std::string line = test::readFile(path).substr(before);
        SCOPED_TRACE(line);
        const std::size_t user = line.find("] root ");
        ASSERT_NE(user, std::string::npos);
        EXPECT_EQ(line.substr(user + 7), row.written);
    }
}

TEST(LogMode, DebugLinesOnlyInDebugMode) {
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
    std::vector<std::string> messages = log.messages();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_TRUE(std::regex_match(
        messages[0], std::regex(R"(\[DEBUG\] main:-?\d+ virtual void .*TestBody\(\) kept here)")))
        << messages[0];
    EXPECT_EQ(messages[1], "[FATAL] fatal");
}

TEST(LogMode, SettingFileSwitchesToDebug) {
    LogReader log;
    std::string setting = *Const::getLogModeSettingFilePath();
    EXPECT_TRUE(Config::setAppLogMode());
    fs::create_directories(setting);  // a directory counts: only existence matters
    EXPECT_TRUE(Config::setAppLogMode());
    fs::remove(setting);
    applyLogMode("NORMAL");
    std::vector<std::string> messages = log.messages();
    ASSERT_GE(messages.size(), 2u);
    EXPECT_EQ(messages[0], "[INFO] The log mode has changed successfully into  NORMAL.");
    EXPECT_EQ(messages.back(), "[INFO] The log mode has changed successfully into  DEBUG.");
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

TEST(LogFile, PrimitiveLineIsWrittenAtOnce) {
    std::string path = *Log::defaultLog().logFilePath();
    std::size_t before = test::readFile(path).size();
    primitiveILog("immediate %s", "line");
    std::string text = test::readFile(path);  // no flush: it is already there
    EXPECT_GT(text.size(), before);
    EXPECT_NE(text.find("[INFO] root immediate line\n"), std::string::npos);
}

TEST(LogFile, OnlyTheFamilysProgramsWriteAFile) {
    test::TempInstallRoot root;
    test::ScopedEnvironment home("HOME", root.home());
    {
        Log other(std::string("SomethingElse"));
        EXPECT_FALSE(other.logFilePath().has_value());
        other.enqueue(Log::kLogLevelInfo, "lost", 1);
        other.writeImmediately("lost", 1);
        other.flush();
        Log none(std::nullopt);
        EXPECT_FALSE(none.logFilePath().has_value());
        Log client(std::string("VELA"));
        EXPECT_EQ(client.logFilePath(), root.home() + "/Library/Logs/VELA.log");
        Log installer(std::string("VELA-Installer"));
        EXPECT_EQ(installer.logFilePath(), root.home() + "/Library/Logs/VELA-Installer.log");
    }
    EXPECT_FALSE(fs::exists(root.home() + "/Library"));
}

// A log path that cannot be written loses its lines and nothing else: no crash, no hang, nothing
// written or created through what was planted there (the installer may run as root), and the
// reason said once on standard error however many lines are lost.
TEST(LogFile, UnwritablePathsLoseLinesAndSayWhyOnce) {
    test::TempInstallRoot root;
    test::ScopedEnvironment home("HOME", root.home());
    const std::string logs = root.home() + "/Library/Logs";
    const std::string path = logs + "/VELA-device-Installer.log";
    const std::string victim = root.base() + "/victim";
    const std::string victimFolder = root.base() + "/victim folder";
    struct Row {
        const char* name;
        std::function<void()> plant;
        std::string reason;
    };
    const Row rows[] = {
        {"a folder at the path", [&] { fs::create_directories(path); },
         "code 3: message: the log file cannot be written: " + path +
             ": Description: [it is not a regular file]\n"},
        {"a link to a victim", [&] { fs::create_symlink(victim, path); },
         "code 1: message: the log file cannot be written: " + path +
             ": Description: [it is a symbolic link]\n"},
        {"a dangling link", [&] { fs::create_symlink(root.base() + "/created", path); },
         "code 1: message: the log file cannot be written: " + path +
             ": Description: [it is a symbolic link]\n"},
        {"a hard link to a victim", [&] { fs::create_hard_link(victim, path); },
         "code 2: message: the log file cannot be written: " + path +
             ": Description: [it has a second hard link]\n"},
        {"a FIFO", [&] { ASSERT_EQ(::mkfifo(path.c_str(), 0666), 0); },
         "code 3: message: the log file cannot be written: " + path +
             ": Description: [it is not a regular file]\n"},
        {"Logs linked to a victim folder",
         [&] {
             fs::remove(logs);
             fs::create_symlink(victimFolder, logs);
         },
         "code 1: message: the log file cannot be written: " + path +
             ": Description: [it is a symbolic link]\n"},
        {"Library a plain file",
         [&] {
             fs::remove_all(root.home() + "/Library");
             test::writeFile(root.home() + "/Library", "");
         },
         "code 4: message: the log file cannot be written: " + path +
             ": Description: [it is not a directory]\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove_all(root.home() + "/Library");
        fs::create_directories(logs);
        fs::create_directories(victimFolder);
        test::writeFile(victim, "precious\n");
        row.plant();
        const std::string before = test::snapshotTree(root.base());
        Log log(std::string("VELA-device-Installer"));
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
// would keep the user's own programs from writing their logs.
TEST(LogFile, CreatedFoldersBelongToTheHomesOwner) {
    test::TempInstallRoot root;
    const struct passwd* nobody = ::getpwnam("nobody");
    ASSERT_NE(nobody, nullptr);
    const std::string home = root.base() + "/nobody's home";
    fs::create_directories(home);
    ASSERT_EQ(::chown(home.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
    test::ScopedEnvironment variable("HOME", home);
    const mode_t mask = ::umask(077);
    {
        Log log(std::string("VELA-device-Installer"));
        log.enqueue(Log::kLogLevelInfo, "first line", 1);
        log.flush();
    }
    ::umask(mask);
    for (const std::string& folder : {home + "/Library", home + "/Library/Logs"}) {
        SCOPED_TRACE(folder);
        struct stat info {};
        ASSERT_EQ(::lstat(folder.c_str(), &info), 0);
        EXPECT_EQ(info.st_uid, nobody->pw_uid);
        EXPECT_EQ(info.st_gid, nobody->pw_gid);
        EXPECT_EQ(info.st_mode & 07777, 0755u);
    }
    EXPECT_EQ(test::readLines(home + "/Library/Logs/VELA-device-Installer.log").size(), 1u);
}
