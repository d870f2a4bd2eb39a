#include <sys/stat.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <filesystem>
#include <functional>

#include "CliFixture.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

class NewInstallation : public CliFixture {};

class Overwrite : public CliFixture {
protected:
    // An installed older generation (with its uninstaller, so it counts), a same-version
    // directory, a left-over moved-aside directory, an earlier help file and offline flag.
    void SetUp() override {
        writeFile(generation() + "/VELA.app/stale", "stale");
        fs::copy(std::string(VELA_TEST_BUNDLE_DIR) + "/Contents/MacOS", generation("1.0"),
                 fs::copy_options::recursive);
        fs::create_directories(generation("0.9.old") + "/x");
        fs::create_symlink(generation("1.0") + "/", root.at("/Applications/Quillmark/VELA"));
        writeFile(deviceDirectory() + "/VELA-for-Device-help.pdf", "old help");
        writeFile(deviceDirectory() + "/VELA-device.offline-mode", "keep me");
        ::chmod((deviceDirectory() + "/VELA-device.offline-mode").c_str(), 0600);
    }
};

}  // namespace

TEST_F(NewInstallation, InstallsEverythingThatVerifyThenFindsIntactOrDamaged) {
    const std::string area = "/Library/Application Support/Quillmark/VELA/";
    writeFile(root.at("/Users/alice" + area + "VELA.config.plist"), "");
    writeFile(root.at("/Users/bob" + area + "VELA.font.plist"), "");
    auto outsider =
        startApplication(std::string(VELA_TEST_BUNDLE_DIR) + "/Contents/MacOS/VELA.app", false);
    // The agent gets the installation's mode, whatever the bundle's; the verification expects it.
    ::chmod((useBundleCopy() + "/Contents/Resources/VELA.plist").c_str(), 0664);

    // Before: not installed, and a dry run plans the run in its order without changing a thing.
    const std::string untouched = snapshotTree(root.root());
    EXPECT_EQ(field(recordOf(install({"--verify", "--json"}).out, 7), "status"), "absent");
    QJsonObject plan = recordOf(install({"--dry-run", "--json"}).out, 0);
    EXPECT_EQ(field(plan, "status"), "ready");
    std::vector<std::string> steps;
    for (const QJsonValue& action : plan.value(QStringLiteral("actions")).toArray()) {
        steps.push_back(field(action.toObject(), "action") + " " +
                        fs::path(field(action.toObject(), "path")).filename().string());
    }
    ASSERT_GE(steps.size(), 2u);
    std::sort(steps.begin(), steps.begin() + 2);  // the users' files come in listing order
    EXPECT_EQ(steps, (std::vector<std::string>{
                         "remove VELA.config.plist", "remove VELA.font.plist", "create VELA-device",
                         "copy VELA-for-Device-help.pdf", "copy VELA.app",
                         "copy VELA-Uninstaller.app", "copy LOGforRELEASE.command",
                         "copy LOGforDEBUG.command", "set owner VELA-Ver" VELA_TEST_VERSION,
                         "create VELA-device.offline-mode", "link VELA",
                         "copy com.quillmark.VELA.plist", "reload com.quillmark.VELA.plist"}));
    EXPECT_EQ(snapshotTree(root.root()), untouched);
    fs::remove(root.logPath());

    // Under a caller's umask of 000 every folder still gets the installer's own mode.
    const mode_t callerMask = ::umask(0);
    RunResult result = install({"--json"});
    ::umask(callerMask);
    ASSERT_EQ(result.status, 0) << result.err;
    for (const char* folder : {"/Applications/Quillmark", "/Library/Application Support/Quillmark",
                               "/Library/Application Support/Quillmark/VELA"}) {
        EXPECT_EQ(accessOf(root.at(folder)), "root:root:drwxr-xr-x") << folder;
    }
    const QJsonObject record = recordOf(result.out, 0);
    const std::string kept = root.at(area + "last-install.json");
    const QJsonObject keptRecord =
        QJsonDocument::fromJson(QByteArray::fromStdString(readFile(kept))).object();
    for (const auto& [key, value] :
         std::vector<std::pair<std::string, std::string>>{{"status", "installed"},
                                                          {"mode", "new"},
                                                          {"version", VELA_TEST_VERSION},
                                                          {"generation", generation() + "/"},
                                                          {"log", root.logPath()},
                                                          {"previous", "[]"},
                                                          {"error", "null"},
                                                          {"undone", "false"},
                                                          {"files", "8"}}) {
        EXPECT_EQ(field(record, key), value) << key;
        EXPECT_EQ(field(keptRecord, key), value) << key;
    }
    EXPECT_EQ(field(keptRecord, "bytes"), field(record, "bytes"));
    EXPECT_EQ(accessOf(kept), "root:root:-rw-r--r--");

    // The link names the generation as the Mac booted from this volume sees it.
    EXPECT_EQ(fs::read_symlink(root.at("/Applications/Quillmark/VELA")),
              "/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION "/");
    // Owners, modes and contents of the rest are the verification's, below; it does not look
    // into the offline flag.
    EXPECT_EQ(accessOf(deviceDirectory() + "/VELA-device.offline-mode"), "root:admin:-rw-rw-r--");
    EXPECT_EQ(fs::file_size(deviceDirectory() + "/VELA-device.offline-mode"), 0u);
    EXPECT_FALSE(exists(root.at("/Users/alice" + area + "VELA.config.plist")));
    EXPECT_FALSE(exists(root.at("/Users/bob" + area + "VELA.font.plist")));

    // The steps in their order, and every command line with the root's blank escaped.
    EXPECT_TRUE(inOrder(
        log.messages(),
        {"[INFO] Device Installer module starting by root", "[INFO] The log mode has been DEBUG.",
         "[INFO] Loaded Installation Process version: " VELA_TEST_VERSION,
         "[INFO] Start Install for desktop application", "found 0 itme(s) in ",
         "[INFO] End check user root in admin group(with admin)",
         "[INFO] Start Installation process", "[INFO] Configuration file counts = 2",
         "[INFO] Created directory for configuration of the device license mode: ", "statinfo for ",
         "[INFO] Copy help file of the device license mode: ", "[INFO] Copy ",
         "copying uninstaller module", "copied all modules",
         "[INFO] Created completely offline flag file for the device license mode: ",
         "[INFO] installer created link to applications: ", "[INFO] End Installation process",
         "[INFO] Launch desktop application"}));
    EXPECT_EQ(countOf(log.messages(), "Free space check: "), 1) << "it walks the whole payload";
    // The admin-writable device directory is never re-owned recursively: a hard link planted in
    // it would hand its target to root:admin.
    EXPECT_FALSE(log.contains("chown -R root:admin " + root.base() +
                              "/target\\ root/Library/Application\\ Support"));
    EXPECT_EQ(outsider->wait(0), -1) << "a new installation stopped an application";
    for (const std::string& message : log.messages()) {
        if (message.find("command execute: ") != std::string::npos) {
            EXPECT_EQ(message.find("target root"), std::string::npos) << message;
        }
    }
    EXPECT_NE(result.err.find("progress: 50%"), std::string::npos);
    EXPECT_NE(result.err.find("progress: 100%"), std::string::npos);

    // The verification finds the installation intact, then each damage as exactly its own line;
    // an overwrite repairs them all.
    RunResult intact = install({"--verify"});
    EXPECT_EQ(intact.status, 0) << intact.out;
    EXPECT_EQ(intact.out, "VELA " VELA_TEST_VERSION ": intact\n");

    const std::string gen = generation();
    const std::string link = root.at("/Applications/Quillmark/VELA");
    const std::string agent = root.at("/Library/LaunchAgents/com.quillmark.VELA.plist");
    const std::string app = gen + "/VELA.app/Contents/MacOS/VELA";
    const std::string release = gen + "/LOGforRELEASE.command";
    const std::uintmax_t releaseSize = fs::file_size(release);
    const struct {
        std::function<void()> damage;
        std::string line;
    } rows[] = {
        {[&] { writeFile(app, std::string(fs::file_size(app), 'x')); },
         "contents " + app + ": expected the bundle's bytes, found other bytes"},
        {[&] { writeFile(release, readFile(release) + "#"); },
         "size " + release + ": expected " + std::to_string(releaseSize) + " bytes, found " +
             std::to_string(releaseSize + 1) + " bytes"},
        {[&] { ::chmod((gen + "/LOGforDEBUG.command").c_str(), 0600); },
         "mode " + gen + "/LOGforDEBUG.command: expected -rwxr-xr-x, found -rw-------"},
        {[&] { ASSERT_EQ(::lchown((gen + "/VELA-Uninstaller.app").c_str(), 65534, 0), 0); },
         "owner " + gen + "/VELA-Uninstaller.app: expected root:admin, found nobody:root"},
        {[&] { writeFile(gen + "/VELA.app/Contents/extra", ""); },
         "extra " + gen + "/VELA.app/Contents/extra: expected nothing"},
        {[&] { fs::remove(agent); }, "missing " + agent + ": expected file, found nothing"},
        {[&] {
             fs::remove(link);
             fs::create_symlink("/Applications/Quillmark/VELA-Ver0.1/", link);
         },
         "link text " + link +
             ": expected /Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION
             "/, found /Applications/Quillmark/VELA-Ver0.1/"},
        {[&] { ::chmod(deviceDirectory().c_str(), 0700); },
         "mode " + deviceDirectory() + ": expected drwxrwxr-x, found drwx------"},
    };
    int expected = 0;
    for (const auto& row : rows) {
        row.damage();
        ++expected;
        RunResult damaged = install({"--verify", "--json"});
        const QJsonObject report = recordOf(damaged.out, 1);
        EXPECT_EQ(field(report, "status"), "damaged");
        EXPECT_EQ(report.value(QStringLiteral("differences")).toArray().size(), expected)
            << damaged.err;
        EXPECT_NE(damaged.err.find(row.line), std::string::npos) << row.line << "\n" << damaged.err;
    }
    std::string before = snapshotTree(root.root());
    install({"--verify"});
    EXPECT_EQ(snapshotTree(root.root()), before);

    const QJsonObject repair = recordOf(install({"--json"}).out, 0);
    EXPECT_EQ(field(repair, "mode"), "overwrite");
    EXPECT_EQ(field(repair, "previous"), "[\"VELA-Ver" VELA_TEST_VERSION "\"]");
    EXPECT_FALSE(log.contains("Force terminating")) << "nothing ran that needed forcing";
    RunResult repaired = install({"--verify"});
    EXPECT_EQ(repaired.status, 0) << repaired.out;
}

// A polite application ends on SIGTERM; one that ignores it is forced; one of another volume is
// left alone.
TEST_F(Overwrite, ReplacesGenerationsAndStopsTheRunningApplications) {
    auto polite = startApplication(generation("1.0") + "/VELA.app", false);
    auto outsider =
        startApplication(std::string(VELA_TEST_BUNDLE_DIR) + "/Contents/MacOS/VELA.app", false);
    // The dry run names every generation it would move or remove and the process it would stop,
    // and stops nothing.
    const std::string before = snapshotTree(root.root());
    RunResult dry = install({"--dry-run"});
    EXPECT_EQ(dry.status, 0) << dry.err;
    const std::string aside = generation() + ".old";
    EXPECT_TRUE(inOrder(
        linesOf(dry.out),
        {"remove " + generation("0.9.old") + " ", "move aside " + generation() + " (to " + aside,
         "stop " + std::to_string(polite->pid()) + " " + generation("1.0") + "/VELA.app/",
         std::string("link ") + root.at("/Applications/Quillmark/VELA"),
         "remove " + generation("1.0") + " (other generation)", "remove " + aside + " "}));
    EXPECT_EQ(snapshotTree(root.root()), before);
    EXPECT_NE(readFile("/proc/" + std::to_string(polite->pid()) + "/cmdline"), "")
        << "the dry run stopped an application";

    auto stubborn = startApplication(generation("1.0") + "/VELA.app", true);
    // A signal once the applications are being stopped is refused: the run goes on to its end.
    auto cli = startInstall();
    ASSERT_TRUE(waitForLog("[INFO] Terminating desktop application"));
    cli->signal(SIGINT);
    ASSERT_EQ(cli->wait(), 0) << cli->err();
    EXPECT_NE(cli->err().find("cannot be cancelled at this point"), std::string::npos);
    EXPECT_NE(cli->err().find("ran to its end"), std::string::npos) << cli->err();
    EXPECT_FALSE(log.contains("cancelButtonClicked"));
    EXPECT_EQ(polite->wait(10000), 0);  // SIGTERM ends it with status 0
    EXPECT_EQ(stubborn->wait(10000), 128 + SIGKILL);
    EXPECT_EQ(outsider->wait(0), -1) << "an application of another volume was stopped";

    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(root.at("/Applications/Quillmark"))) {
        left.push_back(entry.path().filename().string());
    }
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"VELA", "VELA-Ver" VELA_TEST_VERSION}));
    EXPECT_FALSE(exists(generation() + "/VELA.app/stale"));
    EXPECT_FALSE(exists(deviceDirectory() + "/VELA-for-Device-help.pdf.old"));
    EXPECT_NE(readFile(deviceDirectory() + "/VELA-for-Device-help.pdf"), "old help");
    EXPECT_EQ(readFile(deviceDirectory() + "/VELA-device.offline-mode"), "keep me");
    EXPECT_EQ(accessOf(deviceDirectory() + "/VELA-device.offline-mode"), "root:root:-rw-------");

    EXPECT_TRUE(inOrder(
        log.messages(),
        {"[INFO] Found installed module: VELA-Ver1.0",
         "[INFO] removed old moved folder: " + generation("0.9.old"),
         "[INFO] destOldDirectoryPath: " + aside + "/",
         "[INFO] installer rename : " + generation() + "/ to " + aside + "/",
         "[INFO] renamed help file: ", "[INFO] Terminating desktop application",
         "[INFO] Force terminating desktop application", "installer created link to applications",
         "[INFO] installer removed updater: " + aside + "/"}));
    // The other generations go in the order the folder lists them.
    EXPECT_TRUE(log.contains("[INFO] installer removed updater: " + generation("1.0") + "/"));
    EXPECT_FALSE(log.contains("offline flag"));
}

