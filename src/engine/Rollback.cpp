#include "Rollback.h"

#include <QThread>

#include "Commands.h"
#include "Const.h"
#include "DeviceDirectory.h"
#include "HelpFile.h"
#include "InstallationView.h"
#include "Log.h"
#include "MainQueue.h"
#include "OfflineFlag.h"
#include "SafeFiles.h"
#include "ShellForm.h"
#include "SystemPath.h"

namespace vela {

std::optional<std::string> Rollback::cancelButtonClicked() const {
    ILog("Start InstallationViewController cancelButtonClicked");
    context_.view().setCancelEnabled(false);
    DTrace("start: cancel=%s", context_.cancelWord());
    QThread::msleep(1000);
    // The copy must have ended before anything is restored under the generation's name, or it
    // would go on writing into (and its completion would then remove) the restored generation.
    copier_.stopAndWait();
    std::optional<std::string> failure = undoRecorded(true);
    DTrace("end: cancel=%s", context_.cancelWord());
    ILog("End InstallationViewController cancelButtonClicked");
    if (failure) {
        context_.performSegueToInstallFailure(FailureCode::kInstallation, *failure);
        return failure;
    }
    InstallationView* view = &context_.view();
    runOnMainQueue(context_.mainContext(), [view] { view->terminate(); });
    return std::nullopt;
}

std::optional<std::string> Rollback::undoAfterFailure() const {
    DTrace("start");
    std::optional<std::string> failure;
    if (!record_.isPastPointOfNoReturn()) {
        ILog("Undo the installation after a failure");
        failure = undoRecorded(false);
        if (failure) {
            ELog("%s", failure->c_str());
        }
    }
    DTrace("end");
    return failure;
}

std::optional<std::string> Rollback::undoRecorded(bool cancelRoad) const {
    if (record_.isPastPointOfNoReturn()) {
        return std::nullopt;  // finished, never undone
    }
    bool announced = !cancelRoad;
    auto announce = [this, &announced] {
        if (!announced) {
            DTrace(record_.isOverwrite() ? "cancelation with over write"
                                         : "cancelation with new installation");
            announced = true;
        }
    };
    const bool movedAside = record_.find(UndoStep::MovedAside) != nullptr;
    while (!record_.entries().empty()) {
        const UndoEntry entry = record_.entries().back();
        if (entry.step != UndoStep::CopyStarted) {
            announce();
        }
        if (std::optional<std::string> failure = undo(entry)) {
            return "the undo failed: " + *failure;
        }
        // The journal forgets a step only once its undo is on the disk.
        if (std::optional<std::string> failure = syncTarget()) {
            return "the undo failed: sync: " + *failure;
        }
        if (std::string error; !record_.dropLast(&error)) {
            return "the undo failed: " + error;
        }
    }
    announce();
    if (cancelRoad && record_.isOverwrite() && !movedAside) {
        // Nothing was moved aside (an update over another version): the move back finds no
        // source and only traces.
        renameDirectoryAtPath(context_.destOldDirectoryPath(), context_.destDirectoryPath());
    }
    if (cancelRoad && !record_.isOverwrite()) {
        // A new installation places the link and the agent only past its point of no return;
        // before it there is nothing of this run's to remove under those names.
        DTrace("cancelation: removing link");
        DTrace("cancelation: removing LaunchControl file");
    }
    return std::nullopt;
}

std::optional<std::string> Rollback::undo(const UndoEntry& entry) const {
    const std::string path = Const::underTargetRoot(entry.path);
    switch (entry.step) {
        case UndoStep::CopyStarted: {
            // The name holds this run's half copy only while the previous generation is still
            // aside; once that is back in its place, the name is the previous version's.
            const UndoEntry* aside = record_.find(UndoStep::MovedAside);
            if (aside != nullptr && aside->path == entry.path &&
                entryKind(Const::underTargetRoot(aside->backup)) == EntryKind::Missing) {
                ILog("Kept %s: the previous generation is back in its place", path.c_str());
                return std::nullopt;
            }
            ILog("Remove application module: %s", path.c_str());
            return removeEntryTraced(__PRETTY_FUNCTION__, path);
        }
        case UndoStep::MovedAside:
            return renameDirectoryAtPath(Const::underTargetRoot(entry.backup), path);
        case UndoStep::HelpFileReplaced:
            return HelpFile::revertHelpFile(!entry.backup.empty());
        case UndoStep::DeviceDirectoryCreated:
            return DeviceDirectory::removeDirectoryDeviceLicenseConfig();
        case UndoStep::OfflineFlagCreated:
            return OfflineFlag::removeDeviceOfflineFlagFile();
        case UndoStep::PointOfNoReturn:
            return std::nullopt;
    }
    return std::nullopt;
}

std::optional<std::string> Rollback::renameDirectoryAtPath(const std::string& source,
                                                           const std::string& target) const {
    DTrace("start: src: [%s]: dst: [%s]", source.c_str(), target.c_str());
    std::optional<std::string> failure;
    // Only a real directory of the installer's own moves: a link planted under the source's
    // name is not ours, nor is anything a crafted name could reach outside the generations.
    if (isInstallerPath(source) && isInstallerPath(target) &&
        entryKind(source) == EntryKind::Directory) {
        // A target that survives its clean is never moved into: mv would put the source inside
        // it and the move would look done.
        if (removeEntryTraced(__PRETTY_FUNCTION__, target)) {
            ILog("failure to clean : %s", target.c_str());
            failure = stringWithFormat("rename failure: %s", target.c_str());
        } else {
            ILog("installer clean : %s", target.c_str());
            DTraceExecute("mv " + shellForm(withoutTrailingSlashes(source)) + " " +
                          shellForm(withoutTrailingSlashes(target)));
            if (entryKind(target) == EntryKind::Directory &&
                entryKind(source) == EntryKind::Missing) {
                ILog("installer rename : %s to %s", source.c_str(), target.c_str());
            } else {
                ILog("failure to rename : %s to %s", source.c_str(), target.c_str());
                failure = stringWithFormat("rename failure: %s", target.c_str());
            }
        }
    }
    DTrace("end");
    return failure;
}

}  // namespace vela
