#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "InstallationContext.h"
#include "Payload.h"

namespace vela {

/// Whether the target volume can hold an installation: the bytes the payload takes there plus a
/// margin, against the bytes the volume offers to root. Decided before anything changes, so a
/// full disk is a refusal rather than a copy that fails half-way and must be undone.
class FreeSpace {
public:
    struct Figures {
        std::string volume;  ///< the folder measured: the generations' folder or its nearest parent
        std::uint64_t needed = 0;
        std::uint64_t available = 0;
        bool enough() const { return available >= needed; }
    };

    /// Measures the volume that holds the generations of the target root. None when even the
    /// target root cannot be measured.
    static std::optional<Figures> measure(const Payload& payload);
    /// The failure text: "not enough free space on <volume>: N bytes needed, M bytes available".
    static std::string shortfallMessage(const Figures& figures);
    /// Logs the figures; on a shortfall its message. Checked before a run changes anything.
    static std::optional<std::string> check(const Payload& payload);
};

}  // namespace vela
