#include "InstallationSteps.h"

#include "BundleCheck.h"
#include "FreeSpace.h"

namespace vela {

InstallationSteps::InstallationSteps(const Bundle& bundle, bool isOverwrite, std::string generation)
    : bundle_(bundle), isOverwrite_(isOverwrite), generation_(std::move(generation)) {}

std::vector<StepId> InstallationSteps::preparation() const {
    std::vector<StepId> steps;
    if (isOverwrite_) {
        steps = {StepId::RemoveMovedAside, StepId::MoveAside};
    } else {
        steps = {StepId::RemoveUserConfiguration};
    }
    steps.insert(steps.end(), {StepId::DeviceDirectory, StepId::HelpFile, StepId::Generation});
    return steps;
}

std::vector<StepId> InstallationSteps::finalisation() const {
    std::vector<StepId> steps = {StepId::LogModeScripts, StepId::OwnGeneration};
    if (isOverwrite_) {
        steps.push_back(StepId::StopApplication);
    }
    steps.insert(steps.end(), {StepId::OfflineFlag, StepId::Durable, StepId::PointOfNoReturn});
    for (StepId id : pastPointOfNoReturn()) {
        steps.push_back(id);
    }
    return steps;
}

std::vector<StepId> InstallationSteps::pastPointOfNoReturn() const {
    std::vector<StepId> steps = {StepId::Link};
    if (isOverwrite_) {
        steps.push_back(StepId::RemoveOtherGenerations);
    }
    // "Installed" means on the disk: the link, the removals, the agent.
    steps.insert(steps.end(), {StepId::RemoveOldHelpFile, StepId::LaunchAgent, StepId::Durable});
    return steps;
}

std::vector<StepId> InstallationSteps::all() const {
    std::vector<StepId> steps = preparation();
    for (StepId id : finalisation()) {
        steps.push_back(id);
    }
    return steps;
}

StepFailure InstallationSteps::preflight() const {
    if (std::optional<std::string> defect = BundleCheck::defect(bundle_)) {
        return Failure{*defect};
    }
    for (StepId id : all()) {
        const StepRow& row = stepRow(id);
        if (StepFailure failure = row.check ? row.check(*this) : std::nullopt) {
            return failure;
        }
    }
    return std::nullopt;
}

std::vector<PlanLine> InstallationSteps::actions() const {
    std::vector<PlanLine> plan;
    for (StepId id : all()) {
        const StepRow& row = stepRow(id);
        const std::size_t first = plan.size();
        if (row.describe) {
            row.describe(*this, plan);
        }
        for (std::size_t line = first; line < plan.size(); ++line) {
            plan[line].step = row.name;
        }
    }
    return plan;
}

const Payload& InstallationSteps::payload() const {
    if (!payload_) {
        payload_.emplace(bundle_, generation_);
    }
    return *payload_;
}

const StepFailure& InstallationSteps::freeSpace() const {
    if (!freeSpace_) {
        const std::optional<std::string> shortfall = FreeSpace::check(payload());
        freeSpace_ = shortfall ? StepFailure(Failure{*shortfall}) : std::nullopt;
    }
    return *freeSpace_;
}

}  // namespace vela
