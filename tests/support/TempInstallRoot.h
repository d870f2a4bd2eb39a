#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace vela::test {

/// A fresh target root laid out like a Mac's system volume (Applications, Library/LaunchAgents,
/// Library/Application Support, Users) and a home directory, removed again on destruction.
/// The name of the root may carry blanks or quotes to test escaping.
class TempInstallRoot {
public:
    explicit TempInstallRoot(const std::string& rootName = "target root") {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "vela-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            ADD_FAILURE() << "cannot create a temporary directory under " << pattern;
            return;
        }
        base_ = pattern;
        root_ = base_ + "/" + rootName;
        home_ = base_ + "/home";
        layOutVolume();
        std::filesystem::create_directories(home_);
    }
    ~TempInstallRoot() {
        std::error_code ec;
        std::filesystem::remove_all(base_, ec);
    }
    TempInstallRoot(const TempInstallRoot&) = delete;
    TempInstallRoot& operator=(const TempInstallRoot&) = delete;

    /// Makes the system volume's folders under the root (again, after a mount hid them).
    void layOutVolume() const {
        for (const char* dir :
             {"Applications", "Library/LaunchAgents", "Library/Application Support", "Users"}) {
            std::filesystem::create_directories(root_ + "/" + dir);
        }
    }
    const std::string& base() const { return base_; }
    const std::string& root() const { return root_; }
    const std::string& home() const { return home_; }
    /// `path` (absolute as on a Mac) under the root.
    std::string at(const std::string& path) const {
        return (std::filesystem::path(root_) / std::filesystem::path(path).relative_path())
            .string();
    }
    /// The installer log under home.
    std::string logPath() const { return home_ + "/Library/Logs/VELA-device-Installer.log"; }

private:
    std::string base_;
    std::string root_;
    std::string home_;
};

}  // namespace vela::test
