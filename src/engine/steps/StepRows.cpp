#include <algorithm>

#include "Commands.h"
#include "Const.h"
#include "DeviceDirectory.h"
#include "Generations.h"
#include "HelpFile.h"
#include "InstallationCheck.h"
#include "InstallationContext.h"
#include "InstallationSteps.h"
#include "InstalledAccess.h"
#include "LaunchAgent.h"
#include "Log.h"
#include "OfflineFlag.h"
#include "RunningApplications.h"
#include "SafeFiles.h"
#include "StepRow.h"
#include "SystemPath.h"
#include "UserConfiguration.h"

namespace vela {

namespace {

using Plan = std::vector<PlanLine>;

std::string sizeText(std::uint64_t bytes, std::uint64_t files) {
    return std::to_string(bytes) + " bytes, " + std::to_string(files) +
           (files == 1 ? " file" : " files");
}

std::string folderOf(const InstallationSteps& steps) {
    return withoutTrailingSlashes(steps.generation());
}

std::string asideOf(const InstallationSteps& steps) {
    return folderOf(steps) + Const::kDestinationDirectorySuffix;
}

bool isInstalled(const InstallationSteps& steps) {
    return entryKind(folderOf(steps)) == EntryKind::Directory;
}

bool hadHelpFile() {
    return entryKind(HelpFile::destinationPath()) != EntryKind::Missing;
}

// What goes with the device directory on undo needs no entry of its own.
bool madeDeviceDirectory(const UndoRecord& record) {
    return record.find(StepId::DeviceDirectory) != nullptr;
}

// The new generation's undo. Its name holds this run's half copy only while the previous
// generation is still aside; once that is back in its place, the name is the previous version's.
StepFailure removeNewGeneration(const UndoRecord& record, const UndoEntry& entry) {
    const std::string path = Const::underTargetRoot(entry.path);
    const UndoEntry* aside = record.find(StepId::MoveAside);
    if (aside != nullptr && aside->path == entry.path &&
        entryKind(Const::underTargetRoot(aside->backup)) == EntryKind::Missing) {
        ILog("Kept %s: the previous generation is back in its place", path.c_str());
        return std::nullopt;
    }
    ILog("Remove application module: %s", path.c_str());
    return removeEntryTraced(__PRETTY_FUNCTION__, path);
}

// The payload's item at `target`, as the run copies it, with the mode the run gives it.
void copied(const InstallationSteps& steps, const std::string& target, std::optional<mode_t> mode,
            std::vector<Expected>& expected) {
    expected.push_back({Expected::Kind::Copy, target, steps.payload().sourceOf(target), mode, {}});
}

void describeOtherGenerations(const InstallationSteps& steps, Plan& plan) {
    // Those moved aside earlier are gone by then; this version's is moved aside first.
    const std::vector<std::string> earlier = Const::movedAsideGenerationPaths();
    for (const std::string& path : Const::otherGenerationPaths(folderOf(steps))) {
        if (std::find(earlier.begin(), earlier.end(), path) == earlier.end()) {
            plan.push_back({{}, "remove", path, "other generation"});
        }
    }
    if (isInstalled(steps)) {
        plan.push_back({{}, "remove", asideOf(steps), "this version's previous copy"});
    }
}

void describeOfflineFlag(const InstallationSteps& steps, Plan& plan) {
    const std::string flag = Const::getDeviceOfflineFlagFilePath();
    const EntryKind kind = entryKind(flag);
    const std::string access = InstalledAccess::plan(InstalledAccess::sharedFile(), '-');
    if (!steps.isOverwrite()) {
        plan.push_back({{}, "create", flag, access});
    } else if (OfflineFlag::isToBeMade(true)) {
        plan.push_back(
            {{}, "replace", flag, std::string(entryKindName(kind)) + " there, " + access});
    }
}

// In the order of StepId; each row says everything about its change.
const StepRow kRows[] = {
    {
        .id = StepId::RemoveMovedAside,
        .name = "removeMovedAside",
        .describe =
            [](const InstallationSteps&, Plan& plan) {
                for (const std::string& path : Const::movedAsideGenerationPaths()) {
                    plan.push_back({{}, "remove", path, "generation moved aside earlier"});
                }
            },
        .change = [](const StepScope&) { return Generations::removeMovedAside(); },
    },
    {
        .id = StepId::MoveAside,
        .name = "moveAside",
        .describe =
            [](const InstallationSteps& steps, Plan& plan) {
                if (isInstalled(steps)) {
                    plan.push_back({{}, "move aside", folderOf(steps), "to " + asideOf(steps)});
                }
            },
        .entry = [](const StepScope& scope) -> std::optional<UndoEntry> {
            if (entryKind(scope.steps.generation()) == EntryKind::Missing) {
                return std::nullopt;  // nothing of this version to move
            }
            return UndoEntry{StepId::MoveAside, systemPathOf(scope.steps.generation()),
                             systemPathOf(scope.context.destOldDirectoryPath())};
        },
        .change =
            [](const StepScope& scope) {
                return Generations::moveAside(scope.steps.generation(),
                                              scope.context.destOldDirectoryPath());
            },
        .undo =
            [](const UndoRecord&, const UndoEntry& entry) {
                return Generations::renameDirectoryAtPath(Const::underTargetRoot(entry.backup),
                                                          Const::underTargetRoot(entry.path));
            },
    },
    {
        .id = StepId::RemoveUserConfiguration,
        .name = "removeUserConfiguration",
        .describe =
            [](const InstallationSteps&, Plan& plan) {
                for (const std::string& path : Const::allUserDirectoryPlistPaths()) {
                    plan.push_back(
                        {{}, "remove", path, "user configuration of an earlier installation"});
                }
            },
        .change = [](const StepScope&) -> StepFailure {
            UserConfiguration::removeStale();
            return std::nullopt;
        },
    },
    {
        .id = StepId::DeviceDirectory,
        .name = "deviceDirectory",
        .check = [](const InstallationSteps&) { return DeviceDirectory::check(); },
        .describe =
            [](const InstallationSteps&, Plan& plan) {
                const std::string device = Const::getDeviceLicenseModeDirectoryPath();
                plan.push_back({{},
                                entryKind(device) == EntryKind::Directory ? "set access" : "create",
                                device,
                                InstalledAccess::plan(InstalledAccess::deviceDirectory(), 'd')});
            },
        .entry = [](const StepScope&) -> std::optional<UndoEntry> {
            const std::string device = Const::getDeviceLicenseModeDirectoryPath();
            if (entryKind(device) != EntryKind::Missing) {
                return std::nullopt;  // not this run's to remove
            }
            return UndoEntry{StepId::DeviceDirectory, systemPathOf(device), {}};
        },
        .change =
            [](const StepScope&) { return DeviceDirectory::createDirectoryDeviceLicenseConfig(); },
        .undo =
            [](const UndoRecord&, const UndoEntry&) {
                return DeviceDirectory::removeDirectoryDeviceLicenseConfig();
            },
        .leaves =
            [](const InstallationSteps&, std::vector<Expected>& expected) {
                expected.push_back({Expected::Kind::Folder,
                                    Const::getDeviceLicenseModeDirectoryPath(),
                                    {},
                                    InstalledAccess::deviceDirectory().mode,
                                    {}});
            },
    },
    {
        .id = StepId::HelpFile,
        .name = "helpFile",
        .check = [](const InstallationSteps&) { return HelpFile::check(); },
        .describe =
            [](const InstallationSteps&, Plan& plan) {
                if (hadHelpFile()) {
                    plan.push_back({{},
                                    "move aside",
                                    HelpFile::destinationPath(),
                                    "to " + HelpFile::backupPath()});
                }
                plan.push_back(
                    {{},
                     "copy",
                     HelpFile::destinationPath(),
                     "help file, " + InstalledAccess::plan(InstalledAccess::sharedFile(), '-')});
            },
        .entry = [](const StepScope& scope) -> std::optional<UndoEntry> {
            if (madeDeviceDirectory(scope.record)) {
                return std::nullopt;
            }
            return UndoEntry{StepId::HelpFile, systemPathOf(HelpFile::destinationPath()),
                             hadHelpFile() ? systemPathOf(HelpFile::backupPath()) : std::string()};
        },
        .change =
            [](const StepScope& scope) {
                return HelpFile::copyHelpFile(
                    scope.steps.payload().sourceOf(HelpFile::destinationPath()));
            },
        .undo =
            [](const UndoRecord&, const UndoEntry& entry) {
                return HelpFile::revertHelpFile(!entry.backup.empty());
            },
        .leaves =
            [](const InstallationSteps& steps, std::vector<Expected>& expected) {
                copied(steps, HelpFile::destinationPath(), InstalledAccess::sharedFile().mode,
                       expected);
            },
        .writesBeside = HelpFile::destinationPath,
    },
    {
        .id = StepId::Generation,
        .name = "generation",
        .check = [](const InstallationSteps& steps) -> StepFailure {
            if (StepFailure failure = Generations::check(steps.generation())) {
                return failure;
            }
            return steps.freeSpace();
        },
        .describe =
            [](const InstallationSteps& steps, Plan& plan) {
                for (const Payload::Item& item : steps.payload().items()) {
                    if (item.source && item.target.starts_with(steps.generation())) {
                        plan.push_back({{}, "copy", item.target, sizeText(item.bytes, item.files)});
                    }
                }
            },
        .entry = [](const StepScope& scope) -> std::optional<UndoEntry> {
            return UndoEntry{StepId::Generation, systemPathOf(scope.steps.generation()), {}};
        },
        .change =
            [](const StepScope& scope) { return Generations::create(scope.steps.generation()); },
        .undo = removeNewGeneration,
        .leaves =
            [](const InstallationSteps& steps, std::vector<Expected>& expected) {
                expected.push_back({Expected::Kind::Folder, folderOf(steps), {}, {}, {}});
                for (const Payload::Item& item : steps.payload().items()) {
                    if (item.target.starts_with(steps.generation())) {
                        copied(steps, item.target, std::nullopt, expected);
                    }
                }
            },
    },
    {
        .id = StepId::LogModeScripts,
        .name = "logModeScripts",
        .change =
            [](const StepScope& scope) {
                return Generations::copyLogModeScripts(scope.steps.payload(),
                                                       scope.steps.generation());
            },
    },
    {
        .id = StepId::OwnGeneration,
        .name = "ownGeneration",
        .describe =
            [](const InstallationSteps& steps, Plan& plan) {
                plan.push_back({{}, "set owner", folderOf(steps), "root:admin, everything inside"});
            },
        .change =
            [](const StepScope& scope) {
                return Generations::ownGeneration(scope.steps.generation());
            },
    },
    {
        .id = StepId::StopApplication,
        .name = "stopApplication",
        .describe =
            [](const InstallationSteps&, Plan& plan) {
                for (const std::string& process : RunningApplications::list()) {
                    plan.push_back({{}, "stop", process, "SIGTERM, then SIGKILL after one second"});
                }
            },
        .change =
            [](const StepScope& scope) {
                // A stopped application cannot be started again by an undo: no Cancel from here.
                scope.context.setCancelEnabled(false);
                return RunningApplications::stop();
            },
    },
    {
        .id = StepId::OfflineFlag,
        .name = "offlineFlag",
        .describe = describeOfflineFlag,
        .entry = [](const StepScope& scope) -> std::optional<UndoEntry> {
            const std::string flag = Const::getDeviceOfflineFlagFilePath();
            if (!OfflineFlag::isToBeMade(scope.steps.isOverwrite()) ||
                entryKind(flag) != EntryKind::Missing || madeDeviceDirectory(scope.record)) {
                return std::nullopt;
            }
            return UndoEntry{StepId::OfflineFlag, systemPathOf(flag), {}};
        },
        .change = [](const StepScope& scope) -> StepFailure {
            if (!OfflineFlag::isToBeMade(scope.steps.isOverwrite())) {
                return std::nullopt;
            }
            return OfflineFlag::createDeviceOfflineFlagFile();
        },
        .undo = [](const UndoRecord&,
                   const UndoEntry&) { return OfflineFlag::removeDeviceOfflineFlagFile(); },
        .leaves =
            // An overwrite keeps an existing flag as the administrator left it: only its
            // presence is the installation's.
        [](const InstallationSteps&, std::vector<Expected>& expected) {
            expected.push_back(
                {Expected::Kind::File, Const::getDeviceOfflineFlagFilePath(), {}, {}, {}});
        },
    },
    {
        .id = StepId::Durable,
        .name = "durable",
        // Taken twice: the link may name the new generation only once a power cut cannot empty
        // it, and a run is "installed" only once all it changed is on the disk.
        .change = [](const StepScope&) { return syncTarget(); },
    },
    {
        .id = StepId::PointOfNoReturn,
        .name = "pointOfNoReturn",
        // From here on the new generation is the only complete one: a failure completes the run
        // instead of undoing it.
        .entry = [](const StepScope&) -> std::optional<UndoEntry> {
            return UndoEntry{StepId::PointOfNoReturn, {}, {}};
        },
    },
    {
        .id = StepId::Link,
        .name = "link",
        .check = [](const InstallationSteps&) { return Generations::checkLink(); },
        .describe =
            [](const InstallationSteps& steps, Plan& plan) {
                plan.push_back({{},
                                "link",
                                Const::symbolicLinkPath(),
                                "to " + InstallationCheck::expectedLinkText(
                                            steps.bundle().shortVersionString())});
            },
        .change =
            [](const StepScope& scope) { return Generations::renewLink(scope.steps.generation()); },
        .leaves =
            [](const InstallationSteps& steps, std::vector<Expected>& expected) {
                expected.push_back(
                    {Expected::Kind::Link,
                     Const::symbolicLinkPath(),
                     {},
                     {},
                     InstallationCheck::expectedLinkText(steps.bundle().shortVersionString())});
            },
        .writesBeside = Const::symbolicLinkPath,
    },
    {
        .id = StepId::RemoveOtherGenerations,
        .name = "removeOtherGenerations",
        .describe = describeOtherGenerations,
        .change =
            [](const StepScope& scope) {
                return Generations::removeOtherGenerations(scope.steps.generation());
            },
    },
    {
        .id = StepId::RemoveOldHelpFile,
        .name = "removeOldHelpFile",
        .describe =
            [](const InstallationSteps&, Plan& plan) {
                if (hadHelpFile()) {
                    plan.push_back(
                        {{}, "remove", HelpFile::backupPath(), "the previous help file"});
                }
            },
        .change = [](const StepScope&) { return HelpFile::removeOldHelpFile(); },
    },
    {
        .id = StepId::LaunchAgent,
        .name = "launchAgent",
        .check = [](const InstallationSteps&) { return LaunchAgent::check(); },
        .describe =
            [](const InstallationSteps&, Plan& plan) {
                const std::string agent = Const::applicationLaunchAgentPlistPath();
                plan.push_back(
                    {{},
                     "copy",
                     agent,
                     "agent, " + InstalledAccess::plan(InstalledAccess::launchAgent(), '-')});
                // Done by the completion page, once the run is over.
                plan.push_back({{}, "reload", agent, "launchctl unload, load"});
            },
        .change =
            [](const StepScope& scope) {
                return LaunchAgent::install(
                    scope.steps.payload().sourceOf(Const::applicationLaunchAgentPlistPath()));
            },
        .leaves =
            [](const InstallationSteps& steps, std::vector<Expected>& expected) {
                copied(steps, Const::applicationLaunchAgentPlistPath(),
                       InstalledAccess::launchAgent().mode, expected);
            },
        .writesBeside = Const::applicationLaunchAgentPlistPath,
    },
};

}  // namespace

std::span<const StepRow> allStepRows() {
    return kRows;
}

const StepRow& stepRow(StepId id) {
    for (const StepRow& row : kRows) {
        if (row.id == id) {
            return row;
        }
    }
    std::abort();  // every StepId has its row
}

std::optional<StepId> stepNamed(std::string_view name) {
    for (const StepRow& row : kRows) {
        if (name == row.name) {
            return row.id;
        }
    }
    return std::nullopt;
}

}  // namespace vela
