#pragma once

#include <optional>
#include <string>

#include "InstallationContext.h"
#include "UndoRecord.h"

namespace vela {

/// The device-mode help document in the shared device directory, with the previous copy kept
/// as "<name>.old" so that a cancelled overwrite can put it back.
class HelpFile {
public:
    explicit HelpFile(const InstallationContext& context) : context_(context) {}

    /// Moves the current file aside (after clearing a stale backup), copies the bundle's file in
    /// afresh with root:admin 664 set on its descriptor. Records the replacement in `record`
    /// first unless `record` already removes the whole directory on undo. False after reporting
    /// the failure.
    bool copyHelpFile(UndoRecord& record) const;
    /// Removes the copied file and, when the run moved the previous one aside (`movedAside`),
    /// moves that back, a file or a link but never a folder (none there: nothing changes); why
    /// not, when either fails. The caller makes the undo durable.
    static std::optional<std::string> revertHelpFile(bool movedAside);
    /// What would make the change fail: a folder at either name. Reads only.
    static std::optional<std::string> check();

    static std::string destinationPath();
    static std::string backupPath();

private:
    const InstallationContext& context_;
};

}  // namespace vela
