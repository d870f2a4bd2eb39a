#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "Bundle.h"
#include "StepRow.h"

namespace vela {

/// Compares what a bundle installs with what the target holds, reading only: what each step's
/// row says its change leaves (the generation of the bundle's version file by file against the
/// bundle: type, size, contents, mode, owner root:admin; the link's text, the agent, the device
/// directory, help file and offline flag).
class InstallationCheck {
public:
    enum class State { Intact, Damaged, Absent };
    /// One finding, e.g. {"mode", "/…/VELA", "-rwxr-xr-x", "-rw-r--r--"}.
    struct Difference {
        std::string what;
        std::string where;
        std::string expected;
        std::string found;
    };

    explicit InstallationCheck(const Bundle& bundle);

    /// Absent when the bundle's generation does not exist; else Damaged when anything differs.
    State run();
    const std::vector<Difference>& differences() const { return differences_; }

    /// The link's text as the booted system must read it, whatever the target root.
    static std::string expectedLinkText(const std::optional<std::string>& version);

private:
    void compareTree(const std::string& source, const std::string& target,
                     std::optional<mode_t> mode);
    void compareFile(const std::string& source, const std::string& target,
                     const struct stat& sourceInfo, const struct stat& targetInfo);
    void compare(const Expected& item);
    /// Whether `path` is there as `type`; its owner, and `mode` when given, are compared too.
    bool expectAccess(const std::string& path, char type, std::optional<mode_t> mode,
                      struct stat& info);
    void checkLink(const std::string& link, const std::string& expected);
    bool checkOwner(const std::string& path, const struct stat& info);
    bool lstatOrMissing(const std::string& path, struct stat& info, const std::string& expected);

    const Bundle& bundle_;
    std::optional<gid_t> adminGroup_;
    std::vector<Difference> differences_;
};

}  // namespace vela
