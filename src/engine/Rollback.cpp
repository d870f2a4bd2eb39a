#include "Rollback.h"

#include <QThread>

#include "Commands.h"
#include "Const.h"
#include "DeviceDirectory.h"
#include "HelpFile.h"
#include "InstallationView.h"
#include "Log.h"
#include "MainQueue.h"
#include "SafeFiles.h"
#include "ShellForm.h"

namespace vela {

void Rollback::cancelButtonClicked() const {
    ILog("Start InstallationViewController cancelButtonClicked");
    context_.view().setCancelEnabled(false);
    DTrace("start: cancel=%s", context_.cancelWord());
    QThread::msleep(1000);
    // The copy must have ended before anything is restored under the generation's name, or it
    // would go on writing into (and its completion would then remove) the restored generation.
    copier_.stopAndWait();
    undoRecorded(true);
    DTrace("end: cancel=%s", context_.cancelWord());
    ILog("End InstallationViewController cancelButtonClicked");
    InstallationView* view = &context_.view();
    runOnMainQueue(context_.mainContext(), [view] { view->terminate(); });
}

void Rollback::undoAfterFailure() const {
    DTrace("start");
    if (!record_.isPastPointOfNoReturn()) {
        ILog("Undo the installation after a failure");
        undoRecorded(false);
    }
    DTrace("end");
}

void Rollback::undoRecorded(bool cancelRoad) const {
    if (record_.isPastPointOfNoReturn()) {
        return;  // finished, never undone
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
        undo(entry);
        record_.dropLast();
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
}

void Rollback::undo(const UndoEntry& entry) const {
    const std::string path = Const::underTargetRoot(entry.path);
    switch (entry.step) {
        case UndoStep::CopyStarted:
            ILog("Remove application module: %s", path.c_str());
            removeEntryTraced(__PRETTY_FUNCTION__, path);
            break;
        case UndoStep::MovedAside:
            renameDirectoryAtPath(Const::underTargetRoot(entry.backup), path);
            break;
        case UndoStep::HelpFileReplaced:
            // A previous file that is no longer at its backup was never moved there, or has been
            // put back already: the file at the name is that previous one and stays.
            if (entry.backup.empty() ||
                entryKind(Const::underTargetRoot(entry.backup)) != EntryKind::Missing) {
                HelpFile::revertHelpFile();
            }
            break;
        case UndoStep::DeviceDirectoryCreated:
            DeviceDirectory::removeDirectoryDeviceLicenseConfig();
            break;
        case UndoStep::PointOfNoReturn:
            break;
    }
}

void Rollback::renameDirectoryAtPath(const std::string& source, const std::string& target) const {
    DTrace("start: src: [%s]: dst: [%s]", source.c_str(), target.c_str());
    // Only a real directory of the installer's own moves: a link planted under the source's
    // name is not ours, nor is anything a crafted name could reach outside the generations.
    if (isInstallerPath(source) && isInstallerPath(target) &&
        entryKind(source) == EntryKind::Directory) {
        removeEntryTraced(__PRETTY_FUNCTION__, target);
        if (entryKind(target) != EntryKind::Missing) {
            ILog("failure to clean : %s", target.c_str());
            context_.performSegueToInstallFailure(
                FailureCode::kInstallation, stringWithFormat("rename failure: %s", target.c_str()));
        } else {
            ILog("installer clean : %s", target.c_str());
        }
        DTraceExecute("mv " + shellForm(withoutTrailingSlash(source)) + " " +
                      shellForm(withoutTrailingSlash(target)));
        if (entryKind(target) == EntryKind::Directory) {
            ILog("installer rename : %s to %s", source.c_str(), target.c_str());
        } else {
            ILog("failure to rename : %s to %s", source.c_str(), target.c_str());
            context_.performSegueToInstallFailure(
                FailureCode::kInstallation, stringWithFormat("rename failure: %s", target.c_str()));
        }
    }
    DTrace("end");
}

}  // namespace vela
