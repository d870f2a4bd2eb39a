#include "TempInstallRoot.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace vela::test {

namespace fs = std::filesystem;

TempInstallRoot::TempInstallRoot(const std::string& rootName) {
    std::string pattern = (fs::temp_directory_path() / "vela-test-XXXXXX").string();
    char* made = ::mkdtemp(pattern.data());
    if (made == nullptr) {
        ADD_FAILURE() << "cannot create a temporary directory under " << pattern;
        return;
    }
    base_ = made;
    root_ = (fs::path(base_) / rootName).string();
    home_ = (fs::path(base_) / "home").string();
    for (const char* dir :
         {"Applications", "Library/LaunchAgents", "Library/Application Support", "Users"}) {
        fs::create_directories(fs::path(root_) / dir);
    }
    fs::create_directories(home_);
}

TempInstallRoot::~TempInstallRoot() {
    if (!base_.empty()) {
        std::error_code ec;
        fs::remove_all(base_, ec);
    }
}

std::string TempInstallRoot::at(const std::string& path) const {
    return (fs::path(root_) / fs::path(path).relative_path()).string();
}

std::string TempInstallRoot::logPath() const {
    return (fs::path(home_) / "Library/Logs/VELA-device-Installer.log").string();
}

}  // namespace vela::test
