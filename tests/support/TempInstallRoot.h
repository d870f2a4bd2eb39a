#pragma once

#include <string>

namespace vela::test {

/// A fresh target root laid out like a Mac's system volume (Applications, Library/LaunchAgents,
/// Library/Application Support, Users) and a home directory, removed again on destruction.
/// The name of the root may carry blanks or quotes to test escaping.
class TempInstallRoot {
public:
    explicit TempInstallRoot(const std::string& rootName = "target root");
    ~TempInstallRoot();
    TempInstallRoot(const TempInstallRoot&) = delete;
    TempInstallRoot& operator=(const TempInstallRoot&) = delete;

    const std::string& base() const { return base_; }
    const std::string& root() const { return root_; }
    const std::string& home() const { return home_; }
    /// `path` (absolute as on a Mac) under the root.
    std::string at(const std::string& path) const;
    /// The installer log under home.
    std::string logPath() const;

private:
    std::string base_;
    std::string root_;
    std::string home_;
};

}  // namespace vela::test
