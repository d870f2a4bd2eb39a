#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
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
    // No empty line: a message that already ends with a line feed gets no second one.
    std::string raw = test::readFile(*Log::defaultLog().logFilePath());
    EXPECT_EQ(raw.find("\n\n"), std::string::npos);
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

// A file that cannot be written loses the line and nothing else: no crash, no exception, and a
// link planted at the log's path is never followed (the installer may run as root).
TEST(LogFile, UnwritablePathsLoseLinesSilently) {
    test::TempInstallRoot root;
    test::ScopedEnvironment home("HOME", root.home());
    Log log(std::string("VELA-device-Installer"));
    std::string path = *log.logFilePath();
    fs::create_directories(path);
    log.enqueue(Log::kLogLevelInfo, "into a directory", 1);
    log.writeImmediately("into a directory", 1);
    log.flush();
    EXPECT_TRUE(fs::is_directory(path));
    fs::remove(path);

    std::string victim = root.base() + "/victim";
    test::writeFile(victim, "precious\n");
    fs::create_symlink(victim, path);
    log.enqueue(Log::kLogLevelInfo, "through a link", 1);
    log.writeImmediately("through a link", 1);
    log.flush();
    EXPECT_EQ(test::readFile(victim), "precious\n");
    fs::remove(path);

    fs::create_hard_link(victim, path);
    log.enqueue(Log::kLogLevelInfo, "through a hard link", 1);
    log.flush();
    EXPECT_EQ(test::readFile(victim), "precious\n");
}
