#pragma once

#include <QObject>

#include <mutex>
#include <optional>
#include <string>

#include "Bundle.h"
#include "Failure.h"
#include "InstallationView.h"

namespace vela {

/// The state one installation run shares between its parts (preparation, copies, device
/// directory, help file, offline flag, finalisation, rollback). Lives on the main thread.
class InstallationContext {
public:
    /// `view` none: a repair, which has no page; its failure is only kept as a value.
    /// `mainContext` none: reports go to the view at once (outside any event loop).
    /// `version` names the generation when it is not the bundle's own (a repair of a run of
    /// another installer).
    InstallationContext(InstallationView* view, const Bundle& bundle, bool isOverwrite,
                        QObject* mainContext,
                        const std::optional<std::string>& version = std::nullopt);

    /// The run's page; only a run that has one asks for it.
    InstallationView& view() const { return *view_; }
    /// Main thread. The page's Cancel button, when there is a page.
    void setCancelEnabled(bool enabled) const {
        if (view_ != nullptr) {
            view_->setCancelEnabled(enabled);
        }
    }
    const Bundle& bundle() const { return bundle_; }
    QObject* mainContext() const { return mainContext_; }
    bool isOverwrite() const { return isOverwrite_; }

    /// The generation being installed; always ends in "/".
    const std::string& destDirectoryPath() const { return destDirectoryPath_; }
    /// Where the same-version generation is moved aside: the generation's path with ".old".
    const std::string& destOldDirectoryPath() const { return destOldDirectoryPath_; }

    /// The first failure reported in this run, none while there is none. Any thread.
    std::optional<Failure> failure() const;

    /// "YES" once the user asked to cancel, else "NO" (for trace lines).
    const char* cancelWord() const {
        return view_ != nullptr && view_->isCancelRequested() ? "YES" : "NO";
    }

    /// Any thread. Logs "code=..., message=..." at ERROR with the failure's text, keeps the first
    /// failure as the run's and moves to the failure page on the main thread. Callers stop (or,
    /// where the run deliberately goes on, go on) themselves.
    void performSegueToInstallFailure(const Failure& failure) const;
    /// Any thread. Performs `identifier` on the main thread after the events queued so far.
    void performSegue(const std::string& identifier) const;

private:
    void post(Transition transition) const;

    InstallationView* view_;
    const Bundle& bundle_;
    bool isOverwrite_;
    QObject* mainContext_;
    std::string destDirectoryPath_;
    std::string destOldDirectoryPath_;
    mutable std::mutex mutex_;
    mutable std::optional<Failure> failure_;
};

}  // namespace vela
