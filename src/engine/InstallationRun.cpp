#include "InstallationRun.h"

#include <filesystem>

#include "Commands.h"
#include "Const.h"
#include "FreeSpace.h"
#include "Log.h"
#include "MainQueue.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

std::string bundleNamed(const char* name) {
    return std::string(name) + "." + Const::kAppFileType;
}

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

InstallationRun::InstallationRun(InstallationView& view, const Bundle& bundle, bool isOverwrite,
                                 std::function<void()> runEnded)
    : context_(view, bundle, isOverwrite, this),
      fileCopyUtil_(this),
      deviceDirectory_(context_),
      helpFile_(context_),
      offlineFlag_(context_),
      rollback_(context_, fileCopyUtil_, deviceDirectory_, helpFile_),
      finalisation_(context_, offlineFlag_, rollback_),
      runEnded_(std::move(runEnded)) {}

InstallationRun::~InstallationRun() = default;

void InstallationRun::load() {
    DTrace("start");
    progress_ = 0;
    context_.view().setCancelEnabled(context_.isOverwrite());
    DTrace("end");
}

void InstallationRun::start() {
    DTrace("start");
    ILog("Start Installation process");
    if (!FreeSpace::checkBeforeInstallation(context_)) {
        endRun();
        return;
    }
    isAppCopyFinished_ = false;
    if (context_.isOverwrite()) {
        if (!moveSameVersionAside()) {
            endRun();
            return;
        }
    } else {
        removeStaleUserConfiguration();
    }
    if (!deviceDirectory_.createDirectoryDeviceLicenseConfig() || !helpFile_.copyHelpFile()) {
        rollback_.undoAfterFailure();
        endRun();
        return;
    }
    std::optional<std::string> source =
        context_.bundle().pathForAuxiliaryExecutable(bundleNamed(Const::kClientAppName));
    std::string target = context_.destDirectoryPath() + bundleNamed(Const::kClientAppName);
    ILog("Copy %s to %s", orNull(source).c_str(), target.c_str());
    context_.setCopyStarted();
    fileCopyUtil_.copyFileAtPath(source, target);
    if (!context_.isOverwrite()) {
        context_.view().setCancelEnabled(true);
    }
    DTrace("end");
}

bool InstallationRun::moveSameVersionAside() {
    ILog("Generation rename processing ");
    for (const std::string& name : Const::applicationDirectoryPrefixEnumerate()) {
        std::string path = Const::appBaseDirectoryPath() + "/" + name;
        if (!endsWith(path, Const::kDestinationDirectorySuffix)) {
            continue;
        }
        DTraceRemoval("-rf", path);
        if (fileExistsAtPath(path)) {
            context_.performSegueToInstallFailure(
                "MSG_E3001",
                stringWithFormat("removed failure: old moved folder: %s", path.c_str()));
            return false;
        }
        ILog("removed old moved folder: %s", path.c_str());
    }
    ILog("Rename the app generation folder for that version ");
    const std::string& destination = context_.destDirectoryPath();
    context_.setDestOldDirectoryPath(destination.substr(0, destination.size() - 1) +
                                     Const::kDestinationDirectorySuffix + "/");
    ILog("destOldDirectoryPath: %s", context_.destOldDirectoryPath().c_str());
    // A failed move has been reported inside; the preparation goes on regardless.
    rollback_.renameDirectoryAtPath(destination, context_.destOldDirectoryPath());
    context_.setMovedAside(!fileExistsAtPath(destination) &&
                           fileExistsAtPath(context_.destOldDirectoryPath()));
    return true;
}

void InstallationRun::removeStaleUserConfiguration() const {
    std::vector<std::string> paths = Const::allUserDirectoryPlistPaths();
    ILog("Configuration file counts = %d", static_cast<int>(paths.size()));
    for (const std::string& path : paths) {
        ILog("Searching plist: %s", path.c_str());
        if (fileExistsAtPath(path)) {
            ILog("Found plist and removing: %s", path.c_str());
            std::error_code ignored;
            fs::remove(path, ignored);
        }
    }
}

void InstallationRun::cancelButtonClicked() {
    rollback_.cancelButtonClicked();
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
            DTraceExecute(removalCommand("-rf", destination));
        }
        DTrace("end: cancel=%s", context_.cancelWord());
        runOnMainQueue(this, [this] { endRun(); });
        return;
    }
    if (error) {
        // The chain goes on after a failed copy, deliberately; only the first page change counts.
        context_.performSegueToInstallFailure("MSG_E3001", "Installation couldn't be completed");
    }
    if (isAppCopyFinished_) {
        DTrace("copied all modules");
        runOnMainQueue(this, [this] {
            finalisation_.run();
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

void InstallationRun::endRun() {
    if (runEnded_) {
        runOnMainQueue(this, runEnded_);
    }
}

}  // namespace vela
