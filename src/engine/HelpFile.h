#pragma once

#include <string>

#include "InstallationContext.h"

namespace vela {

/// The device-mode help document in the shared device directory, with the previous copy kept
/// as "<name>.old" so that a cancelled overwrite can put it back.
class HelpFile {
public:
    explicit HelpFile(const InstallationContext& context) : context_(context) {}

    /// Moves the current file aside (after clearing a stale backup), copies the bundle's file in
    /// and sets root:admin 664. False after reporting the failure.
    bool copyHelpFile() const;
    /// Removes the copied file and moves the backup back, if there is one. Best effort.
    void revertHelpFile() const;

    /// Whether this run has moved or replaced the help file (so a revert has something to undo).
    bool changedHelpFile() const { return changed_; }

    static std::string destinationPath();
    static std::string backupPath();

private:
    const InstallationContext& context_;
    mutable bool changed_ = false;
};

}  // namespace vela
