#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Bundle.h"
#include "InstallationContext.h"
#include "Payload.h"

namespace vela {

/// The steps of one installation as data, in the order a run takes them. The run reads the list
/// forwards (each step's check, then its change), the dry run reads it on paper (check and
/// describe), the repair of a run killed past its point of no return reads its tail; the undo
/// walks the journal entries the steps recorded. A step's check is the check its change makes
/// first, and the run asks every check before it changes anything: the dry run and the run say
/// no for the same reasons, with the same words.
class InstallationSteps {
public:
    enum class Id {
        RemoveMovedAside,         ///< overwrite: earlier ".old" generations
        MoveAside,                ///< overwrite: this version's generation to ".old"
        RemoveUserConfiguration,  ///< new installation: users' stale preferences
        DeviceDirectory,
        HelpFile,
        Generation,  ///< created; the copies then fill it in the background
        LogModeScripts,
        OwnGeneration,
        StopApplication,  ///< overwrite
        OfflineFlag,      ///< created; an overwrite keeps the administrator's plain file
        Durable,          ///< everything so far on the disk, the new generation above all
        PointOfNoReturn,
        Link,  ///< switched before anything it pointed to is removed
        RemoveOtherGenerations,
        RemoveOldHelpFile,
        LaunchAgent,
    };
    /// One change, e.g. {"copy", "/…/VELA-Ver1.2/VELA.app", "12713 bytes in 3 files"}.
    struct Action {
        std::string action;
        std::string path;
        std::string detail;
    };

    /// `generation` ends in "/"; the bundle's own unless a repair names another.
    InstallationSteps(const Bundle& bundle, bool isOverwrite, std::string generation);

    /// Before the copies, and after them.
    std::vector<Id> preparation() const;
    std::vector<Id> finalisation() const;
    /// The steps after the point of no return: what a repair completes.
    std::vector<Id> pastPointOfNoReturn() const;

    /// The failure the step's change would meet on the target as it is now; reads only.
    std::optional<std::string> check(Id id) const;
    /// The bundle's defects, then every step's check in order.
    std::optional<std::string> preflight() const;
    /// What every step would change, in order.
    std::vector<Action> actions() const;
    /// The bundle's payload for this generation, measured the first time it is asked for: the
    /// measure walks every file, so the free-space check, the plan and the record share one.
    const Payload& payload() const;

    /// Takes `ids` in order: each step's check (a failure is reported through `context`), then
    /// `apply` (which reports its own). False at the first failure; nothing after it is taken.
    bool take(const std::vector<Id>& ids, const InstallationContext& context,
              const std::function<bool(Id)>& apply) const;

private:
    void describe(Id id, std::vector<Action>& plan) const;

    const Bundle& bundle_;
    bool isOverwrite_;
    std::string generation_;
    mutable std::optional<Payload> payload_;
};

}  // namespace vela
