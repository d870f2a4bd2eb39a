#pragma once

#include <QObject>

#include <atomic>
#include <optional>
#include <string>

#include "Bundle.h"
#include "InstallationView.h"
#include "UndoRecord.h"

namespace vela {

/// The state one installation run shares between its parts (preparation, copies, device
/// directory, help file, offline flag, finalisation, rollback). Lives on the main thread.
class InstallationContext {
public:
    /// `mainContext` none: reports go to the view at once (a repair, outside any event loop).
    /// `version` names the generation when it is not the bundle's own (a repair of a run of
    /// another installer).
    InstallationContext(InstallationView& view, const Bundle& bundle, bool isOverwrite,
                        QObject* mainContext,
                        const std::optional<std::string>& version = std::nullopt);

    InstallationView& view() const { return view_; }
    const Bundle& bundle() const { return bundle_; }
    QObject* mainContext() const { return mainContext_; }
    bool isOverwrite() const { return isOverwrite_; }

    /// The generation being installed; always ends in "/".
    const std::string& destDirectoryPath() const { return destDirectoryPath_; }
    /// Where the same-version generation is moved aside: the generation's path with ".old".
    const std::string& destOldDirectoryPath() const { return destOldDirectoryPath_; }

    /// Whether a failure has been reported in this run. Any thread.
    bool hasFailed() const { return failed_; }

    /// "YES" once the user asked to cancel, else "NO" (for trace lines).
    const char* cancelWord() const { return view_.isCancelRequested() ? "YES" : "NO"; }

    /// Any thread. Logs "code=..., message=..." at ERROR and moves to the failure page on the
    /// main thread. Callers stop (or, where the run deliberately goes on, go on) themselves.
    void performSegueToInstallFailure(const std::string& code, const std::string& message) const;
    /// Main thread. Records `entry` in `record` before its step is taken; when the journal cannot
    /// be written, reports the failure and returns false: the step must not be taken.
    bool recordStep(UndoRecord& record, UndoEntry entry) const;
    /// Any thread. Performs `identifier` on the main thread after the events queued so far.
    void performSegue(const std::string& identifier) const;

private:
    void post(Transition transition) const;

    InstallationView& view_;
    const Bundle& bundle_;
    bool isOverwrite_;
    QObject* mainContext_;
    std::string destDirectoryPath_;
    std::string destOldDirectoryPath_;
    mutable std::atomic<bool> failed_{false};
};

}  // namespace vela
