#pragma once

#include <QObject>

#include <atomic>
#include <functional>

#include "DeviceDirectory.h"
#include "FileCopyUtil.h"
#include "Finalisation.h"
#include "HelpFile.h"
#include "InstallationContext.h"
#include "OfflineFlag.h"
#include "Rollback.h"

namespace vela {

/// One installation: prepares the destination, copies the application and then the uninstaller
/// in the background, finalises, and undoes itself on Cancel. Reports to its view; lives on the
/// main thread, which must run a Qt event loop.
class InstallationRun : public QObject, private FileCopyUtilDelegate {
public:
    /// `runEnded` is called on the main thread once the run has nothing more to do: it stopped
    /// in the preparation, finalised, or saw the cancellation.
    InstallationRun(InstallationView& view, const Bundle& bundle, bool isOverwrite,
                    std::function<void()> runEnded = {});
    ~InstallationRun() override;

    /// Progress 0 and the Cancel button enabled exactly in an overwrite.
    void load();
    /// Main thread: the preparation, then the start of the application copy.
    void start();
    /// Main thread: the user clicked Cancel.
    void cancelButtonClicked();

    float progress() const { return progress_; }
    const InstallationContext& context() const { return context_; }

private:
    void setCopyProgress(float fraction) override;
    void didFinishedCopyWithError(std::error_code error) override;
    bool moveSameVersionAside();
    void removeStaleUserConfiguration() const;
    void copyUninstaller();
    void endRun();

    InstallationContext context_;
    FileCopyUtil fileCopyUtil_;
    DeviceDirectory deviceDirectory_;
    HelpFile helpFile_;
    OfflineFlag offlineFlag_;
    Rollback rollback_;
    Finalisation finalisation_;
    std::function<void()> runEnded_;
    std::atomic<bool> isAppCopyFinished_{false};
    float progress_ = 0;
};

}  // namespace vela
