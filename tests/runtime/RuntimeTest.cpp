#include <gtest/gtest.h>

#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>
#include <regex>
#include <set>
#include <thread>

#include "AccountPrivilege.h"
#include "Bundle.h"
#include "Config.h"
#include "Const.h"
#include "Files.h"
#include "Log.h"
#include "LogReader.h"
#include "SafeDirectory.h"
#include "ScopedEnvironment.h"
#include "ShellExecute.h"
#include "ShellForm.h"
#include "TempInstallRoot.h"

using namespace vela;

namespace fs = std::filesystem;

// A command output that ends in a line feed is written as that line and then an empty one.
TEST(LogLine, HasTheFixedFormatALineFeedWhereTheFormatLacksOneAndDebugOnlyInDebugMode) {
    const std::string path = *Log::defaultLog().logFilePath();
    const std::regex head(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{4} VELA-device-Installer\[)" +
                          std::to_string(::getpid()) + R"(:([0-9a-f]{8})\] )");
    const struct {
        std::function<void()> log;
        std::string written;  // after the tag
        bool queued = true;   // else on disk without a flush
    } rows[] = {
        {[] { ILog("plain %d", 1); }, "[INFO] root plain 1\n"},
        {[] { WLog("own line feed\n"); }, "[WARN] root own line feed\n"},
        {[] { ILog("%s", "output\n"); }, "[INFO] root output\n\n"},
        {[] { ELog("%s\n", "output\n"); }, "[ERROR] root output\n\n"},
        {[] { ILog("%s", ""); }, "[INFO] root \n"},
        {[] { primitiveILog("%s", "now\n"); }, "[INFO] root now\n\n", false},
        {[] { std::thread([] { ILog("from a worker"); }).join(); }, "[INFO] root from a worker\n"},
    };
    std::set<std::string> tags;
    for (const auto& row : rows) {
        Log::defaultLog().flush();
        const std::size_t before = test::readFile(path).size();
        row.log();
        if (row.queued) {
            Log::defaultLog().flush();
        }
        const std::string line = test::readFile(path).substr(before);
        std::smatch match;
        ASSERT_TRUE(std::regex_search(line, match, head, std::regex_constants::match_continuous))
            << line;
        EXPECT_EQ(match.suffix(), row.written);
        tags.insert(match[1]);
    }
    EXPECT_EQ(tags.size(), 2u) << "the worker's tag is the main thread's";

    test::LogReader log;
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
    // The family's switch, which other programs call: NORMAL or DEBUG, two blanks before it.
    for (const char* mode : {"NORMAL.", "DEBUG."}) {
        EXPECT_TRUE(Config::setAppLogMode());
        EXPECT_EQ(log.messages().back(),
                  std::string("[INFO] The log mode has changed successfully into  ") + mode);
        test::writeFile(*Const::getLogModeSettingFilePath(), "");
    }
    fs::remove(*Const::getLogModeSettingFilePath());
    applyLogMode("NORMAL");
}

// We may be root: nothing is written through what was planted, and the reason is said once.
TEST(LogFile, OnlyTheFamilyWritesUnwritablePathsSayWhyOnceCreatedFoldersAreTheHomesAndRotate) {
    test::TempInstallRoot root;
    test::ScopedEnvironment ownHome("HOME", root.home());
    const std::string path = root.home() + "/Library/Logs/VELA-device-Installer.log";
    const std::string cannot = "message: the log file cannot be written: " + path;
    EXPECT_EQ(Log(std::string("VELA")).logFilePath(), root.home() + "/Library/Logs/VELA.log");
    std::error_code climbed;  // a walk below a trusted folder never leaves it
    SafeDirectory::open(root.home(), "Library/../..", SafeDirectory::Missing::Fail, climbed);
    EXPECT_EQ(climbed, std::errc::invalid_argument);
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

    // Root-owned folders in a home would keep the user's own programs from writing their logs.
    const std::string home = root.base() + "/nobody's home";
    fs::create_directories(home);
    ASSERT_EQ(::chown(home.c_str(), 65534, 65534), 0);
    fs::permissions(home, fs::perms(0755));
    test::ScopedEnvironment nobodys("HOME", home);
    const std::string rotated = home + "/Library/Logs/VELA-device-Installer.log";
    const mode_t mask = ::umask(077);
    Log log(std::string("VELA-device-Installer"));
    log.enqueue(Log::kLogLevelInfo, "first line", 1);
    log.flush();
    fs::resize_file(rotated, 10'000'001);
    log.enqueue(Log::kLogLevelInfo, "first of the new file", 1);
    log.flush();
    ::umask(mask);
    EXPECT_EQ(test::accessOf(home + "/Library") + test::accessOf(home + "/Library/Logs"),
              test::accessOf(home) + test::accessOf(home));
    EXPECT_EQ(test::LogReader::messageOf(test::readFile(rotated)),
              "[INFO] first of the new file\n");
}

