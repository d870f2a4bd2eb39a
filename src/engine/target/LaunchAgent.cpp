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

StepFailure LaunchAgent::install(const std::optional<std::string>& source) {
    const std::string target = Const::applicationLaunchAgentPlistPath();
    ILog("Copy %s to %s", orNull(source).c_str(), target.c_str());
    UniqueFd agents;
    // A bundle without an agent never gets this far: its check refuses it.
    std::error_code ec =
        source ? openOwnedDirectory(Const::underTargetRoot("/Library"), parentOf(target),
                                    rootOnly(0755), agents, nullptr, /*ownExisting=*/false)
               : std::make_error_code(std::errc::no_such_file_or_directory);
    if (!ec) {
        ec = copyFileAtomically(*source, agents.get(), nameOf(target),
                                InstalledAccess::launchAgent());
    }
    if (ec) {
        return Failure::ofError("installation failure: launch agent", target, ec);
    }
    DTraceExecute("chown -R root:admin " + shellForm(target));
    return std::nullopt;
}

}  // namespace vela
