#include "InstallationRun.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Commands.h"
#include "Const.h"
#include "InstallationView.h"
#include "Log.h"
#include "MainQueue.h"
#include "SafeFiles.h"
#include "SystemPath.h"

namespace vela {

namespace {

std::string bundleNamed(const char* name) {
    return std::string(name) + "." + Const::kAppFileType;
}

}  // namespace

InstallationRun::InstallationRun(InstallationView& view, const Bundle& bundle, bool isOverwrite,
                                 std::function<void()> runEnded)
    : context_(&view, bundle, isOverwrite, this),
      steps_(bundle, isOverwrite, context_.destDirectoryPath()),
      fileCopyUtil_(this),
      deviceDirectory_(context_),
      helpFile_(context_),
      offlineFlag_(context_),
      rollback_(context_, fileCopyUtil_, record_),
      finalisation_(context_, offlineFlag_, record_),
      runEnded_(std::move(runEnded)) {}

InstallationRun::~InstallationRun() = default;

void InstallationRun::load() {
    DTrace("start");
    progress_ = 0;
    context_.view().setCancelEnabled(context_.isOverwrite());
    DTrace("end");
}

void InstallationRun::start() {
    if (cancelled_ || started_) {
        return;  // nothing starts after a Cancel
    }
    started_ = true;
    DTrace("start");
    ILog("Start Installation process");
    // Every step's check before any step changes anything: what would fail on this target
    // fails now, with nothing to undo.
    if (std::optional<std::string> failure = steps_.preflight()) {
        context_.performSegueToInstallFailure(FailureCode::kInstallation, *failure);
        endRun();
        return;
    }
    isAppCopyFinished_ = false;
    record_.begin(context_.isOverwrite(), orNull(context_.bundle().shortVersionString()));
    if (!steps_.take(steps_.preparation(), context_,
                     [this](InstallationSteps::Id id) { return apply(id); })) {
        failAndUndo();
        return;
    }
    std::optional<std::string> source =
        context_.bundle().pathForAuxiliaryExecutable(bundleNamed(Const::kClientAppName));
    std::string target = context_.destDirectoryPath() + bundleNamed(Const::kClientAppName);
    ILog("Copy %s to %s", orNull(source).c_str(), target.c_str());
    fileCopyUtil_.copyFileAtPath(source, target);
    if (!context_.isOverwrite()) {
        context_.view().setCancelEnabled(true);
    }
    DTrace("end");
}

bool InstallationRun::apply(InstallationSteps::Id id) {
    using Id = InstallationSteps::Id;
    switch (id) {
        case Id::RemoveMovedAside:
            return removeMovedAside();
        case Id::MoveAside:
            return moveSameVersionAside();
        case Id::RemoveUserConfiguration:
            removeStaleUserConfiguration();
            return true;
        case Id::DeviceDirectory:
            return deviceDirectory_.createDirectoryDeviceLicenseConfig(record_);
        case Id::HelpFile:
            return helpFile_.copyHelpFile(record_);
        case Id::Generation:
            return prepareGeneration();
        default:
            return true;  // the finalisation's
    }
}

void InstallationRun::failAndUndo() {
    context_.view().showUndoing(true);
    undoFailure_ = rollback_.undoAfterFailure();
    context_.view().showUndoing(false);
    endRun();
}

// The destination must be a directory of this run's own: made here, where nothing was (or
// where the previous generation was moved away from). The step's check has refused anything
// else at the name; a link planted since is never followed by the open below.
bool InstallationRun::prepareGeneration() {
    const std::string& destination = context_.destDirectoryPath();
    if (!context_.recordStep(record_, {UndoStep::CopyStarted, systemPathOf(destination), {}})) {
        return false;
    }
    UniqueFd directory;
    std::error_code ec = openOwnedDirectory(Const::underTargetRoot("/Applications"), destination,
                                            rootOnly(0755), directory);
    if (ec) {
        context_.performSegueToInstallFailure(
            FailureCode::kInstallation,
            stringWithFormat("installation failure: create directory: %s (%s)", destination.c_str(),
                             ec.message().c_str()));
        return false;
    }
    return true;
}

bool InstallationRun::removeMovedAside() {
    ILog("Generation rename processing ");
    for (const std::string& path : Const::movedAsideGenerationPaths()) {
        if (removeEntryTraced(__PRETTY_FUNCTION__, path)) {
            context_.performSegueToInstallFailure(
                FailureCode::kInstallation,
                stringWithFormat("removed failure: old moved folder: %s", path.c_str()));
            return false;
        }
        ILog("removed old moved folder: %s", path.c_str());
    }
    return true;
}

bool InstallationRun::moveSameVersionAside() {
    ILog("Rename the app generation folder for that version ");
    const std::string& destination = context_.destDirectoryPath();
    ILog("destOldDirectoryPath: %s", context_.destOldDirectoryPath().c_str());
    if (entryKind(destination) == EntryKind::Missing) {
        // Nothing of this version to move aside: the move finds no source and only traces.
        rollback_.renameDirectoryAtPath(destination, context_.destOldDirectoryPath());
        return true;
    }
    if (!context_.recordStep(record_, {UndoStep::MovedAside, systemPathOf(destination),
                                       systemPathOf(context_.destOldDirectoryPath())})) {
        return false;
    }
    // Nothing is copied over the previous generation when it could not be moved.
    if (std::optional<std::string> failure =
            rollback_.renameDirectoryAtPath(destination, context_.destOldDirectoryPath())) {
        context_.performSegueToInstallFailure(FailureCode::kInstallation, *failure);
        return false;
    }
    return true;
}

void InstallationRun::removeStaleUserConfiguration() const {
    const std::string users = Const::underTargetRoot("/Users");
    std::vector<std::string> paths = Const::allUserDirectoryPlistPaths();
    ILog("Configuration file counts = %d", static_cast<int>(paths.size()));
    for (const std::string& path : paths) {
        ILog("Searching plist: %s", path.c_str());
        if (std::optional<std::string> reason = removeUserFile(users, path)) {
            ILog("Left alone: %s (%s)", path.c_str(), reason->c_str());
        }
    }
}

// A user owns everything below their home and may have put a link anywhere on the way: the
// folder is reached from /Users one component at a time, never through a link, and only a
// plain file found there is removed. Why the file was left, when it was.
std::optional<std::string> InstallationRun::removeUserFile(const std::string& users,
                                                           const std::string& path) {
    const std::string folder = parentOf(path);
    UniqueFd directory;
    DirectoryWalk walk;
    walk.explain = true;
    std::error_code ec =
        folder.starts_with(users + "/")
            ? openDirectoryBelow(users, folder.substr(users.size() + 1), walk, directory)
            : std::make_error_code(std::errc::invalid_argument);
    const EntryKind kind = ec ? EntryKind::Missing : entryKindAt(directory.get(), nameOf(path));
    if (ec == std::errc::no_such_file_or_directory || (!ec && kind == EntryKind::Missing)) {
        return std::nullopt;  // gone meanwhile
    }
    if (ec) {
        return folder + ": " + ec.message();
    }
    if (kind != EntryKind::File) {
        return entryKindName(kind);
    }
    ILog("Found plist and removing: %s", path.c_str());
    if (::unlinkat(directory.get(), nameOf(path).c_str(), 0) != 0) {
        return std::strerror(errno);
    }
    return std::nullopt;
}

void InstallationRun::cancelButtonClicked() {
    if (!started_) {
        // Nothing has been touched yet, and nothing will be.
        cancelled_ = true;
        ILog("Start InstallationViewController cancelButtonClicked");
        context_.view().setCancelEnabled(false);
        ILog("Installation cancelled before it started; nothing was changed");
        ILog("End InstallationViewController cancelButtonClicked");
        InstallationView* view = &context_.view();
        runOnMainQueue(this, [view] { view->terminate(); });
        endRun();
        return;
    }
    if (ended_ || cancelled_) {
        return;
    }
    cancelled_ = true;
    undoFailure_ = rollback_.cancelButtonClicked();
    finishRecord();
}

void InstallationRun::setCopyProgress(float fraction) {
    progress_ = fraction * 50;
    if (isAppCopyFinished_) {
        progress_ += 50;
    }
    context_.view().showProgress(progress_);
}

void InstallationRun::didFinishedCopyWithError(std::error_code error) {
    DTrace("start: cancel=%s", context_.cancelWord());
    if (context_.view().isCancelRequested()) {
        const std::string& destination = context_.destDirectoryPath();
        DTrace("checking destination to copy in progress with cancel: %s", destination.c_str());
        if (fileExistsAtPath(destination)) {
            DTrace("remove destination to copy in progress with cancel: %s", destination.c_str());
            // Stays in the journal should it fail: the Cancel's undo says so.
            DTraceExecute(removalCommand("-rf", destination));
        }
        DTrace("end: cancel=%s", context_.cancelWord());
        runOnMainQueue(this, [this] { endRun(); });
        return;
    }
    if (error) {
        // Undone at once, before anything else can happen: a window closed or a signal received
        // from now on finds the previous state already back.
        context_.performSegueToInstallFailure(
            FailureCode::kInstallation,
            "Installation couldn't be completed: " + fileCopyUtil_.failure());
        runOnMainQueue(this, [this] { failAndUndo(); });
        DTrace("end: cancel=%s", context_.cancelWord());
        return;
    }
    if (isAppCopyFinished_) {
        DTrace("copied all modules");
        runOnMainQueue(this, [this] {
            const Finalisation::Result result = finalisation_.run();
            completed_ = result == Finalisation::Result::Completed;
            if (result == Finalisation::Result::Failed) {
                failAndUndo();
            }
            endRun();
        });
    } else {
        DTrace("copying uninstaller module");
        isAppCopyFinished_ = true;
        runOnMainQueue(this, [this] { copyUninstaller(); });
    }
    DTrace("end: cancel=%s", context_.cancelWord());
}

void InstallationRun::copyUninstaller() {
    DTrace("copying: cancel=%s", context_.cancelWord());
    if (context_.view().isCancelRequested()) {
        DTrace("cancel copying");
        endRun();
        return;
    }
    std::optional<std::string> source =
        context_.bundle().pathForAuxiliaryExecutable(bundleNamed(Const::kUninstallerName));
    std::string target = context_.destDirectoryPath() + bundleNamed(Const::kUninstallerName);
    ILog("Copy %s to %s", orNull(source).c_str(), target.c_str());
    fileCopyUtil_.copyFileAtPath(source, target);
}

InstallationRun::Result InstallationRun::result() const {
    using End = Result::End;
    Result result{
        End::Failed, context_.failure(), undoFailure_,
        record_.hasRecorded() && !completed_ && !undoFailure_ && record_.entries().empty()};
    if (undoFailure_) {
        return result;
    }
    if (result.failure) {
        result.end = record_.isPastPointOfNoReturn() ? End::Unfinished : End::Failed;
    } else if (cancelled_) {
        result.end = End::Cancelled;
    } else if (completed_) {
        result.end = End::Installed;
    }
    return result;
}

void InstallationRun::endRun() {
    if (ended_) {
        return;
    }
    ended_ = true;
    finishRecord();
    if (runEnded_) {
        runOnMainQueue(this, runEnded_);
    }
}

void InstallationRun::finishRecord() {
    // The journal goes once nothing of the run is left to undo or to complete: a failed undo
    // and a failure past the point of no return keep it for the next run or --recover.
    if (completed_ || record_.entries().empty()) {
        record_.finish();
    } else if (!journalKeptSaid_) {
        journalKeptSaid_ = true;
        ELog("The journal %s keeps what is left of this run: the next run or --recover %s it",
             UndoRecord::journalPath().c_str(),
             record_.isPastPointOfNoReturn() ? "completes" : "undoes");
    }
}

}  // namespace vela
