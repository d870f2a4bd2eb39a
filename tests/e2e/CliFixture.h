#pragma once

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "EventLoop.h"
#include "Files.h"
#include "LogReader.h"
#include "Process.h"
#include "TempInstallRoot.h"

namespace vela::test {

/// A target root whose name has a blank, a home whose log runs in DEBUG mode (so every command
/// line is traced), and the real unattended front end of the built bundle.
class CliFixture : public testing::Test {
protected:
    explicit CliFixture(const std::string& rootName = "target root") : root(rootName) {
        std::filesystem::create_directories(
            root.home() + "/Library/Application Support/Quillmark/VELA/.debug.ini");
    }
    // A failed test must not leave immutable files behind for the next one.
    void TearDown() override {
        ::system(("chattr -R -i '" + root.base() + "' 2>/dev/null").c_str());
    }

    /// The front end into the root, started (and awaited by install); `bundle` replaces the
    /// built bundle when not empty.
    std::unique_ptr<Process> startInstall(const std::vector<std::string>& extraArguments = {}) {
        std::vector<std::string> argv{VELA_TEST_CLI, "--target", root.root()};
        argv.insert(argv.end(), extraArguments.begin(), extraArguments.end());
        return std::make_unique<Process>(argv, environment());
    }
    RunResult install(const std::vector<std::string>& extraArguments = {}) {
        auto process = startInstall(extraArguments);
        const int status = process->wait();
        return {status, process->out(), process->err()};
    }
    std::map<std::string, std::string> environment() const {
        return {{"HOME", root.home()},
                {"VELA_TARGET_ROOT", ""},
                {"VELA_MAIN_BUNDLE", bundle.empty() ? std::string(VELA_TEST_BUNDLE_DIR) : bundle}};
    }
    /// The one JSON object a --json run wrote; fails the test when standard output holds
    /// anything else, or when its "exit" is not the process's status.
    static QJsonObject recordOf(const std::string& out, int status) {
        QJsonParseError error{};
        const QJsonDocument document =
            QJsonDocument::fromJson(QByteArray::fromStdString(out), &error);
        EXPECT_TRUE(!out.empty() && out.find('\n') == out.size() - 1 &&
                    error.error == QJsonParseError::NoError && document.isObject())
            << "not one JSON object on one line: [" << out << "]";
        EXPECT_EQ(document.object().value(QStringLiteral("exit")).toInt(-1), status) << out;
        return document.object();
    }
    /// The value at `path` ("status", "error.code") of a record as text: a string as it is,
    /// anything else as JSON writes it, empty when absent.
    static std::string field(const QJsonObject& record, const std::string& path) {
        QJsonValue value = record;
        for (const QString& key : QString::fromStdString(path).split(QLatin1Char('.'))) {
            value = value.toObject().value(key);
        }
        if (value.isString() || value.isUndefined()) {
            return value.toString().toStdString();
        }
        const QByteArray json = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
        return json.mid(1, json.size() - 2).toStdString();
    }
    /// Waits until the log holds `text` (the front end writes its log asynchronously); fails
    /// the test naming `text` when it does not come in time.
    bool waitForLog(const std::string& text) const {
        return waitUntil([&] { return log.contains(text); }, 20000, text.c_str());
    }

    /// A copy of the built installer bundle to change; the front end then uses it.
    std::string useBundleCopy() {
        bundle = root.base() + "/Installer Copy.app";
        std::filesystem::copy(VELA_TEST_BUNDLE_DIR, bundle,
                              std::filesystem::copy_options::recursive);
        return bundle;
    }
    /// Adds `files` files of `bytes` in total (sparse, so quick to make, but copied in full)
    /// inside `app` ("VELA.app" or "VELA-Uninstaller.app") of the bundle copy, so that copying
    /// it takes a while.
    void growPayload(const std::string& app, std::uintmax_t bytes, int files) {
        if (bundle.empty()) {
            useBundleCopy();
        }
        const std::string dir = bundle + "/Contents/MacOS/" + app + "/Contents/Resources/Fonts/";
        for (int i = 0; i < files; ++i) {
            writeFile(dir + std::to_string(i) + ".otf", "x");
            std::filesystem::resize_file(dir + std::to_string(i) + ".otf",
                                         bytes / static_cast<std::uintmax_t>(files));
        }
    }
    /// Gives the installer bundle at `path` the version `version` (empty: an empty version).
    static void setVersion(const std::string& path, const std::string& version) {
        const std::string plist = path + "/Contents/Info.plist";
        std::string info = readFile(plist);
        const std::size_t open =
            info.find("<string>", info.find("<key>CFBundleShortVersionString</key>"));
        info.replace(open, info.find("</string>", open) - open, "<string>" + version);
        writeFile(plist, info);
    }
    /// Runs a plain installation from the bundle at `from` (the built one when empty), so that a
    /// previous generation exists.
    void installPreviousGeneration(const std::string& from = {}) {
        const std::string saved = std::exchange(bundle, from);
        const RunResult result = install();
        bundle = saved;
        ASSERT_EQ(result.status, 0) << result.err;
    }

    std::string generation(const std::string& version = VELA_TEST_VERSION) const {
        return root.at("/Applications/Quillmark/VELA-Ver" + version);
    }
    std::string deviceDirectory() const {
        return root.at("/Library/Application Support/Quillmark/VELA/VELA-device");
    }
    /// Starts a sample application from `appBundle`/Contents/MacOS/VELA, running once ps can
    /// see it with its full command line.
    std::unique_ptr<Process> startApplication(const std::string& appBundle, bool ignoreSigterm) {
        std::vector<std::string> argv{appBundle + "/Contents/MacOS/VELA"};
        if (ignoreSigterm) {
            argv.emplace_back("--ignore-sigterm");
        }
        auto app = std::make_unique<Process>(argv);
        waitUntil(
            [&] {
                return readFile("/proc/" + std::to_string(app->pid()) + "/cmdline")
                           .find("/VELA.app/") != std::string::npos;
            },
            10000, "the sample application's start");
        return app;
    }

    TempInstallRoot root;
    /// What the front end logged in this test's home.
    LogReader log{root.logPath()};
    std::string bundle;
};

}  // namespace vela::test
