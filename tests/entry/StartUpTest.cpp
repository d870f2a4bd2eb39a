// The start-up decision table, against the real start-up code with scripted system services:
// arguments, administrator or not, each outcome of the elevation and each reply.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string_view>

#include "LogReader.h"
#include "StartUp.h"

namespace vela::test {
namespace {

const char* const kTool =
    "/Volumes/Installer/VELA-device-Installer.app/Contents/MacOS/VELA-device-Installer";

struct ElevationScript {
    ElevationOutcome outcome = ElevationOutcome::Executing;
    int status = 0;
    std::string_view reply;  // what the elevated instance writes before ending
};

struct ElevationRecord {
    int created = 0;
    std::string tool;
    std::vector<std::string> arguments;
    std::optional<bool> preauthorize;
    int released = 0;
    std::optional<bool> destroyRights;
};

class ScriptedElevation : public Elevation {
public:
    ScriptedElevation(ElevationScript script, ElevationRecord& record)
        : script_(std::move(script)), record_(record) {}

    ElevationResult executeWithPrivileges(const std::string& tool,
                                          const std::vector<std::string>& arguments,
                                          bool preauthorize) override {
        record_.tool = tool;
        record_.arguments = arguments;
        record_.preauthorize = preauthorize;
        if (script_.outcome != ElevationOutcome::Executing) {
            return {script_.outcome, script_.status};
        }
        int fds[2];
        if (::pipe(fds) != 0) {
            return {ElevationOutcome::ExecuteFailed, errno};
        }
        [[maybe_unused]] ssize_t written =
            ::write(fds[1], script_.reply.data(), script_.reply.size());
        ::close(fds[1]);
        return {ElevationOutcome::Executing, 0, ::fdopen(fds[0], "r")};
    }

