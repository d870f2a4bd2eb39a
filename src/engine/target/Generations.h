#pragma once

#include <string>

#include "Failure.h"
#include "Payload.h"

namespace vela {

/// The generation folders under the base directory and the link that names one of them: what
/// a run makes, moves, owns and removes there. `generation` always ends in "/".
class Generations {
public:
    /// What would stop the new generation from being made: anything but a folder at the base
    /// directory's or the generation's name, a read-only /Applications. Reads only.
    static StepFailure check(const std::string& generation);
    /// A real folder where the link belongs is not the installer's to replace. Reads only.
    static StepFailure checkLink();

    /// Removes the generations an earlier overwrite moved aside.
    static StepFailure removeMovedAside();
    /// Moves this version's existing generation to `aside` (nothing there: only traces).
    static StepFailure moveAside(const std::string& generation, const std::string& aside);
    /// Moves `source` to `target` after clearing `target`. Nothing happens when `source` is not
    /// a real directory of the installer's; "rename failure: <target>" when the clean or the
    /// move failed.
    static StepFailure renameDirectoryAtPath(const std::string& source, const std::string& target);
    /// Makes the new generation, a directory of this run's own, where nothing is.
    static StepFailure create(const std::string& generation);
    /// Copies the plain files of `payload` that go into the generation (the log-mode scripts).
    static StepFailure copyLogModeScripts(const Payload& payload, const std::string& generation);
    /// Gives the generation and everything inside it to root:admin.
    static StepFailure ownGeneration(const std::string& generation);
    /// Removes every generation but `generation`.
    static StepFailure removeOtherGenerations(const std::string& generation);
    /// Points the link at `generation` in one rename: a failure leaves the previous link whole.
    static StepFailure renewLink(const std::string& generation);
};

}  // namespace vela
