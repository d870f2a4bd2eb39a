#include "RunningApplications.h"

#include <QThread>

#include <sstream>
#include <string_view>

#include "Commands.h"
#include "Const.h"
#include "Log.h"
#include "ShellForm.h"

namespace vela {

namespace {

std::string escapedForRegex(const std::string& text) {
    std::string escaped;
    for (char c : text) {
        if (std::string_view(".[]()*+?{}|^$\\").find(c) != std::string_view::npos) {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped;
}

}  // namespace

std::string RunningApplications::pattern() {
    const std::string application =
        std::string("/") + Const::kClientAppName + "." + Const::kAppFileType + "/";
    if (Const::targetRoot() == "/") {
        return "'" + application + "'";
    }
    return shellForm(escapedForRegex(Const::appBaseDirectoryPath()) + "/[^/]*" +
                     escapedForRegex(application));
}

std::vector<std::string> RunningApplications::list() {
    const bool wholeSystem = Const::targetRoot() == "/";
    std::istringstream lines(executeForLog(std::string("ps -ef | grep ") +
                                           (wholeSystem ? "" : "-E ") + pattern() +
                                           " | grep -v grep"));
    // A listing that could not be had reads "(null)": nothing is taken for stopped unseen.
    std::vector<std::string> found;
    for (std::string line; std::getline(lines, line);) {
        // "UID PID PPID C STIME TTY TIME CMD": the process id and its command line.
        std::istringstream fields(line);
        std::string uid, pid, ppid, cpu, start, tty, time, command;
        fields >> uid >> pid >> ppid >> cpu >> start >> tty >> time;
        std::getline(fields >> std::ws, command);
        if (!trimmingNewlines(line).empty()) {
            found.push_back(command.empty() ? trimmingNewlines(line) : pid + " " + command);
        }
    }
    return found;
}

StepFailure RunningApplications::stop() {
    ILog("Terminating desktop application");
    executeForLog("pkill -f " + pattern());
    if (list().empty()) {
        return std::nullopt;
    }
    QThread::msleep(1000);
    ILog("Force terminating desktop application");
    executeForLog("pkill -SIGKILL -f " + pattern());
    const std::vector<std::string> left = list();
    if (left.empty()) {
        return std::nullopt;
    }
    return Failure{"installation failure: exit application", {}, "still running: " + left.front()};
}

}  // namespace vela
