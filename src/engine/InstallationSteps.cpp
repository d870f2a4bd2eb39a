#include "InstallationSteps.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

#include "BundleCheck.h"
#include "Commands.h"
#include "Const.h"
#include "FreeSpace.h"
#include "HelpFile.h"
#include "InstallationCheck.h"
#include "InstallationView.h"
#include "InstalledAccess.h"
#include "Payload.h"
#include "RunningApplications.h"
#include "SafeFiles.h"
#include "ShellExecute.h"

namespace vela {

namespace {

using Id = InstallationSteps::Id;

std::string sizeText(std::uint64_t bytes, std::uint64_t files) {
    return std::to_string(bytes) + " bytes, " + std::to_string(files) +
           (files == 1 ? " file" : " files");
}

// Why root could not create anything in `folder` (a read-only volume); none when it could.
std::optional<std::string> unwritable(const std::string& folder) {
    if (entryKind(folder) != EntryKind::Directory || ::access(folder.c_str(), W_OK) == 0 ||
        errno != EROFS) {
        return std::nullopt;
    }
    return std::strerror(EROFS);
}

// A name where the installer makes a folder holds nothing but a folder.
std::optional<std::string> notAFolder(const std::string& path) {
    const EntryKind kind = entryKind(path);
    if (kind == EntryKind::Missing || kind == EntryKind::Directory) {
        return std::nullopt;
    }
    return "installation failure: not a directory: " + path + " (" + entryKindName(kind) + ")";
}

}  // namespace

InstallationSteps::InstallationSteps(const Bundle& bundle, bool isOverwrite, std::string generation)
    : bundle_(bundle), isOverwrite_(isOverwrite), generation_(std::move(generation)) {}

std::vector<Id> InstallationSteps::preparation() const {
    std::vector<Id> steps;
    if (isOverwrite_) {
        steps = {Id::RemoveMovedAside, Id::MoveAside};
    } else {
        steps = {Id::RemoveUserConfiguration};
    }
    steps.insert(steps.end(), {Id::DeviceDirectory, Id::HelpFile, Id::Generation});
    return steps;
}

std::vector<Id> InstallationSteps::finalisation() const {
    std::vector<Id> steps = {Id::LogModeScripts, Id::OwnGeneration};
    if (isOverwrite_) {
        steps.push_back(Id::StopApplication);
    }
    steps.insert(steps.end(), {Id::OfflineFlag, Id::Durable, Id::PointOfNoReturn});
    for (Id id : pastPointOfNoReturn()) {
        steps.push_back(id);
    }
    return steps;
}

std::vector<Id> InstallationSteps::pastPointOfNoReturn() const {
    std::vector<Id> steps = {Id::Link};
    if (isOverwrite_) {
        steps.push_back(Id::RemoveOtherGenerations);
    }
    steps.insert(steps.end(), {Id::RemoveOldHelpFile, Id::LaunchAgent});
    return steps;
}

std::optional<std::string> InstallationSteps::check(Id id) const {
    switch (id) {
        case Id::DeviceDirectory: {
            const std::string device = Const::getDeviceLicenseModeDirectoryPath();
            const EntryKind kind = entryKind(device);
            if (kind != EntryKind::Missing && kind != EntryKind::Directory) {
                return "non-directory item exists: " + device;
            }
            if (std::optional<std::string> reason =
                    unwritable(Const::underTargetRoot("/Library"))) {
                return "installation failure: create directory: " + device + " (" + *reason + ")";
            }
            return std::nullopt;
        }
        case Id::Generation: {
            for (const std::string& folder : {Const::appBaseDirectoryPath(), generation_}) {
                if (std::optional<std::string> failure = notAFolder(folder)) {
                    return failure;
                }
            }
            if (std::optional<std::string> reason =
                    unwritable(Const::underTargetRoot("/Applications"))) {
                return "installation failure: create directory: " + generation_ + " (" + *reason +
                       ")";
            }
            return std::nullopt;
        }
        case Id::HelpFile:
            return HelpFile::check();
        case Id::Link: {
            // A real folder where the link belongs is not the installer's to replace.
            const std::string link = Const::symbolicLinkPath();
            if (entryKind(link) == EntryKind::Directory) {
                return "installation failure: link to applications: " + link +
                       " is a folder, not a link";
            }
            return std::nullopt;
        }
        case Id::LaunchAgent: {
            const std::string agents = parentOf(Const::applicationLaunchAgentPlistPath());
            const EntryKind kind = entryKind(agents);
            if (kind != EntryKind::Missing && kind != EntryKind::Directory) {
                return "installation failure: launch agent: " +
                       Const::applicationLaunchAgentPlistPath() + " (" + agents + " is " +
                       entryKindName(kind) + ")";
            }
            return std::nullopt;
        }
        default:
            return std::nullopt;
    }
}

std::optional<std::string> InstallationSteps::preflight() const {
    if (std::optional<std::string> defect = BundleCheck::defect(bundle_)) {
        return defect;
    }
    for (const std::vector<Id>& part : {preparation(), finalisation()}) {
        for (Id id : part) {
            if (std::optional<std::string> failure = check(id)) {
                return failure;
            }
            // The payload is measured against the volume once, here, not at each take.
            if (id == Id::Generation) {
                if (std::optional<std::string> shortfall = FreeSpace::check(payload())) {
                    return shortfall;
                }
            }
        }
    }
    return std::nullopt;
}

bool InstallationSteps::take(const std::vector<Id>& ids, const InstallationContext& context,
                             const std::function<bool(Id)>& apply) const {
    for (Id id : ids) {
        if (std::optional<std::string> failure = check(id)) {
            context.performSegueToInstallFailure(FailureCode::kInstallation, *failure);
            return false;
        }
        if (!apply(id)) {
            return false;
        }
    }
    return true;
}

std::vector<InstallationSteps::Action> InstallationSteps::actions() const {
    std::vector<Action> plan;
    for (const std::vector<Id>& part : {preparation(), finalisation()}) {
        for (Id id : part) {
            describe(id, plan);
        }
    }
    plan.push_back({"reload", Const::applicationLaunchAgentPlistPath(), "launchctl unload, load"});
    return plan;
}

const Payload& InstallationSteps::payload() const {
    if (!payload_) {
        payload_.emplace(bundle_, generation_);
    }
    return *payload_;
}

void InstallationSteps::describe(Id id, std::vector<Action>& plan) const {
    const std::string generation = withoutTrailingSlashes(generation_);
    const std::string aside = generation + Const::kDestinationDirectorySuffix;
    const bool installed = entryKind(generation) == EntryKind::Directory;
    const bool hadHelpFile = entryKind(HelpFile::destinationPath()) != EntryKind::Missing;
    switch (id) {
        case Id::RemoveMovedAside:
            for (const std::string& path : Const::movedAsideGenerationPaths()) {
                plan.push_back({"remove", path, "generation moved aside earlier"});
            }
            break;
        case Id::MoveAside:
            if (installed) {
                plan.push_back({"move aside", generation, "to " + aside});
            }
            break;
        case Id::RemoveUserConfiguration:
            for (const std::string& path : Const::allUserDirectoryPlistPaths()) {
                plan.push_back({"remove", path, "user configuration of an earlier installation"});
            }
            break;
        case Id::DeviceDirectory: {
            const std::string device = Const::getDeviceLicenseModeDirectoryPath();
            plan.push_back({entryKind(device) == EntryKind::Directory ? "set access" : "create",
                            device,
                            InstalledAccess::plan(InstalledAccess::deviceDirectory(), 'd')});
            break;
        }
        case Id::HelpFile:
            if (hadHelpFile) {
                plan.push_back(
                    {"move aside", HelpFile::destinationPath(), "to " + HelpFile::backupPath()});
            }
            plan.push_back(
                {"copy", HelpFile::destinationPath(),
                 "help file, " + InstalledAccess::plan(InstalledAccess::sharedFile(), '-')});
            break;
        case Id::Generation: {
            for (const Payload::Item& item : payload().items()) {
                if (item.source && item.target.starts_with(generation_)) {
                    plan.push_back({"copy", item.target, sizeText(item.bytes, item.files)});
                }
            }
            break;
        }
        case Id::OwnGeneration:
            plan.push_back({"set owner", generation, "root:admin, everything inside"});
            break;
        case Id::StopApplication:
            for (const std::string& process : RunningApplications::list()) {
                plan.push_back({"stop", process, "SIGTERM, then SIGKILL after one second"});
            }
            break;
        case Id::OfflineFlag: {
            const std::string flag = Const::getDeviceOfflineFlagFilePath();
            const EntryKind kind = entryKind(flag);
            if (!isOverwrite_) {
                plan.push_back(
                    {"create", flag, InstalledAccess::plan(InstalledAccess::sharedFile(), '-')});
            } else if (kind != EntryKind::Missing && kind != EntryKind::File) {
                plan.push_back({"replace", flag,
                                std::string(entryKindName(kind)) + " there, " +
                                    InstalledAccess::plan(InstalledAccess::sharedFile(), '-')});
            }
            break;
        }
        case Id::Link:
            plan.push_back(
                {"link", Const::symbolicLinkPath(),
                 "to " + InstallationCheck::expectedLinkText(bundle_.shortVersionString())});
            break;
        case Id::RemoveOtherGenerations: {
            // Those moved aside earlier are gone by then; this version's is moved aside first.
            const std::vector<std::string> earlier = Const::movedAsideGenerationPaths();
            for (const std::string& path : Const::otherGenerationPaths(generation)) {
                if (std::find(earlier.begin(), earlier.end(), path) == earlier.end()) {
                    plan.push_back({"remove", path, "other generation"});
                }
            }
            if (installed) {
                plan.push_back({"remove", aside, "this version's previous copy"});
            }
            break;
        }
        case Id::RemoveOldHelpFile:
            if (hadHelpFile) {
                plan.push_back({"remove", HelpFile::backupPath(), "the previous help file"});
            }
            break;
        case Id::LaunchAgent:
            plan.push_back(
                {"copy", Const::applicationLaunchAgentPlistPath(),
                 "agent, " + InstalledAccess::plan(InstalledAccess::launchAgent(), '-')});
            break;
        case Id::LogModeScripts:
        case Id::Durable:
        case Id::PointOfNoReturn:
            break;
    }
}

}  // namespace vela
