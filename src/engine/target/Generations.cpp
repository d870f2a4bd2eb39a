#include "Generations.h"

#include "Commands.h"
#include "Const.h"
#include "FileCopyUtil.h"
#include "Log.h"
#include "SafeFiles.h"
#include "ShellExecute.h"
#include "ShellForm.h"
#include "SystemPath.h"

namespace vela {

namespace {

// A name where the installer makes a folder holds nothing but a folder.
StepFailure notAFolder(const std::string& path) {
    const EntryKind kind = entryKind(path);
    if (kind == EntryKind::Missing || kind == EntryKind::Directory) {
        return std::nullopt;
    }
    return Failure{"installation failure: not a directory", path, entryKindName(kind)};
}

}  // namespace

StepFailure Generations::check(const std::string& generation) {
    for (const std::string& folder : {Const::appBaseDirectoryPath(), generation}) {
        if (StepFailure failure = notAFolder(folder)) {
            return failure;
        }
    }
    if (std::optional<std::string> reason = unwritable(Const::underTargetRoot("/Applications"))) {
        return Failure{"installation failure: create directory", generation, *reason};
    }
    return std::nullopt;
}

StepFailure Generations::checkLink() {
    const std::string link = Const::symbolicLinkPath();
    if (entryKind(link) == EntryKind::Directory) {
        return Failure{"installation failure: link to applications", link, "a folder, not a link"};
    }
    return std::nullopt;
}

StepFailure Generations::removeMovedAside() {
    ILog("Generation rename processing ");
    for (const std::string& path : Const::movedAsideGenerationPaths()) {
        if (StepFailure failure = removeEntryTraced(__PRETTY_FUNCTION__, path)) {
            return Failure{"removed failure: old moved folder", path, failure->reason};
        }
        ILog("removed old moved folder: %s", path.c_str());
    }
    return std::nullopt;
}

StepFailure Generations::moveAside(const std::string& generation, const std::string& aside) {
    ILog("Rename the app generation folder for that version ");
    ILog("destOldDirectoryPath: %s", aside.c_str());
    // Nothing is copied over the previous generation when it could not be moved; with nothing
    // of this version to move, the move finds no source and only traces.
    return renameDirectoryAtPath(generation, aside);
}

StepFailure Generations::renameDirectoryAtPath(const std::string& source,
                                               const std::string& target) {
    DTrace("start: src: [%s]: dst: [%s]", source.c_str(), target.c_str());
    StepFailure failure;
    // Only a real directory of the installer's own moves: a link planted under the source's
    // name is not ours, nor is anything a crafted name could reach outside the generations.
    if (isInstallerPath(source) && isInstallerPath(target) &&
        entryKind(source) == EntryKind::Directory) {
        // A target that survives its clean is never moved into: mv would put the source inside
        // it and the move would look done.
        if (StepFailure left = removeEntryTraced(__PRETTY_FUNCTION__, target)) {
            ILog("failure to clean : %s", target.c_str());
            failure = Failure{"rename failure", target, left->reason};
        } else {
            ILog("installer clean : %s", target.c_str());
            DTraceExecute("mv " + shellForm(withoutTrailingSlashes(source)) + " " +
                          shellForm(withoutTrailingSlashes(target)));
            if (entryKind(target) == EntryKind::Directory &&
                entryKind(source) == EntryKind::Missing) {
                ILog("installer rename : %s to %s", source.c_str(), target.c_str());
            } else {
                ILog("failure to rename : %s to %s", source.c_str(), target.c_str());
                failure = Failure{"rename failure", target};
            }
        }
    }
    DTrace("end");
    return failure;
}

// The destination must be a directory of this run's own: made here, where nothing was (or
// where the previous generation was moved away from). The step's check has refused anything
// else at the name; a link planted since is never followed by the open below.
StepFailure Generations::create(const std::string& generation) {
    UniqueFd directory;
    if (std::error_code ec = openOwnedDirectory(Const::underTargetRoot("/Applications"), generation,
                                                rootOnly(0755), directory)) {
        return Failure::ofError("installation failure: create directory", generation, ec);
    }
    return std::nullopt;
}

StepFailure Generations::copyLogModeScripts(const Payload& payload, const std::string& generation) {
    for (const Payload::Item& item : payload.items()) {
        if (item.isBundle || !item.target.starts_with(generation)) {
            continue;
        }
        const std::string& target = item.target;
        ILog("Copy %s to %s", orNull(item.source).c_str(), target.c_str());
        if (std::error_code ec = FileCopyUtil::syncCopyAtPath(item.source, target)) {
            // The same text as a failed termination, deliberately: users see one message.
            return Failure{
                "installation failure: exit application", {}, target + ": " + ec.message()};
        }
    }
    return std::nullopt;
}

StepFailure Generations::ownGeneration(const std::string& generation) {
    const std::string command = "chown -R root:admin " + shellForm(generation);
    traceLog(__PRETTY_FUNCTION__, "command execute: %s", command.c_str());
    // Silent when it worked; no text at all when it could not even start.
    const std::optional<std::string> said = ShellExecute::execute(command);
    if (said && said->empty()) {
        return std::nullopt;
    }
    return Failure{"installation failure: set owner", generation,
                   said ? trimmingNewlines(*said) : "the command could not start"};
}

StepFailure Generations::removeOtherGenerations(const std::string& generation) {
    ILog("Removing Other generations ");
    for (const std::string& other : Const::otherGenerationPaths(generation)) {
        const std::string path = other + "/";
        DTraceRemoval("-rf", path);
        if (entryKind(path) != EntryKind::Missing) {
            return Failure{"installation failure: updater", path};
        }
        ILog("installer removed updater: %s", path.c_str());
    }
    return std::nullopt;
}

StepFailure Generations::renewLink(const std::string& generation) {
    ILog("Removing link to applications");
    const std::string link = Const::symbolicLinkPath();
    // Replaced in one rename, never removed first: a failure leaves the previous link whole.
    // It names the generation as the system booted from the target volume sees it.
    UniqueFd base;
    std::error_code ec = openOwnedDirectory(Const::underTargetRoot("/Applications"), parentOf(link),
                                            rootOnly(0755), base, nullptr, /*ownExisting=*/false);
    if (!ec) {
        ec = replaceWithLink(base.get(), nameOf(link), systemPathOf(generation));
    }
    if (ec) {
        return Failure::ofError("installation failure: link to applications", link, ec);
    }
    ILog("installer removed link to applications: %s", link.c_str());
    ILog("installer created link to applications: %s", link.c_str());
    return std::nullopt;
}

}  // namespace vela
