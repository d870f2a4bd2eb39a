#pragma once

namespace vela {

/// The changes one installation makes on the target, in the order a run takes them. What each
/// one checks, plans, changes, records and undoes is its row (StepRow.h).
enum class StepId {
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

}  // namespace vela
