#include "CustomSegue.h"

#include "BaseViewController.h"
#include "Log.h"
#include "WizardWindow.h"
#include "platform/ThreadTag.h"

namespace vela {

namespace {

std::string storyboardIdOf(const BaseViewController* controller) {
    return controller ? controller->identifier().toStdString() : std::string("unknown");
}

}  // namespace

CustomSegue::CustomSegue(QString identifier, BaseViewController* source,
                         std::unique_ptr<BaseViewController> destination)
    : identifier_(std::move(identifier)), source_(source), destination_(std::move(destination)) {}

CustomSegue::~CustomSegue() = default;

void CustomSegue::perform() {
    DTrace("start");
    const std::string sourceId = storyboardIdOf(source_);
    const std::string destinationId = storyboardIdOf(destination_.get());
    WizardWindow* window = source_ ? source_->wizardWindow() : nullptr;
    if (destination_ && window) {
        window->setContentViewController(std::move(destination_));
    }
    DTrace("svc: [%s]: dvc: [%s]", sourceId.c_str(), destinationId.c_str());
    if (destinationId == "unknown") {
        ILog(
            "The segue performed: %s:%ld: The source storyboardID: %s: The destination "
            "storyboard ID: unknown",
            isMainThread() ? "main" : "sub", currentThreadIdentity(), sourceId.c_str());
    }
    DTrace("end");
}

}  // namespace vela
