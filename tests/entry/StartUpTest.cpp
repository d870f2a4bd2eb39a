// The start-up decisions against scripted system services, then the delegate's last moments.
#include <gtest/gtest.h>

#include <QCoreApplication>

#include <cstdio>
#include <optional>

#include "AppDelegate.h"
#include "Files.h"
#include "Log.h"
#include "LogReader.h"
#include "StartUp.h"

namespace vela::test {
namespace {

const char* const kTool =
    "/Volumes/Installer/VELA-device-Installer.app/Contents/MacOS/VELA-device-Installer";
const std::string kStart = "[INFO] Device Installer module starting by root";
constexpr int kWizardStatus = 7;

struct ElevationScript {
    ElevationOutcome outcome = ElevationOutcome::Executing;
    int status = 0;
    std::string reply = {};  // what the elevated instance writes before ending
};

// Answers as scripted; writes what start-up asked of it into `calls`.
struct ScriptedElevation : Elevation {
    ScriptedElevation(ElevationScript given, std::string& record) : script(given), calls(record) {}

    ElevationResult executeWithPrivileges(const std::string& tool,
                                          const std::vector<std::string>& arguments,
                                          bool preauthorize) override {
        calls += "execute " + tool;
        for (const std::string& argument : arguments) {
            calls += " " + argument;
        }
        calls += preauthorize ? " preauthorized;" : ";";
        if (script.outcome != ElevationOutcome::Executing) {
            return {script.outcome, script.status};
        }
        std::FILE* reply = std::tmpfile();
        std::fputs(script.reply.c_str(), reply);
        std::rewind(reply);
        return {ElevationOutcome::Executing, 0, reply};
    }
    void release(std::FILE* reply, bool destroyRights) override {
        calls += destroyRights ? "release destroying the rights;" : "release;";
        std::fclose(reply);
    }

    ElevationScript script;
    std::string& calls;
};

struct Case {
    std::string name;
    std::vector<std::string> arguments = {kTool};
    bool administrator = true;
    bool supported = true;
    std::optional<ElevationScript> elevation = {};  // none: nobody may be asked for a password
    int status = 0;                                 // of the launcher; else the wizard's
    std::vector<std::string> said = {};             // in order, each "[LEVEL] text" or part of it
};

TEST(StartUpDecisions, FollowArgumentsRightsAndEveryElevationOutcome) {
    using enum ElevationOutcome;
    const std::vector<Case> cases = {
        {.name = "administrator, elevation cannot be created",
         .elevation = ElevationScript{CreateFailed, -60008},
         .status = 1,
         .said = {kStart, "Installer failed at AuthorizationCreate: status: -60008"}},
        {.name = "administrator, elevated instance cannot be started",
         .elevation = ElevationScript{ExecuteFailed, -60031},
         .status = 1,
         .said = {"Installer failed at AuthorizationExecuteWithPrivileges: status: -60031"}},
        {.name = "elevated instance replies 0",
         .elevation = ElevationScript{.reply = "0"},
         .said = {"Installer succeeded at AuthorizationExecuteWithPrivileges: status: 0",
                  "Installer get executed standard output:[0]"}},
        {.name = "elevated instance replies 0 and a line end",
         .elevation = ElevationScript{.reply = "0\n"},
         .status = -1,
         .said = {"Installer get executed standard output:[0"}},
        {.name = "elevated instance writes nothing",
         .elevation = ElevationScript{},
         .status = -1,
         .said = {"Installer get executed standard output:[]"}},
        {.name = "elevated instance writes a long line",
         .elevation = ElevationScript{.reply = std::string(200, 'x')},
         .status = -1,
         .said = {"Installer get executed standard output:[" + std::string(127, 'x') + "]"}},
        {.name = "standard user",
         .administrator = false,
         .status = kWizardStatus,
         .said = {kStart, "[INFO] performed by standard user: root"}},
        {.name = "marker and one more argument",
         .arguments = {kTool, "isPrivileges", "more"},
         .elevation = ElevationScript{Cancelled, -60006},
         .said = {kStart, "Installer canceled at AuthorizationCopyRights: status: -60006"}},
        {.name = "marker spelt otherwise",
         .arguments = {kTool, "isprivileges"},
         .elevation = ElevationScript{Cancelled, -60006},
         .said = {kStart, "Installer canceled"}},
        // Refused with an alert before anything else, the rights not even looked at.
        {.name = "unsupported system",
         .arguments = {kTool, "isPrivileges"},
         .supported = false,
         .said = {kStart,
                  "[INFO] It seems the version is below 10.12: Version 10.11.6 "
                  "(Build 15G31)"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LogReader log;
        std::string calls;  // what start-up asked of the system, in order
        const StartUp::Services services{
            .checkOperatingSystem =
                [&c] {
                    return OperatingSystemCheck{c.supported, "seems the version is below 10.12",
                                                "Version 10.11.6 (Build 15G31)"};
                },
            .isAdministrator =
                [&](const std::string&) { return calls += "administrator?;", c.administrator; },
            .elevation = [&]() -> std::unique_ptr<Elevation> {
                return calls += "create;", std::make_unique<ScriptedElevation>(
                                               c.elevation.value_or(ElevationScript{}), calls);
            },
            .applicationMain = [&](int&, char**) { return calls += "wizard;", kWizardStatus; },
            .alert =
                [&](int&, char**, const char* message, const char* title) {
                    calls += std::string("alert ") + title + ": " + message + ";";
                },
            .executablePath = [] { return std::optional<std::string>(kTool); },
        };
        std::vector<std::string> words = c.arguments;
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }

        EXPECT_EQ(StartUp::run(static_cast<int>(words.size()), argv.data(), services), c.status);
        EXPECT_TRUE(inOrder(log.messages(), c.said));
        // The authorization is released, keeping its rights, only after a reply was read.
        std::string expected = c.supported ? "administrator?;"
                                           : "alert Not applicable OS version: The OS Version "
                                             "below 10.12 is not applicable;";
        if (c.elevation) {
            expected += "create;execute " + std::string(kTool) + " isPrivileges;";
            expected += c.elevation->outcome == ElevationOutcome::Executing ? "release;" : "";
        } else if (c.supported) {
            expected += "wizard;";
        }
        EXPECT_EQ(calls, expected);
    }
}

// The process may end right after the delegate returns: every queued line must be in the file
// by then, however short the pause.
TEST(AppDelegate, EveryQueuedLineIsWrittenWhenItReturns) {
    AppDelegate delegate(*QCoreApplication::instance(), std::chrono::milliseconds(0));
    EXPECT_TRUE(delegate.applicationShouldTerminateAfterLastWindowClosed());
    const std::string path = Log::defaultLog().logFilePath().value_or("");
    const std::size_t before = readLines(path).size();
    for (int i = 0; i < 3000; ++i) {
        ILog("queued line %d of the last moments", i);
    }
    delegate.applicationWillTerminate();
    const std::vector<std::string> lines = readLines(path);
    ASSERT_EQ(lines.size(), before + 3000);
    EXPECT_NE(lines.back().find("queued line 2999 of the last moments"), std::string::npos);
}

}  // namespace
}  // namespace vela::test
