#pragma once

#include <string>
#include <vector>

#include "Failure.h"

namespace vela {

/// The desktop applications an overwrite stops: one pattern for pkill and ps, and one listing
/// that the run asks after each attempt and the dry run shows, so that both name the same
/// processes.
class RunningApplications {
public:
    /// The pattern that pkill and ps match against command lines, in shell form: any VELA.app on
    /// the system for the root "/", only those started from the target volume's generations
    /// (or through its link) otherwise.
    static std::string pattern();
    /// "<pid> <command line>" of each process the pattern matches (from `ps -ef`); empty when
    /// none runs.
    static std::vector<std::string> list();
    /// Stops them: one polite attempt, one second, one forced attempt, no further retries.
    static StepFailure stop();
};

}  // namespace vela
