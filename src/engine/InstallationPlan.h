#pragma once

#include <string>
#include <vector>

#include "Bundle.h"
#include "Payload.h"

namespace vela {

/// The changes an installation would make to the target as it is now, in the order the run
/// makes them. Reads the target and the process list; changes nothing.
class InstallationPlan {
public:
    /// One change, e.g. {"copy", "/…/VELA-Ver1.2/VELA.app", "12713 bytes in 3 files"}.
    struct Action {
        std::string action;
        std::string path;
        std::string detail;
    };

    InstallationPlan(const Bundle& bundle, bool isOverwrite);

    std::vector<Action> actions() const;
    /// The message of a failure the run would meet that shows beforehand (a damaged bundle,
    /// too little free space, a file where the device directory belongs); empty when none.
    static std::string foreseenFailure(const Bundle& bundle, const Payload& payload);
    /// Process ids and command lines of the desktop applications started from the target's
    /// generations, which an overwrite stops.
    static std::vector<std::string> runningApplications();

private:
    void prepare(std::vector<Action>& plan) const;
    void finalise(std::vector<Action>& plan) const;

    const Bundle& bundle_;
    bool isOverwrite_;
    std::string generation_;
};

}  // namespace vela
