#pragma once

#include "Outcome.h"

namespace vela {

/// --dry-run: every check of an installation (administrator, bundle complete, installed
/// generations, running application, free space), then the plan of changes, in order. Changes
/// nothing on the target; the caller holds the lock as a real run would.
class DryRun {
public:
    explicit DryRun(Outcome& outcome) : outcome_(outcome) {}

    /// Exit 0 it would go ahead, 1 it would fail (the reason recorded), 3 not an administrator;
    /// the record is finished.
    int exec();

private:
    Outcome& outcome_;
};

}  // namespace vela
