#include "InstallationContext.h"

#include "Const.h"
#include "InstallationView.h"
#include "Log.h"
#include "MainQueue.h"

namespace vela {

InstallationContext::InstallationContext(InstallationView* view, const Bundle& bundle,
                                         bool isOverwrite, QObject* mainContext,
                                         const std::optional<std::string>& version)
    : view_(view),
      bundle_(bundle),
      isOverwrite_(isOverwrite),
      mainContext_(mainContext),
      destDirectoryPath_(Const::applicationDirectoryPathWithVersion(
          version ? version : bundle.shortVersionString())) {
    destOldDirectoryPath_ = destDirectoryPath_.substr(0, destDirectoryPath_.size() - 1) +
                            Const::kDestinationDirectorySuffix + "/";
}

void InstallationContext::performSegueToInstallFailure(const Failure& failure) const {
    const std::string message = failure.text();
    ELog("code=%s, message=%s", failure.code.c_str(), message.c_str());
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!failure_) {
            failure_ = failure;
        }
    }
    post(Transition{Segue::kToInstallFailure, failure.code, message});
}

std::optional<Failure> InstallationContext::failure() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return failure_;
}

void InstallationContext::performSegue(const std::string& identifier) const {
    post(Transition{identifier, {}, {}});
}

void InstallationContext::post(Transition transition) const {
    InstallationView* view = view_;
    if (view == nullptr) {
        return;
    }
    if (mainContext_ == nullptr) {
        view->performSegue(transition);
        return;
    }
    runOnMainQueue(mainContext_,
                   [view, transition = std::move(transition)] { view->performSegue(transition); });
}

}  // namespace vela