// Immutable entries stand for what root cannot move; the last failure is the one reported.
TEST(LogRotation, RotatesAboveTheLimitAndAFailedStepLosesNoGeneration) {
    test::TempInstallRoot root;
    const std::string folder = root.home();
    const std::string log = folder + "/app.log";
    constexpr std::uintmax_t big = 10'000'001;
    // Sizes of the log, _1 and _last (0: absent); the console's code (-1: silent, 0: no log).
    const struct {
        const char* name;
        std::array<std::uintmax_t, 3> before;
        std::string immutable;  // "." the folder itself
        int code;
        std::array<std::uintmax_t, 3> after;
    } rows[] = {
        {"at the limit", {big - 1, 0, 0}, "", -1, {big - 1, 0, 0}},
        {"above the limit, with a stale _last", {big, 20, 5}, "", -1, {0, big, 0}},
        {"no log", {0, 0, 0}, "", 0, {0, 0, 0}},
        {"the folder refuses renames", {big, 20, 0}, ".", 17, {big, 20, 0}},
        {"_last cannot be removed", {big, 20, 5}, "app.log_last", 17, {big, 20, 5}},
        {"_last cannot be removed and there is no _1", {big, 0, 5}, "app.log_last", 1, {0, big, 5}},
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
        const std::string immutable = " '" + folder + "/" + row.immutable + "'";
        ASSERT_TRUE(row.immutable.empty() || ::system(("chattr +i" + immutable).c_str()) == 0);
        testing::internal::CaptureStderr();
        logObservation(log);
        const std::string console = testing::internal::GetCapturedStderr();
        ASSERT_TRUE(row.immutable.empty() || ::system(("chattr -i" + immutable).c_str()) == 0);
        const std::string said = "code " + std::to_string(row.code) + ": message: " +
                                 (row.code == 0 ? "the log file does not exists.: " + log + "\n"
                                                : "failed to rotate the log file: %@: " + log);
        EXPECT_EQ(row.code > 0 ? console.substr(0, said.size()) : console,
                  row.code < 0 ? "" : said);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(fs::exists(names[i]) ? fs::file_size(names[i]) : 0, row.after[i]) << i;
        }
        fs::remove_all(folder);
        fs::create_directories(folder);
    }
    test::writeFile(folder + "/plain", "not a folder");
    testing::internal::CaptureStderr();
    logObservation(folder + "/plain/app.log");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "code 20: message: failed to get attribute file: " + folder +
                  "/plain/app.log: Description: [Not a directory]\n");
}

TEST(AccountPrivilege, ComparesWholeNamesExactlyAndLogsEachMember) {
    test::LogReader log;
    const std::vector<std::string> members{"alice", "carol", "dave"};
    EXPECT_TRUE(AccountPrivilege::isMenberOfGroup(std::string("carol"), members));
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{
                  "[INFO] Start check user carol in admin group",
                  "[INFO] current user: [carol](5): in admin group user: [alice](5)",
                  "[INFO] current user: [carol](5): in admin group user: [carol](5)",
                  "[INFO] End check user carol in admin group(with admin)"}));
    EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(
        std::string("carol"), std::vector<std::string>{"car", "Carol", "carol2"}));
    EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::string("carol"), std::nullopt));
    AccountPrivilege::isMenberOfGroup(std::nullopt, std::vector<std::string>{"root"});
    EXPECT_TRUE(log.contains("[INFO] End check user (empty) in admin group(no admin)"));
}

// The built bundle's own XML list is read by every run; a binary one only here.
TEST(Bundle, ReadsBinaryPlistsAndToleratesBrokenOnes) {
    test::TempInstallRoot root;
    const std::string path = root.base() + "/Sample.app";
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "CFBundleName", plist_new_string("Sample"));
    plist_dict_set_item(dict, "CFBundleShortVersionString", plist_new_string("3.4"));
    plist_dict_set_item(dict, "LSRequiresNativeExecution", plist_new_bool(1));
    char* data = nullptr;
    uint32_t length = 0;
    plist_to_bin(dict, &data, &length);
    test::writeFile(path + "/Contents/Info.plist", std::string(data, length));
    std::free(data);
    plist_free(dict);
    Bundle bundle(path);
    EXPECT_EQ(bundle.bundleName(), "Sample");
    EXPECT_EQ(bundle.shortVersionString(), "3.4");
    EXPECT_FALSE(bundle.bundleVersion());
    EXPECT_FALSE(bundle.infoValue("LSRequiresNativeExecution"));  // not a string
    EXPECT_EQ(bundle.executablePath(), path + "/Contents/MacOS/Sample");

    test::writeFile(path + "/Contents/Info.plist", "<plist><dict><key>CFBundle");
    EXPECT_FALSE(Bundle(path).bundleName());
    EXPECT_FALSE(Bundle(root.base() + "/Missing.app").bundleName());
}