// A supervisor brings the application straight back, as a keep-alive service would: the
// installer gives up after one forced attempt and says so.
TEST_F(Overwrite, FailsWhenTheApplicationCannotBeStopped) {
    const std::string supervisor = root.base() + "/supervise.sh";
    writeFile(supervisor, "while :; do \"$APP\" --ignore-sigterm; done\n");
    Process guard({"/bin/sh", supervisor},
                  {{"APP", generation("1.0") + "/VELA.app/Contents/MacOS/VELA"}});
    const std::string ours = generation("1.0") + "/VELA.app/";
    waitUntil(
        [&] {
            return run({"/usr/bin/pgrep", "-f", ours}).status == 0;
        },
        10000, "the supervised application");
    RunResult result = install();
    guard.signal(SIGKILL);
    // Only what this test started: the supervisor's last child.
    run({"/usr/bin/pkill", "-KILL", "-f", ours});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("MSG_E3001: installation failure: exit application"),
              std::string::npos)
        << result.err;
    EXPECT_TRUE(
        log.contains("[ERROR] code=MSG_E3001, message=installation failure: exit application"));
    EXPECT_FALSE(log.contains("End Installation process"));
}

// A moved-aside folder that cannot be removed, or a same-version generation that cannot be moved
// aside: the run stops, and its undo moves back only what it moved, so the previous installation
// stays as it was.
TEST_F(Overwrite, WhatCannotBeMovedAsideStopsTheRunAndIsKept) {
    writeFile(generation() + "/VELA-Uninstaller.app/previous", "previous");
    // Append-only: entries can be made in the base folder's generations, none renamed away.
    const struct {
        std::string flag;
        std::string path;
        std::string message;
    } cases[] = {
        {"i", generation("0.9.old") + "/x",
         "removed failure: old moved folder: " + generation("0.9.old")},
        {"a", root.at("/Applications/Quillmark"), "rename failure: " + generation() + ".old/"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        ASSERT_EQ(::system(("chattr +" + c.flag + " '" + c.path + "'").c_str()), 0);
        std::string before = snapshotTree(root.at("/Applications"));
        RunResult result = install();
        ASSERT_EQ(::system(("chattr -" + c.flag + " '" + c.path + "'").c_str()), 0);
        EXPECT_EQ(result.status, 1);
        EXPECT_TRUE(log.contains("[ERROR] code=MSG_E3001, message=" + c.message));
        EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
        EXPECT_EQ(snapshotTree(root.at("/Applications")), before);
        EXPECT_FALSE(log.contains("Created directory for configuration"));
        EXPECT_FALSE(log.contains("[INFO] Copy " + bundle));
        fs::remove_all(generation("0.9.old"));
    }
}

// A special file in the payload cannot be copied: the failure is reported and undone at once,
// before anything else can happen; nothing of the run stays.
TEST_F(NewInstallation, ACopyErrorFailsAndIsUndoneAtOnce) {
    useBundleCopy();
    ASSERT_EQ(::mkfifo((bundle + "/Contents/MacOS/VELA.app/Contents/pipe").c_str(), 0600), 0);
    RunResult result = install({"--json"});
    EXPECT_EQ(result.status, 1);
    QJsonObject record = recordOf(result.out, 1);
    EXPECT_EQ(field(record, "status"), "failed");
    EXPECT_EQ(field(record, "undone"), "true");
    const std::string message = "Installation couldn't be completed: " + bundle +
                                "/Contents/MacOS/VELA.app/Contents/pipe (Operation not supported)";
    EXPECT_EQ(field(record, "error.message"), message);
    EXPECT_NE(result.err.find("MSG_E3001: " + message), std::string::npos);
    EXPECT_TRUE(inOrder(log.messages(),
                        {"[ERROR] code=MSG_E3001, message=Installation couldn't be completed",
                         "[INFO] Undo the installation after a failure"}));
    EXPECT_EQ(result.err.find("progress:", result.err.find("MSG_E3001")), std::string::npos)
        << "progress after the outcome was known: " << result.err;
    EXPECT_FALSE(log.contains("VELA-Uninstaller.app to"));
    EXPECT_FALSE(log.contains("[INFO] End Installation process"));
    for (const std::string& path :
         {generation(), deviceDirectory(), root.at("/Applications/Quillmark/VELA"),
          root.at("/Library/Application Support/Quillmark/VELA/.install-journal")}) {
        EXPECT_FALSE(exists(path)) << path;
    }
}

TEST_F(NewInstallation, AUserOutsideAdminIsRefusedAndNothingChanges) {
    // nobody must be able to reach its home and the installer inside the temporary folder.
    fs::permissions(root.base(), fs::perms::others_exec, fs::perm_options::add);
    fs::permissions(root.home(), fs::perms::all);
    fs::permissions(root.home() + "/Library", fs::perms::all, fs::perm_options::add);
    std::string before = snapshotTree(root.root());
    std::vector<std::string> argv{VELA_TEST_CLI, "--target", root.root(), "--json"};
    RunResult result = run(argv, environment(), 65534);
    EXPECT_EQ(result.status, 3) << result.err;
    EXPECT_EQ(field(recordOf(result.out, 3), "status"), "refused");
    EXPECT_EQ(field(recordOf(result.out, 3), "error.code"), "MSG_E3002");
    argv.push_back("--dry-run");
    EXPECT_EQ(run(argv, environment(), 65534).status, 3);
    EXPECT_NE(result.err.find("MSG_E3002"), std::string::npos);
    EXPECT_TRUE(inOrder(log.messages(), {"[INFO] End check user nobody in admin group(no admin)",
                                         "[ERROR] code=MSG_E3002, message=please install with "
                                         "administrator privileges"}));
    EXPECT_EQ(snapshotTree(root.root()), before);
}

TEST_F(NewInstallation, UsageErrorsHelpAndVersion) {
    const std::string nowhere = root.base() + "/nowhere";
    writeFile(root.base() + "/file", "");
    fs::create_directories(root.base() + "/empty");
    // A name that is not UTF-8 is refused, never taken as the folder it would decode to.
    const std::string notUtf8 = root.base() + "/volume\xff";
    const struct {
        std::vector<std::string> arguments;
        std::string said;  // on standard error
    } wrong[] = {
        {{"--target", nowhere}, "not an existing directory: " + nowhere},
        {{"--target", root.base() + "/file"}, "not an existing directory"},
        {{"--target", root.base() + "/empty"}, "not a system volume (no Applications folder)"},
        {{"--bogus"}, ""},
        {{"extra"}, ""},
        {{"--dry-run", "--verify"}, ""},
        {{"--target", notUtf8}, "--target: the folder's name is not valid UTF-8"},
        {{"--target=" + notUtf8}, "--target: the folder's name is not valid UTF-8"},
    };
    for (const auto& row : wrong) {
        SCOPED_TRACE(row.arguments.back());
        std::vector<std::string> argv{VELA_TEST_CLI, "--json"};
        argv.insert(argv.end(), row.arguments.begin(), row.arguments.end());
        RunResult usage = run(argv, environment());
        EXPECT_EQ(usage.status, 2);
        EXPECT_NE(usage.err.find(row.said), std::string::npos) << usage.err;
        QJsonObject record = recordOf(usage.out, 2);
        EXPECT_EQ(field(record, "status"), "usage");
        EXPECT_EQ(field(record, "error.code"), "usage");
    }
    RunResult help = run({VELA_TEST_CLI, "--help"}, environment());
    EXPECT_EQ(help.status, 0);
    for (const char* option : {"--target <dir>", "--json", "--dry-run", "--verify"}) {
        EXPECT_NE(help.out.find(option), std::string::npos) << option;
    }
    RunResult version = run({VELA_TEST_CLI, "--version"}, environment());
    EXPECT_EQ(version.status, 0);
    EXPECT_NE(version.out.find(VELA_TEST_VERSION), std::string::npos);
    EXPECT_FALSE(exists(root.logPath()));
}

// A journal is data that anybody with write access to the volume could plant: one that names
// anything but the installer's own paths, or that root did not write, is never acted on.
TEST_F(Overwrite, APlantedJournalIsRefusedAndNothingIsTouched) {
    const std::string journal =
        root.at("/Library/Application Support/Quillmark/VELA/.install-journal");
    auto journalNaming = [](const std::string& path, const std::string& version = "1.2.3") {
        return "{\"journal\": 1, \"mode\": \"overwrite\", \"version\": \"" + version +
               "\", \"steps\": [{\"step\": \"copyStarted\", \"path\": \"" + path + "\"}]}";
    };
    const struct {
        std::string text;
        bool rootsOwn;
    } planted[] = {
        {journalNaming("/etc"), true},
        {journalNaming("/"), true},
        {journalNaming("/Applications/Quillmark/VELA-Ver1.0/../../../etc"), true},
        {journalNaming("/Applications/Quillmark/VELA-Ver1.0/", "../../../etc"), true},
        {"not a journal", true},
        {journalNaming("/Applications/Quillmark/VELA-Ver1.0/"), false},
        // A step that records nothing has no entry to undo.
        {"{\"journal\": 2, \"mode\": \"new\", \"version\": \"1.2.3\", \"steps\": "
         "[{\"step\": \"link\", \"path\": \"/Applications/Quillmark/VELA-Ver1.0/\"}]}",
         true},
    };
    const std::string before = snapshotTree(root.at("/Applications"));
    for (const auto& plant : planted) {
        SCOPED_TRACE(plant.text);
        writeFile(journal, plant.text);
        ::chmod(journal.c_str(), 0600);
        ASSERT_EQ(::chown(journal.c_str(), plant.rootsOwn ? 0 : 65534, 0), 0);
        for (const std::vector<std::string>& arguments :
             {std::vector<std::string>{"--recover"}, std::vector<std::string>{}}) {
            RunResult refused = install(arguments);
            EXPECT_EQ(refused.status, 1) << refused.err;
            EXPECT_NE(refused.err.find("is not acted on"), std::string::npos) << refused.err;
        }
        EXPECT_EQ(snapshotTree(root.at("/Applications")), before);
        EXPECT_EQ(readFile(journal), plant.text);
    }
    // The journal of an installer before, whose entries had names of their own, is still
    // undone.
    fs::create_directories(generation("0.5") + "/VELA.app");
    writeFile(journal, journalNaming("/Applications/Quillmark/VELA-Ver0.5/", "0.5"));
    ::chmod(journal.c_str(), 0600);
    ASSERT_EQ(::chown(journal.c_str(), 0, 0), 0);
    EXPECT_EQ(install({"--recover"}).status, 0);
    EXPECT_EQ(snapshotTree(root.at("/Applications")), before);
    EXPECT_FALSE(exists(journal));

    // A killed new installation whose half copy already holds its uninstaller: the dry run, like
    // the run, decides on what the repair leaves.
    fs::remove_all(root.at("/Applications/Quillmark"));
    fs::create_directories(generation() + "/VELA-Uninstaller.app");
    writeFile(journal, "{\"journal\": 2, \"mode\": \"new\", \"version\": \"" VELA_TEST_VERSION
                       "\", \"steps\": [{\"step\": \"generation\", \"path\": "
                       "\"/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION "/\"}]}");
    ::chmod(journal.c_str(), 0600);
    const RunResult dry = install({"--dry-run", "--json"});
    EXPECT_EQ(field(recordOf(dry.out, 0), "mode"), "new") << dry.err;
    EXPECT_EQ(field(recordOf(install({"--json"}).out, 0), "mode"), "new");
}
