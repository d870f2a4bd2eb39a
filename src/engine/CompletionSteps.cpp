#include "CompletionSteps.h"

#include "Commands.h"
#include "Const.h"
#include "Log.h"
#include "ShellForm.h"

namespace vela {

void CompletionSteps::reloadLaunchAgent() {
    ILog("Launch desktop application");
    const std::string agent = shellForm(Const::applicationLaunchAgentPlistPath());
    for (const char* verb : {"unload", "load"}) {
        std::string command = std::string("launchctl ") + verb + " " + agent;
        std::string output = executeForLog(command);
        DTrace("execute: [%s]: %s", command.c_str(), output.c_str());
    }
}

}  // namespace vela
