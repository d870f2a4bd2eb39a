#include "CompletionSteps.h"

#include "Bundle.h"
#include "Commands.h"
#include "Const.h"
#include "Log.h"
#include "Payload.h"
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

std::error_code CompletionSteps::keepRecord(InstallRecord& record) {
    const Bundle& bundle = Bundle::mainBundle();
    record.version = bundle.shortVersionString();
    record.build = bundle.bundleVersion();
    record.generation = Const::applicationDirectoryPathWithVersion(record.version);
    record.link = Const::symbolicLinkPath();
    if (record.files == 0) {
        const Payload payload(bundle, *record.generation);
        record.bytes = payload.bytes();
        record.files = payload.files();
    }
    Log::defaultLog().flush();
    record.log = Log::defaultLog().logFilePath();
    const std::error_code ec = record.keepOnTarget();
    if (ec) {
        ILog("Installation record not kept: %s: %s", InstallRecord::filePath().c_str(),
             ec.message().c_str());
    } else {
        ILog("Installation record kept: %s", InstallRecord::filePath().c_str());
    }
    return ec;
}

}  // namespace vela
