#pragma once

#include <string>

#include "DeviceDirectory.h"
#include "FileCopyUtil.h"
#include "HelpFile.h"
#include "InstallationContext.h"

namespace vela {

/// Undoing a run on Cancel, and the directory move that both the preparation and the undo use.
class Rollback {
public:
    Rollback(const InstallationContext& context, FileCopyUtil& copier,
             const DeviceDirectory& deviceDirectory, const HelpFile& helpFile)
        : context_(context),
          copier_(copier),
          deviceDirectory_(deviceDirectory),
          helpFile_(helpFile) {}

    /// Main thread. Disables Cancel, stops the copy, removes the new generation, then restores
    /// the moved-aside generation and the help file (overwrite) or removes the device directory,
    /// the link and the LaunchAgent file (new installation); finally asks the view to end.
    void cancelButtonClicked() const;

    /// Main thread. After a failure, puts back what this run changed that a user would miss:
    /// removes the new generation and, in an overwrite, restores the moved-aside generation and
    /// the help file. Leaves alone what the run did not touch.
    void undoAfterFailure() const;

    /// Moves `source` to `target` after clearing `target`. Nothing happens when `source` is
    /// missing; failures are reported (and the move is still tried after a failed clean).
    void renameDirectoryAtPath(const std::string& source, const std::string& target) const;

private:
    void removeNewGeneration() const;

    const InstallationContext& context_;
    FileCopyUtil& copier_;
    const DeviceDirectory& deviceDirectory_;
    const HelpFile& helpFile_;
};

}  // namespace vela
