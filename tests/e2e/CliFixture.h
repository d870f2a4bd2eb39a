#pragma once

#include <gtest/gtest.h>

#include <QJsonObject>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "LogReader.h"
#include "Process.h"
#include "TempInstallRoot.h"

namespace vela::test {

/// A target root whose name has a blank, a home whose log runs in DEBUG mode (so every command
/// line is traced), and the real unattended front end of the built bundle.
class CliFixture : public testing::Test {
protected:
    explicit CliFixture(const std::string& rootName = "target root");
    void TearDown() override;

    /// Runs the front end into the root; `bundle` replaces the built bundle when not empty.
    RunResult install(const std::vector<std::string>& extraArguments = {});
    std::unique_ptr<Process> startInstall(const std::vector<std::string>& extraArguments = {});
    std::map<std::string, std::string> environment() const;
    /// The one JSON object a --json run wrote; fails the test when standard output holds
    /// anything else, or when its "exit" is not the process's status.
    static QJsonObject recordOf(const std::string& out, int status);
    /// The value at `path` ("status", "error.code") of a record as text: a string as it is,
    /// anything else as JSON writes it, empty when absent.
    static std::string field(const QJsonObject& record, const std::string& path);

    /// Waits until the log holds `text` (the front end writes its log asynchronously); fails
    /// the test naming `text` when it does not come in time.
    bool waitForLog(const std::string& text) const;

    /// A copy of the built installer bundle to change; the front end then uses it.
    std::string useBundleCopy();

    /// Adds `files` files of `bytes` in total (sparse, so quick to make, but copied in full)
    /// inside `app` ("VELA.app" or "VELA-Uninstaller.app") of the bundle copy, so that copying
    /// it takes a while.
    void growPayload(const std::string& app, std::uintmax_t bytes, int files);
    /// Gives the installer bundle at `path` the version `version` (empty: an empty version).
    static void setVersion(const std::string& path, const std::string& version);
    /// Runs a plain installation from the built bundle, so that a previous generation exists.
    void installPreviousGeneration();

    std::string generation(const std::string& version = VELA_TEST_VERSION) const;
    std::string deviceDirectory() const;
    /// Starts a sample application from `bundlePath`/Contents/MacOS/VELA.
    std::unique_ptr<Process> startApplication(const std::string& appBundle, bool ignoreSigterm);

    TempInstallRoot root;
    /// What the front end logged in this test's home.
    LogReader log{root.logPath()};
    std::string bundle;
};

}  // namespace vela::test