// The paths themselves every run checks on disk.
TEST(ConstTest, PathsFollowTheTargetRootWhateverItsFormAndListingsKeepWhatIsOurs) {
    const struct {
        std::string root;
        std::string (*path)();
        std::string expected;
    } rows[] = {
        {"/", [] { return Const::applicationDirectoryPathWithVersion(std::nullopt); },
         "/Applications/Quillmark/VELA-Ver/"},
        {"/", [] { return *Const::applicationUserAreaDirectoryPath(std::string("root")); },
         "/root/Library/Application Support/Quillmark/VELA"},
        {"/tmp/a root/", &Const::getDeviceLicenseModeDirectoryPath,
         "/tmp/a root/Library/Application Support/Quillmark/VELA/VELA-device"},
        {"", [] { return Const::targetRoot(); }, "/"},
        // Relative, it would be read against whatever folder a later command runs in.
        {"./a/../b", [] { return Const::targetRoot(); }, fs::current_path().string() + "/b"},
    };
    for (const auto& row : rows) {
        Const::setTargetRoot(row.root);
        EXPECT_EQ(row.path(), row.expected) << "under " << row.root;
    }

    // Listings keep prefixed generations only.
    test::TempInstallRoot root;
    Const::setTargetRoot(root.root());
    const std::string base = root.at("/Applications/Quillmark");
    for (const char* name : {"VELA-Ver1.0.0.old", "vela-ver1.0", "VELA-Ver2", "VELA-Ver.txt"}) {
        test::writeFile(base + "/" + name, "");  // files or folders: only the name counts
    }
    std::vector<std::string> names = Const::applicationDirectoryPrefixEnumerate();
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"VELA-Ver.txt", "VELA-Ver1.0.0.old", "VELA-Ver2"}));
    Const::setTargetRoot("/");  // process-wide: the next tests expect the default
}

// A background child keeping the pipes open must not hold the wizard, nor Ctrl-C kill a command.
TEST(ShellExecute, ReturnsWhatTheCommandSaidAsSoonAsItEndsAndReadsEveryShellFormBack) {
    test::TempInstallRoot root;
    const std::string pidFile = root.base() + "/background.pid";
    const std::string mebibyte = "head -c 1048576 /dev/zero | tr '\\0' ";
    const struct {
        std::string command;
        std::optional<std::string> expected;
    } rows[] = {
        {"echo out; echo err >&2", "err\n"},
        {"printf 'a|b' | tr '|' '\\n'", "a\nb"},
        {"printf '\\377\\376'", std::nullopt},
        {"printf '\\300\\257'", std::nullopt},  // overlong "/"
        {"printf '\\343\\201\\202'", "\xe3\x81\x82"},
        {mebibyte + "x; head -c 300000 /dev/zero >/dev/null", std::string(1 << 20, 'x')},
        {mebibyte + "y >&2 & " + mebibyte + "x; wait", std::string(1 << 20, 'y')},
        {"sleep 600 >&2 & echo $! > '" + pidFile + "'; echo complaint >&2", "complaint\n"},
        {"sleep 600 & echo $! > '" + pidFile + "'", ""},
        {"[ $(ps -o pgid= -p $$) = $$ ] && echo leader", "leader\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        auto result =
            std::async(std::launch::async, [&] { return ShellExecute::execute(row.command); });
        const bool returned =
            result.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
        if (const std::string child = test::readFile(pidFile); !child.empty()) {
            ::kill(std::stoi(child), SIGKILL);
            fs::remove(pidFile);
        }
        ASSERT_TRUE(returned) << "still waiting for the background child";
        const std::optional<std::string> said = result.get();
        EXPECT_TRUE(said == row.expected)
            << (said ? std::to_string(said->size()) + " bytes: " + said->substr(0, 40) : "none");
    }

    // The family's other forms: standard error alone, and the exit status.
    EXPECT_EQ(ShellExecute::executeReturnBoolean("echo out; echo bad >&2"), "bad\n");
    EXPECT_FALSE(ShellExecute::executeReturnBoolean("echo only-out").has_value());
    EXPECT_EQ(ShellExecute::executeReturnInteger("exit 3"), 3);
    EXPECT_EQ(ShellExecute::executeReturnInteger("kill -9 $$"), -1);

    // Hostile characters inside plain paths stand for every name we quote.
    EXPECT_EQ(shellForm("/Library/Application Support/VELA-Ver1.2"),
              "/Library/Application\\ Support/VELA-Ver1.2");
    EXPECT_EQ(shellForm("/x/VELA-Ver1'\"x"), "'/x/VELA-Ver1'\\''\"x'");
    EXPECT_EQ(shellForm(""), "''");  // else the shell would see no word at all
    const std::string hostile = " ;&|$`'\"\\\n\t*?[]{}()<>#~!%";
    std::vector<std::string> texts;
    for (char c : hostile) {
        texts.push_back("/x/VELA-Ver1" + std::string(1, c) + "touch X");  // plain but for c
    }
    const std::string out = root.base() + "/out";
    for (const std::string& text : texts) {
        // printf's own escapes would change the text: pass it as an argument, not a format.
        ShellExecute::execute("printf %s " + shellForm(text) + " > " + shellForm(out));
        EXPECT_EQ(test::readFile(out), text) << "form: " << shellForm(text);
    }
}
