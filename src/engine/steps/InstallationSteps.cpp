#include "InstallationSteps.h"

#include "BundleCheck.h"
#include "FreeSpace.h"

namespace vela {

InstallationSteps::InstallationSteps(const Bundle& bundle, bool isOverwrite, std::string generation)
    : bundle_(bundle), isOverwrite_(isOverwrite), generation_(std::move(generation)) {}

std::vector<StepId> InstallationSteps::preparation() const {
    std::vector<Id> steps;
    if (isOverwrite_) {
        steps = {Id::RemoveMovedAside, Id::MoveAside};
    } else {
        steps = {Id::RemoveUserConfiguration};
    }
    steps.insert(steps.end(), {Id::DeviceDirectory, Id::HelpFile, Id::Generation});
    return steps;
}

std::vector<StepId> InstallationSteps::finalisation() const {
    std::vector<Id> steps = {Id::LogModeScripts, Id::OwnGeneration};
    if (isOverwrite_) {
        steps.push_back(Id::StopApplication);
    }
    steps.insert(steps.end(), {Id::OfflineFlag, Id::Durable, Id::PointOfNoReturn});
    for (Id id : pastPointOfNoReturn()) {
        steps.push_back(id);
    }
    return steps;
}

std::vector<StepId> InstallationSteps::pastPointOfNoReturn() const {
    std::vector<Id> steps = {Id::Link};
    if (isOverwrite_) {
        steps.push_back(Id::RemoveOtherGenerations);
    }
    steps.insert(steps.end(), {Id::RemoveOldHelpFile, Id::LaunchAgent});
    return steps;
}

std::vector<StepId> InstallationSteps::all() const {
    std::vector<Id> steps = preparation();
    for (Id id : finalisation()) {
        steps.push_back(id);
    }
    return steps;
}

StepFailure InstallationSteps::preflight() const {
    if (std::optional<std::string> defect = BundleCheck::defect(bundle_)) {
        return Failure{*defect};
    }
    for (Id id : all()) {
        const StepRow& row = stepRow(id);
        if (StepFailure failure = row.check ? row.check(*this) : std::nullopt) {
            return failure;
        }
    }
    return std::nullopt;
}

std::vector<PlanLine> InstallationSteps::actions() const {
    std::vector<PlanLine> plan;
    for (Id id : all()) {
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
