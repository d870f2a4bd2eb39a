#include "CliFixture.h"

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QThread>

#include <filesystem>

#include "Files.h"
#include "LogReader.h"

namespace vela::test {

namespace fs = std::filesystem;

CliFixture::CliFixture(const std::string& rootName) : root(rootName) {
    fs::create_directories(root.home() + "/Library/Application Support/Quillmark/VELA/.debug.ini");
}

void CliFixture::TearDown() {
    // A failed test must not leave immutable files behind for the next one.
    ::system(("chattr -R -i " + std::string("'") + root.base() + "' 2>/dev/null").c_str());
}

std::map<std::string, std::string> CliFixture::environment() const {
    std::map<std::string, std::string> env{{"HOME", root.home()}, {"VELA_TARGET_ROOT", ""}};
    env["VELA_MAIN_BUNDLE"] = bundle.empty() ? std::string(VELA_TEST_BUNDLE_DIR) : bundle;
    return env;
}

RunResult CliFixture::install(const std::vector<std::string>& extraArguments) {
    std::vector<std::string> argv{VELA_TEST_CLI, "--target", root.root()};
    argv.insert(argv.end(), extraArguments.begin(), extraArguments.end());
    return run(argv, environment());
}

std::unique_ptr<Process> CliFixture::startInstall(const std::vector<std::string>& extraArguments) {
    std::vector<std::string> argv{VELA_TEST_CLI, "--target", root.root()};
    argv.insert(argv.end(), extraArguments.begin(), extraArguments.end());
    return std::make_unique<Process>(argv, environment());
}

QJsonObject CliFixture::recordOf(const std::string& out, int status) {
    const bool oneLine = !out.empty() && out.find('\n') == out.size() - 1;
    QJsonParseError error{};
    QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(out), &error);
    EXPECT_TRUE(oneLine && error.error == QJsonParseError::NoError && document.isObject())
        << "not one JSON object on one line: [" << out << "]";
    QJsonObject record = document.object();
    EXPECT_EQ(record.value(QStringLiteral("exit")).toInt(-1), status) << out;
    return record;
}

std::string CliFixture::field(const QJsonObject& record, const std::string& path) {
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

bool CliFixture::waitForLog(const std::string& text) const {
    QDeadlineTimer deadline(20000);
    while (!log.contains(text)) {
        if (deadline.hasExpired()) {
            ADD_FAILURE() << "waited 20 s in vain for the log line: " << text;
            return false;
        }
        QThread::msleep(2);
    }
    return true;
}

std::string CliFixture::useBundleCopy() {
    bundle = root.base() + "/Installer Copy.app";
    fs::copy(VELA_TEST_BUNDLE_DIR, bundle, fs::copy_options::recursive);
    return bundle;
}

void CliFixture::setVersion(const std::string& path, const std::string& version) {
    const std::string plist = path + "/Contents/Info.plist";
    std::string info = readFile(plist);
    const std::size_t open =
        info.find("<string>", info.find("<key>CFBundleShortVersionString</key>"));
    info.replace(open, info.find("</string>", open) - open, "<string>" + version);
    writeFile(plist, info);
}

void CliFixture::growPayload(const std::string& app, std::uintmax_t bytes, int files) {
    if (bundle.empty()) {
        useBundleCopy();
    }
    const std::string dir = bundle + "/Contents/MacOS/" + app + "/Contents/Resources/Fonts";
    fs::create_directories(dir);
    for (int i = 0; i < files; ++i) {
        std::string path = dir + "/font-" + std::to_string(i) + ".otf";
        writeFile(path, "x");
        fs::resize_file(path, bytes / static_cast<std::uintmax_t>(files));
    }
}

void CliFixture::installPreviousGeneration() {
    std::string saved = bundle;
    bundle.clear();
    RunResult result = install();
    bundle = saved;
    ASSERT_EQ(result.status, 0) << result.err;
}

std::string CliFixture::generation(const std::string& version) const {
    return root.at("/Applications/Quillmark/VELA-Ver" + version);
}

std::string CliFixture::deviceDirectory() const {
    return root.at("/Library/Application Support/Quillmark/VELA/VELA-device");
}

std::unique_ptr<Process> CliFixture::startApplication(const std::string& appBundle,
                                                      bool ignoreSigterm) {
    std::vector<std::string> argv{appBundle + "/Contents/MacOS/VELA"};
    if (ignoreSigterm) {
        argv.emplace_back("--ignore-sigterm");
    }
    auto app = std::make_unique<Process>(argv);
    // Running once ps can see it with its full command line.
    QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired() &&
           readFile("/proc/" + std::to_string(app->pid()) + "/cmdline").find("/VELA.app/") ==
               std::string::npos) {
        QThread::msleep(2);
    }
    return app;
}

}  // namespace vela::test