    void release(std::FILE* reply, bool destroyRights) override {
        ++record_.released;
        record_.destroyRights = destroyRights;
        if (reply) {
            std::fclose(reply);
        }
    }

private:
    ElevationScript script_;
    ElevationRecord& record_;
};

struct Case {
    std::string name;
    std::vector<std::string> arguments = {};  // after the program path
    bool administrator = true;
    bool supported = true;
    ElevationScript elevation = {};
    int expectedStatus = 0;
    std::vector<std::string> expectedLines = {};  // in order, each "[LEVEL] text" or part of it
    bool expectWizard = false;
    bool expectElevation = true;
    std::vector<std::string> expectedAlerts = {};  // "title|message"
};

constexpr int kWizardStatus = 7;

struct Outcome {
    int status;
    std::vector<std::string> messages;
    int wizardRuns = 0;
    std::vector<std::string> alerts;
    bool adminChecked = false;
    ElevationRecord elevation;
};

Outcome runStartUp(const Case& c) {
    Outcome outcome{};
    LogReader log;
    StartUp::Services services;
    services.checkOperatingSystem = [&c] {
        return OperatingSystemCheck{c.supported,
                                    c.supported ? "seems the version equals 10.12 and later"
                                                : "seems the version is below 10.12",
                                    "Version 10.11.6 (Build 15G31)"};
    };
    services.isAdministrator = [&](const std::string&) {
        outcome.adminChecked = true;
        return c.administrator;
    };
    services.elevation = [&]() -> std::unique_ptr<Elevation> {
        ++outcome.elevation.created;
        return std::make_unique<ScriptedElevation>(c.elevation, outcome.elevation);
    };
    services.applicationMain = [&](int&, char**) {
        ++outcome.wizardRuns;
        return kWizardStatus;
    };
    services.alert = [&](int&, char**, const char* message, const char* title) {
        outcome.alerts.push_back(std::string(title) + "|" + message);
    };
    services.executablePath = [] { return std::optional<std::string>(kTool); };

    std::vector<std::string> words = {kTool};
    words.insert(words.end(), c.arguments.begin(), c.arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    outcome.status = StartUp::run(static_cast<int>(words.size()), argv.data(), services);
    outcome.messages = log.messages();
    return outcome;
}

const std::string kStart = "[INFO] Device Installer module starting by root";

TEST(StartUpDecisions, FollowArgumentsRightsAndEveryElevationOutcome) {
    const std::string longReply(200, 'x');
    using enum ElevationOutcome;
    const std::vector<Case> cases = {
        {.name = "administrator, elevation cannot be created",
         .elevation = {CreateFailed, -60008, ""},
         .expectedStatus = 1,
         .expectedLines = {kStart, "Installer failed at AuthorizationCreate: status: -60008"}},
        {.name = "administrator cancels the password dialog",
         .elevation = {Cancelled, -60006, ""},
         .expectedLines = {kStart,
                           "Installer canceled at AuthorizationCopyRights: status: -60006"}},
        {.name = "administrator, elevated instance cannot be started",
         .elevation = {ExecuteFailed, -60031, ""},
         .expectedStatus = 1,
         .expectedLines =
             {"Installer failed at AuthorizationExecuteWithPrivileges: status: -60031"}},
        {.name = "elevated instance replies 0",
         .elevation = {Executing, 0, "0"},
         .expectedLines = {"Installer succeeded at AuthorizationExecuteWithPrivileges: status: 0",
                           "Installer get executed standard output:[0]"}},
        {.name = "elevated instance replies 0 and a line end",
         .elevation = {Executing, 0, "0\n"},
         .expectedStatus = -1,
         .expectedLines = {"Installer get executed standard output:[0"}},
        {.name = "elevated instance replies 1",
         .elevation = {Executing, 0, "1"},
         .expectedStatus = -1,
         .expectedLines = {"Installer get executed standard output:[1]"}},
        {.name = "elevated instance writes nothing",
         .elevation = {Executing, 0, ""},
         .expectedStatus = -1,
         .expectedLines = {"Installer get executed standard output:[]"}},
        {.name = "elevated instance writes a long line",
         .elevation = {Executing, 0, longReply},
         .expectedStatus = -1,
         .expectedLines = {"Installer get executed standard output:[" + std::string(127, 'x') +
                           "]"}},
        {.name = "elevated administrator",
         .arguments = {"isPrivileges"},
         .expectedStatus = kWizardStatus,
         .expectedLines = {kStart + " performed as privileges administrative user",
                           "[INFO] performed as privileges administrative user: root"},
         .expectWizard = true,
         .expectElevation = false},
        {.name = "standard user",
         .administrator = false,
         .expectedStatus = kWizardStatus,
         .expectedLines = {kStart, "[INFO] performed by standard user: root"},
         .expectWizard = true,
         .expectElevation = false},
        {.name = "standard user with the marker",
         .arguments = {"isPrivileges"},
         .administrator = false,
         .expectedStatus = kWizardStatus,
         .expectedLines = {"[INFO] performed by standard user: root"},
         .expectWizard = true,
         .expectElevation = false},
        {.name = "marker and one more argument",
         .arguments = {"isPrivileges", "more"},
         .elevation = {Cancelled, -60006, ""},
         .expectedLines = {kStart, "Installer canceled at AuthorizationCopyRights"}},
        {.name = "marker spelt otherwise",
         .arguments = {"isprivileges"},
         .elevation = {Cancelled, -60006, ""},
         .expectedLines = {"Installer canceled"}},
        // Refused with an alert before anything else, the rights not even looked at.
        {.name = "unsupported system",
         .arguments = {"isPrivileges"},
         .supported = false,
         .expectedLines = {kStart,
                           "[INFO] It seems the version is below 10.12: Version 10.11.6 "
                           "(Build 15G31)"},
         .expectElevation = false,
         .expectedAlerts = {"Not applicable OS version|The OS Version below 10.12 is not "
                            "applicable"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Outcome outcome = runStartUp(c);
        EXPECT_EQ(outcome.status, c.expectedStatus);
        EXPECT_TRUE(inOrder(outcome.messages, c.expectedLines));
        EXPECT_EQ(outcome.wizardRuns, c.expectWizard ? 1 : 0);
        // Nobody is asked for a password unless an administrator is not yet elevated.
        EXPECT_EQ(outcome.elevation.created, c.expectElevation ? 1 : 0);
        EXPECT_EQ(outcome.alerts, c.expectedAlerts);
        EXPECT_EQ(outcome.adminChecked, c.supported);
        const bool elevatedByMarker = c.arguments == std::vector<std::string>{"isPrivileges"};
        if (!elevatedByMarker) {
            EXPECT_EQ(outcome.messages.front().find(" performed as privileges"), std::string::npos)
                << outcome.messages.front();
        }
        if (c.expectElevation) {
            EXPECT_EQ(outcome.elevation.tool, kTool);
            EXPECT_EQ(outcome.elevation.arguments, std::vector<std::string>{"isPrivileges"});
            EXPECT_EQ(outcome.elevation.preauthorize, false);
            const bool executed = c.elevation.outcome == ElevationOutcome::Executing;
            // The authorization is released only after a reply was read.
            EXPECT_EQ(outcome.elevation.released, executed ? 1 : 0);
            if (executed) {
                EXPECT_EQ(outcome.elevation.destroyRights, false);
            }
        }
    }
}

}  // namespace
}  // namespace vela::test
