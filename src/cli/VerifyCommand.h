#pragma once

#include "Outcome.h"

namespace vela {

/// --verify: compares what this bundle installs with the target, prints one line per
/// difference and records them. Changes nothing and needs no lock.
class VerifyCommand {
public:
    explicit VerifyCommand(Outcome& outcome) : outcome_(outcome) {}

    /// Exit 0 intact, 1 damaged, 7 absent; the record is finished.
    int exec();

private:
    Outcome& outcome_;
};

}  // namespace vela
