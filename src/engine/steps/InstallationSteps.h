#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Bundle.h"
#include "Payload.h"
#include "StepRow.h"

namespace vela {

/// The steps of one installation as data, in the order a run takes them: which rows, for an
/// overwrite or a new installation. The run takes them (StepRunner), the dry run asks them to
/// check and describe themselves, the repair of a run killed past its point of no return takes
/// their tail; the undo walks the journal entries the rows recorded. The run asks every check
/// before it changes anything: the dry run and the run say no for the same reasons, with the
/// same words.
class InstallationSteps {
public:
    /// `generation` ends in "/"; the bundle's own unless a repair names another.
    InstallationSteps(const Bundle& bundle, bool isOverwrite, std::string generation);

    /// Before the copies, and after them.
    std::vector<StepId> preparation() const;
    std::vector<StepId> finalisation() const;
    /// The steps after the point of no return, the disk last: what a repair completes.
    std::vector<StepId> pastPointOfNoReturn() const;
    /// Every step, in order.
    std::vector<StepId> all() const;

    /// The bundle's defects, then every step's check in order; reads only.
    StepFailure preflight() const;
    /// What every step would change, in order, each line named by its row.
    std::vector<PlanLine> actions() const;
    /// The bundle's payload for this generation, measured the first time it is asked for: the
    /// measure walks every file, so the free-space check, the plan and the record share one.
    const Payload& payload() const;
    /// Whether the target volume holds the payload, decided (and logged) once: the run's second
    /// look at its checks does not measure again.
    const StepFailure& freeSpace() const;

    const Bundle& bundle() const { return bundle_; }
    bool isOverwrite() const { return isOverwrite_; }
    const std::string& generation() const { return generation_; }

private:
    const Bundle& bundle_;
    bool isOverwrite_;
    std::string generation_;
    mutable std::optional<Payload> payload_;
    mutable std::optional<StepFailure> freeSpace_;
};

}  // namespace vela
