#include "LaunchAgent.h"

#include "Commands.h"
#include "Const.h"
#include "InstalledAccess.h"
#include "Log.h"
#include "SafeFiles.h"
#include "ShellForm.h"

namespace vela {

StepFailure LaunchAgent::check() {
    const std::string agents = parentOf(Const::applicationLaunchAgentPlistPath());
    const EntryKind kind = entryKind(agents);
    if (kind != EntryKind::Missing && kind != EntryKind::Directory) {
        return Failure{"installation failure: launch agent",
                       Const::applicationLaunchAgentPlistPath(),
                       agents + " is " + entryKindName(kind)};
    }
    return std::nullopt;
}

StepFailure LaunchAgent::install(const Bundle& bundle) {
    std::optional<std::string> source = bundle.pathForResource(Const::kClientAppName, "plist");
    const std::string target = Const::applicationLaunchAgentPlistPath();
    ILog("Copy %s to %s", orNull(source).c_str(), target.c_str());
    if (source) {
        UniqueFd agents;
        std::error_code ec =
            openOwnedDirectory(Const::underTargetRoot("/Library"), parentOf(target), rootOnly(0755),
                               agents, nullptr, /*ownExisting=*/false);
        if (!ec) {
            ec = copyFileAtomically(*source, agents.get(), nameOf(target),
                                    InstalledAccess::launchAgent());
        }
        if (ec) {
            return Failure::ofError("installation failure: launch agent", target, ec);
        }
    }
    DTraceExecute("chown -R root:admin " + shellForm(target));
    return std::nullopt;
}

}  // namespace vela
