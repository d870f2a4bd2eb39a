#pragma once

namespace vela {

/// Settings shared by the programs of the product family.
class Config {
public:
    /// DEBUG when the user's ".debug.ini" exists, else NORMAL; applies it and logs the outcome.
    /// Returns whether the mode was applied.
    static bool setAppLogMode();
};

}  // namespace vela
