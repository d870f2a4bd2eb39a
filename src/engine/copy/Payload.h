#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Bundle.h"

namespace vela {

/// What an installation from a bundle puts on the target: the two application bundles and the
/// log-mode scripts into the generation, the help file, the agent's plist. Measured once, when
/// constructed, by walking the bundle (links are not followed).
class Payload {
public:
    /// One copy of the installation: `source` is none when the bundle lacks it.
    struct Item {
        std::string what;  ///< the item's name in the bundle ("VELA.app", "VELA.plist")
        std::optional<std::string> source;
        std::string target;
        bool isBundle = false;    ///< a folder, copied in the background; else a plain file
        std::uint64_t bytes = 0;  ///< apparent bytes of its regular files
        std::uint64_t files = 0;
    };

    /// Measures `bundle` for an installation into `generation` (a path ending in "/"); without
    /// `measure` only finds the items (for defect()), which is quick.
    Payload(const Bundle& bundle, const std::string& generation, bool measure = true);

    /// Every item, in the order an installation copies them.
    const std::vector<Item>& items() const { return items_; }
    /// The item copied to `target`; none when no item is.
    const Item* itemAt(const std::string& target) const;
    /// The source of the item copied to `target`: none when the bundle lacks it.
    std::optional<std::string> sourceOf(const std::string& target) const;
    /// Why an installation from this bundle would fail: an item it lacks ("the installer bundle
    /// is incomplete: no VELA.app"), or one of another type (a link, a file where a bundle
    /// belongs); none when every item is there.
    std::optional<std::string> defect() const;
    /// Apparent bytes and count of the regular files to copy.
    std::uint64_t bytes() const { return bytes_; }
    std::uint64_t files() const { return files_; }
    /// Bytes the copies take on a volume of `blockSize`-byte blocks: every file rounded up to
    /// whole blocks, and one block per folder.
    std::uint64_t allocatedBytes(std::uint64_t blockSize) const;

private:
    void measure(const std::string& path, Item& item);

    std::vector<Item> items_;
    std::uint64_t bytes_ = 0;
    std::uint64_t files_ = 0;
    std::vector<std::uint64_t> fileSizes_;
    std::uint64_t folders_ = 0;
};

}  // namespace vela
