#pragma once

#include <string>

#include "SafeFiles.h"

namespace vela {

/// Owner and mode of what the installation puts beside its generations: one home for the run
/// that sets them on the descriptor, the dry run that names them and --verify that compares them.
class InstalledAccess {
public:
    /// The shared device directory: root:admin drwxrwxr-x.
    static Ownership deviceDirectory() { return rootAdmin(0775); }
    /// The help file and the offline flag: root:admin -rw-rw-r--.
    static Ownership sharedFile() { return rootAdmin(0664); }
    /// The LaunchAgent's plist, whatever its mode in the bundle: root:admin -rw-r--r--.
    static Ownership launchAgent() { return rootAdmin(0644); }

    /// "root:admin:drwxrwxr-x" for a folder (`type` 'd') or a file ('-'), as accessText reads a
    /// descriptor back.
    static std::string listing(const Ownership& ownership, char type);
    /// The same as a plan shows it: "root:admin drwxrwxr-x".
    static std::string plan(const Ownership& ownership, char type);
};

}  // namespace vela
