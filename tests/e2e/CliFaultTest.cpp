// The unattended front end when things go wrong: a signal mid-run, a volume that fills up or turns
// read-only, generation names that would run commands, and what a user who is not root can plant
// where the installer, running as root, will write.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QJsonObject>

#include <cstdio>
#include <filesystem>
#include <optional>

#include "CliFixture.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

constexpr std::uintmax_t kBigPayload = 768u << 20;

class Cancel : public CliFixture {};

// A signal during either copy of a new installation or an overwrite, or one refused early in
// the start steps and honoured once Cancel is possible: the run is undone to the tree before it
// (an overwrite's previous generation and help file exactly as they were), along the cancel
// road's trace lines.
TEST_F(Cancel, DuringEitherCopyRestoresTheTreeBeforeTheRun) {
    const struct {
        bool overwrite;
        std::string app;  // whose copy is made long
        int signal;
        std::string after;  // the log line after which the signal comes; the copy's start if empty
    } rows[] = {
        {false, "VELA.app", SIGINT, ""},
        {false, "VELA-Uninstaller.app", SIGTERM, ""},
        {false, "VELA.app", SIGINT, "[INFO] The log mode has been"},
        {true, "VELA.app", SIGINT, ""},
        {true, "VELA-Uninstaller.app", SIGHUP, ""},  // the terminal closed
    };
    const std::vector<std::string> newInstallation = {
        "[INFO] Remove application module: ", "cancelation with new installation",
        "[INFO] Remove directory for device license mode: ", "cancelation: removing link",
        "cancelation: removing LaunchControl file"};
    const std::vector<std::string> overwrite = {
        "cancelation with over write", "[INFO] Revert help file of the device license mode: ",
        "[INFO] installer rename : " + generation() + ".old/ to " + generation() + "/"};
    // The vendor folders and the lock that any run makes may stay; nothing else changes.
    std::vector<std::string> leaveOut = kVendorFolders;
    leaveOut.push_back(".install-lock");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.app + (row.overwrite ? ", overwrite" : ", new") + " " + row.after);
        fs::remove_all(root.at("/Applications/Quillmark"));
        fs::remove_all(root.at("/Library/Application Support/Quillmark"));
        fs::remove_all(root.at("/Library/LaunchAgents/com.quillmark.VELA.plist"));
        if (row.overwrite) {
            installPreviousGeneration();
        }
        fs::remove(root.logPath());
        const std::string before = snapshotTree(root.root(), leaveOut);
        fs::remove_all(bundle);
        bundle.clear();
        growPayload(row.app, kBigPayload, 64);
        auto cli = startInstall({"--json"});
        ASSERT_TRUE(waitForLog(row.after.empty()
                                   ? "[INFO] Copy " + bundle + "/Contents/MacOS/" + row.app + " to "
                                   : row.after));
        if (row.after.empty()) {  // a second installer meanwhile is turned away
            const RunResult second = install({"--json"});
            EXPECT_EQ(field(recordOf(second.out, 6), "status"), "busy");
            EXPECT_NE(second.err.find("another installer is working on " + root.root()),
                      std::string::npos);
        }
        cli->signal(row.signal);
        EXPECT_EQ(cli->wait(), 5) << cli->err();
        const QJsonObject record = recordOf(cli->out(), 5);
        EXPECT_EQ(field(record, "status"), "cancelled");
        EXPECT_EQ(field(record, "undone"), "true");
        EXPECT_NE(cli->err().find("cancelled"), std::string::npos);
        EXPECT_EQ(cli->err().find("cannot be cancelled at this point") != std::string::npos,
                  !row.after.empty());
        EXPECT_EQ(snapshotTree(root.root(), leaveOut), before);
        std::vector<std::string> road = {
            "[INFO] Start InstallationViewController cancelButtonClicked", "start: cancel=YES"};
        const std::vector<std::string>& undo = row.overwrite ? overwrite : newInstallation;
        road.insert(road.end(), undo.begin(), undo.end());
        road.insert(road.end(), {"end: cancel=YES",
                                 "[INFO] End InstallationViewController cancelButtonClicked"});
        EXPECT_TRUE(inOrder(log.messages(), road));
        // The copy ended under the cancel state: its completion saw it and started nothing more.
        EXPECT_TRUE(log.contains("didFinishedCopyWithError(std::error_code) start: cancel=YES"));
        EXPECT_EQ(log.contains("VELA-Uninstaller.app to"), row.app != "VELA.app");
        EXPECT_FALSE(log.contains("End Installation process"));
        EXPECT_EQ(countOf(log.messages(), "Device Installer module starting"), 1);
    }
    // A reader that goes away (a closed terminal, `| head`) is no reason to stop, nor is a
    // working folder removed meanwhile: the rest of the output is dropped and the run installs.
    const RunResult piped =
        run({"/bin/bash", "-c",
             "mkdir \"$2/gone\" && cd \"$2/gone\" && rmdir \"$2/gone\" || exit 99\n"
             "\"$0\" --target \"$1\" 2>&1 | head -c1 >/dev/null\n"
             "exit ${PIPESTATUS[0]}",
             VELA_TEST_CLI, root.root(), root.base()},
            environment());
    EXPECT_EQ(piped.status, 0) << piped.err;
    EXPECT_TRUE(exists(generation() + "/VELA.app"));
}

// An undo that fails is said, never "restored": the journal keeps what is left, a repair fails
// alike while the obstacle stays, and puts the previous installation back once it has gone. A
// failure past the point of no return leaves the new version linked and the journal to complete
// it.
TEST_F(Cancel, AnUndoThatFailsIsSaidAndTheJournalKeepsTheRest) {
    const std::string journal =
        root.at("/Library/Application Support/Quillmark/VELA/.install-journal");
    const auto immutable = [](const std::string& path, bool on) {
        ASSERT_EQ(::system(("chattr " + std::string(on ? "+i '" : "-i '") + path + "'").c_str()),
                  0);
    };
    installPreviousGeneration();
    const std::string before = snapshotTree(root.at("/Applications"));
    growPayload("VELA.app", kBigPayload, 64);
    auto cli = startInstall({"--json"});
    ASSERT_TRUE(waitForLog("[INFO] Copy " + bundle + "/Contents/MacOS/VELA.app to "));
    const std::string stuck = generation() + "/stuck";
    writeFile(stuck, "");
    immutable(stuck, true);
    cli->signal(SIGTERM);
    EXPECT_EQ(cli->wait(), 1) << cli->err();
    EXPECT_EQ(field(recordOf(cli->out(), 1), "undone"), "false");
    EXPECT_NE(cli->err().find("the undo failed: cannot remove: " + generation()), std::string::npos)
        << cli->err();
    EXPECT_EQ(cli->err().find("restored"), std::string::npos);
    EXPECT_TRUE(exists(journal));
    const RunResult stillStuck = install({"--recover"});
    EXPECT_EQ(stillStuck.status, 1);
    EXPECT_EQ(stillStuck.out.find("Repaired"), std::string::npos);
    immutable(stuck, false);
    EXPECT_EQ(install({"--recover"}).status, 0);
    EXPECT_EQ(snapshotTree(root.at("/Applications")), before);
    EXPECT_FALSE(exists(journal));

    // The journal cannot be rewritten once the half copy is gone (a full disk, here a folder
    // that refuses new files): the undo stops there, before the previous generation comes back,
    // and the repair takes it up without removing what it restores.
    fs::remove(root.logPath());
    cli = startInstall({"--json"});
    ASSERT_TRUE(waitForLog("[INFO] Copy " + bundle + "/Contents/MacOS/VELA.app to "));
    immutable(fs::path(journal).parent_path(), true);
    cli->signal(SIGTERM);
    EXPECT_EQ(cli->wait(), 1) << cli->err();
    EXPECT_EQ(field(recordOf(cli->out(), 1), "undone"), "false");
    EXPECT_NE(cli->err().find("the undo failed: " + journal + " ("), std::string::npos)
        << cli->err();
    immutable(fs::path(journal).parent_path(), false);
    // The lock is still held by what a killed run started (here a stand-in that lets go after
    // two seconds): a run is turned away, the repair asked for waits for it.
    const std::string lock = fs::path(journal).parent_path() / ".install-lock";
    Process holder({"/usr/bin/flock", lock, "/bin/sh", "-c", "touch \"$0.held\"; sleep 2", lock});
    ASSERT_TRUE(waitUntil([&] { return exists(lock + ".held"); }, 30000, "the lock held"));
    EXPECT_EQ(install().status, 6);
    const RunResult waited = install({"--recover"});
    EXPECT_EQ(waited.status, 0) << waited.err;
    EXPECT_NE(waited.err.find("waiting for " + lock), std::string::npos) << waited.err;
    fs::remove(lock + ".held");
    EXPECT_EQ(snapshotTree(root.at("/Applications")), before);

    // 2.0.0 over 1.2.3, beside a stale copy of 2.0.0's generation that cannot be removed.
    fs::remove_all(bundle);
    setVersion(useBundleCopy(), "2.0.0");
    const std::string stale = generation("2.0.0") + "/stuck";
    writeFile(stale, "");
    immutable(stale, true);
    const RunResult unfinished = install();
    EXPECT_EQ(unfinished.status, 1);
    EXPECT_NE(unfinished.err.find("installation failure: updater: " + generation("2.0.0") + ".old"),
              std::string::npos)
        << unfinished.err;
    EXPECT_NE(unfinished.err.find("--recover complete it"), std::string::npos);
    EXPECT_EQ(fs::read_symlink(root.at("/Applications/Quillmark/VELA")),
              "/Applications/Quillmark/VELA-Ver2.0.0/");
    EXPECT_TRUE(exists(generation("2.0.0") + "/VELA.app/Contents/MacOS/VELA"));
    EXPECT_TRUE(exists(journal));
    immutable(generation("2.0.0") + ".old/stuck", false);
    // What a power cut leaves of a copy that never reached the disk: the repair copies it again.
    fs::resize_file(generation("2.0.0") + "/VELA.app/Contents/MacOS/VELA", 0);
    EXPECT_EQ(install({"--recover"}).status, 0);
    EXPECT_TRUE(log.contains("Copying again what differs from the bundle: " + generation("2.0.0") +
                             "/VELA.app"));
    EXPECT_FALSE(exists(journal));
    EXPECT_FALSE(exists(generation("2.0.0") + ".old"));
    EXPECT_EQ(install({"--verify"}).status, 0);
}

// The target root is a small file system of its own, so it can fill up or turn read-only.
class Faults : public CliFixture {
protected:
    void mountRoot(const std::string& options) {
        ASSERT_EQ(
            ::system(("mount -t tmpfs -o " + options + " vela-test '" + root.root() + "'").c_str()),
            0)
            << "these tests need to mount a tmpfs (root)";
        root.layOutVolume();
    }
    void remount(const std::string& options) {
        ASSERT_EQ(::system(("mount -o remount," + options + " '" + root.root() + "'").c_str()), 0);
    }
    void TearDown() override {
        ::system(("umount -l '" + root.root() + "' 2>/dev/null").c_str());
        CliFixture::TearDown();
    }
    void expectFailure(const RunResult& result, const std::string& message) {
        EXPECT_EQ(result.status, 1) << result.err;
        EXPECT_NE(result.err.find("MSG_E3001: " + message), std::string::npos) << result.err;
        EXPECT_TRUE(log.contains("[ERROR] code=MSG_E3001, message=" + message));
    }
};

// The payload is measured against the volume first: a dry run says it would fail, and the real
// run refuses with the numbers before it changes anything.
TEST_F(Faults, ATargetTooSmallForThePayloadIsRefusedBeforeAnythingChanges) {
    mountRoot("size=24m");
    growPayload("VELA.app", 64u << 20, 16);
    ASSERT_EQ(install({"--recover"}).status, 0);  // the lock file, which every real run makes
    const std::string before = snapshotTree(root.root());
    const std::string shortfall = "not enough free space on " + root.at("/Applications") + ": ";
    for (const bool dryRun : {true, false}) {
        RunResult result = install(dryRun ? std::vector<std::string>{"--json", "--dry-run"}
                                          : std::vector<std::string>{"--json"});
        const QJsonObject record = recordOf(result.out, 1);
        EXPECT_EQ(field(record, "status"), dryRun ? "blocked" : "failed");
        EXPECT_EQ(field(record, "undone"), "false");
        const std::string message = field(record, "error.message");
        unsigned long long needed = 0;
        unsigned long long available = 0;
        ASSERT_EQ(message.rfind(shortfall, 0), 0u) << message;
        ASSERT_EQ(std::sscanf(message.c_str() + shortfall.size(),
                              "%llu bytes needed, %llu bytes available", &needed, &available),
                  2)
            << message;
        EXPECT_GT(needed, 64ull << 20);
        EXPECT_LE(available, 24ull << 20);
        EXPECT_NE(result.err.find("MSG_E3001: " + message), std::string::npos) << result.err;
    }
    EXPECT_TRUE(log.contains("[ERROR] code=MSG_E3001, message=" + shortfall));
    EXPECT_EQ(snapshotTree(root.root()), before);
}

// Out of inodes with bytes to spare: the free-space check passes and the copy fails half-way.
TEST_F(Faults, AFullTargetLosesNothingOfAnOverwrittenInstallation) {
    mountRoot("size=64m,nr_inodes=300");
    installPreviousGeneration();
    std::string before = snapshotTree(root.root());
    growPayload("VELA-Uninstaller.app", 1u << 20, 400);
    // The system's reason follows the message, with the path, wherever the message goes.
    const RunResult full = install({"--json"});
    expectFailure(full,
                  "Installation couldn't be completed: " + generation() + "/VELA-Uninstaller.app/");
    EXPECT_NE(field(recordOf(full.out, 1), "error.message").find(" (No space left on device)"),
              std::string::npos);
    EXPECT_EQ(field(recordOf(full.out, 1), "error.reason"), "No space left on device");
    EXPECT_EQ(field(recordOf(full.out, 1), "error.step"), "generation");
    EXPECT_TRUE(field(recordOf(full.out, 1), "error.path")
                    .starts_with(generation() + "/VELA-Uninstaller.app/"));
    EXPECT_TRUE(log.contains("[INFO] Undo the installation after a failure"));
    EXPECT_EQ(snapshotTree(root.root()), before);
}

// The lock cannot be taken, so no step is taken, over an installation or on a fresh volume.
TEST_F(Faults, AReadOnlyTargetFailsAndChangesNothing) {
    const std::string lock = root.at("/Library/Application Support/Quillmark/VELA/.install-lock");
    for (const bool installed : {true, false}) {
        SCOPED_TRACE(installed ? "over an installation" : "fresh");
        mountRoot("size=64m");
        if (installed) {
            installPreviousGeneration();
        }
        std::string before = snapshotTree(root.root());
        remount("ro");
        const RunResult result = install();
        EXPECT_EQ(result.status, 1);
        const std::string said = "cannot lock " + lock + ": Read-only file system; nothing changed";
        EXPECT_NE(result.err.find(said), std::string::npos) << result.err;
        EXPECT_TRUE(log.contains("[ERROR] " + said));
        EXPECT_EQ(snapshotTree(root.root()), before);
        ::system(("umount -l '" + root.root() + "'").c_str());
    }
}

// A bundle that cannot say its version plainly or lacks what it installs is refused by the
// installation, its dry run and its verification alike, before anything changes: the version
// names folders that root creates and removes, and a crafted one must never reach a victim
// beside the target.
TEST_F(Faults, AHostileBundleIsRefusedBeforeAnythingChanges) {
    const std::string victim = root.base() + "/victimX";
    writeFile(victim + "/inside", "precious\n");
    installPreviousGeneration();
    const std::string plist = "Contents/Info.plist";
    const std::string notPlain = "\" is not a plain version";
    const struct {
        const char* name;
        std::string script;  // run by /bin/sh in the bundle copy
        std::string said;
        std::string version = {};  // the bundle's, when there is no script
    } rows[] = {
        {"a version reaching the victim", "", "../../../../../victimX" + notPlain,
         "../../../../../victimX"},
        {"a version with a slash", "", "1.2/3" + notPlain, "1.2/3"},
        {"an empty version", "", "CFBundleShortVersionString \"" + notPlain, ""},
        {"a very long version", "", std::string(64, '1') + "..." + notPlain, std::string(300, '1')},
        {"a version not in UTF-8", "", "1.\\xff\\xfe" + notPlain, "1.\xff\xfe"},
        {"a version the installer moves generations aside as", "", "1.2.3.OLD" + notPlain,
         "1.2.3.OLD"},
        {"no Info.plist", "rm " + plist, plist + ": No such file or directory"},
        {"a malformed Info.plist", "echo '<plist><dict><key>' >" + plist,
         plist + ": is not a property list of keys and values"},
        {"Info.plist a folder", "rm " + plist + " && mkdir " + plist,
         plist + ": is a folder, not a file"},
        {"Info.plist a FIFO", "rm " + plist + " && mkfifo " + plist,
         plist + ": is not a regular file"},
        {"no uninstaller", "rm -r Contents/MacOS/VELA-Uninstaller.app",
         "the installer bundle is incomplete: no VELA-Uninstaller.app"},
        {"no LaunchAgent", "rm Contents/Resources/VELA.plist",
         "the installer bundle is incomplete: no VELA.plist"},
        {"the application a link to a folder elsewhere",
         "rm -r Contents/MacOS/VELA.app && ln -s \"$VICTIM\" Contents/MacOS/VELA.app",
         "Contents/MacOS/VELA.app is not a folder"},
        {"the application a file", "rm -r Contents/MacOS/VELA.app && touch Contents/MacOS/VELA.app",
         "Contents/MacOS/VELA.app is not a folder"},
    };
    const std::string before = snapshotTree(root.root());
    const std::string victimBefore = snapshotTree(victim);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove_all(root.base() + "/Installer Copy.app");
        useBundleCopy();
        if (row.script.empty()) {
            setVersion(bundle, row.version);
        }
        const RunResult planted =
            run({"/bin/sh", "-c", "set -e\ncd \"$1\"\n" + row.script, "plant", bundle},
                {{"VICTIM", victim}});
        ASSERT_EQ(planted.status, 0) << planted.err;
        for (const std::vector<std::string>& mode : {std::vector<std::string>{"--json"},
                                                     {"--json", "--dry-run"},
                                                     {"--json", "--verify"}}) {
            const RunResult result = install(mode);
            EXPECT_EQ(result.status, 1) << mode.back() << ": " << result.err;
            EXPECT_EQ(field(recordOf(result.out, 1), "status"), "failed");
            EXPECT_NE(result.err.find("MSG_E3001: the installer bundle is "), std::string::npos);
            EXPECT_NE(result.err.find(row.said), std::string::npos) << result.err;
        }
        EXPECT_TRUE(log.contains("[ERROR] code=MSG_E3001, message=the installer bundle is "));
        EXPECT_EQ(snapshotTree(root.root()), before);
        EXPECT_EQ(snapshotTree(victim), victimBefore);
    }
}

// A root whose name needs quoting, and generation names that would run commands, split words or
// expand globs if any command line took them as they stand.
class HostileNames : public CliFixture {
protected:
    HostileNames() : CliFixture("root with ' quote") {}
    // The working directory goes with the root: a later test's commands would start in a folder
    // that no longer exists.
    void TearDown() override {
        fs::current_path("/");
        CliFixture::TearDown();
    }
};

const std::vector<std::string> kHostileGenerations = {
    "VELA-Ver1;touch X",      "VELA-Ver$(touch X)",   "VELA-Ver`touch X`",
    "VELA-Ver1'\"x",          "VELA-Ver2\ntouch X",   "VELA-Ver *",
    "VELA-Ver$(touch X).old", "VELA-Ver;touch X.old", "VELA-Ver&& touch X .old",
};

// A bundle with a link to an outside file in its payload; a link planted in the device
// directory. An installation and an overwrite remove exactly the hostile generations, run
// nothing, and follow no link as root.
TEST_F(HostileNames, AreRemovedAsNamedAndNothingWidensOrFollows) {
    const std::string base = root.at("/Applications/Quillmark");
    for (const std::string& name : kHostileGenerations) {
        fs::create_directories(base + "/" + name + "/VELA-Uninstaller.app");
    }
    // Anything a widened command would hit: the working directory, siblings, the root.
    fs::create_directories(base + "/keep-me");
    writeFile(root.at("/Applications/keep-me-too"), "");
    fs::current_path(root.base());
    // An outside file owned by nobody, mode 600: what a careless chown -R or chmod would change.
    const std::string victim = root.base() + "/victim";
    writeFile(victim, "secret");
    ASSERT_EQ(::chown(victim.c_str(), 65534, 65534), 0);
    ASSERT_EQ(::chmod(victim.c_str(), 0600), 0);
    fs::create_directories(deviceDirectory());
    fs::create_symlink(victim, deviceDirectory() + "/planted");
    useBundleCopy();
    fs::create_symlink(victim, bundle + "/Contents/MacOS/VELA.app/Contents/planted");
    const std::string generation = base + "/VELA-Ver" VELA_TEST_VERSION;

    RunResult result = install();
    ASSERT_EQ(result.status, 0) << result.err;
    ASSERT_EQ(install().status, 0);  // and an overwrite of it
    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(base)) {
        left.push_back(entry.path().filename().string());
    }
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"VELA", "VELA-Ver" VELA_TEST_VERSION, "keep-me"}));
    EXPECT_TRUE(exists(root.at("/Applications/keep-me-too")));
    for (const std::string& dir : {root.base(), root.root(), base, std::string("/tmp")}) {
        EXPECT_FALSE(exists(dir + "/X")) << "a command ran in " << dir;
    }
    for (const std::string& name : kHostileGenerations) {
        if (name.find('\n') != std::string::npos) {
            continue;  // its log line is split in two; that it is gone is checked above
        }
        const bool old = name.size() > 4 && name.compare(name.size() - 4, 4, ".old") == 0;
        EXPECT_TRUE(
            log.contains(old ? "[INFO] removed old moved folder: " + base + "/" + name
                             : "[INFO] installer removed updater: " + base + "/" + name + "/"))
            << name;
    }
    // Every command line names the root in quotes, the quote itself escaped.
    EXPECT_TRUE(log.contains(
        "command execute: chown -R root:admin '" + root.base() +
        "/root with '\\'' quote/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION "/'"));
    EXPECT_EQ(accessOf(victim), "nobody:nogroup:-rw-------");
    EXPECT_EQ(readFile(victim), "secret");
    EXPECT_EQ(fs::read_symlink(generation + "/VELA.app/Contents/planted"), victim);
    EXPECT_EQ(accessOf(deviceDirectory()), "root:admin:drwxrwxr-x");
    EXPECT_TRUE(exists(generation + "/VELA-Uninstaller.app"));
}

constexpr uid_t kNobody = 65534;
const std::string kVendor = "/Library/Application Support/Quillmark/VELA";

struct Outcome {
    int status = 0;
    std::string said;  // on standard error or in the log (the log may be what was refused)
};

struct Row {
    const char* name;
    std::string folder;  // as on a Mac, opened to anybody as an admin group's folder is; "" none
    std::string script;  // run by /bin/sh as the user, $1 the folder under the target root
    Outcome fresh;
    std::optional<Outcome> overwrite = {};  // when it differs from a new installation's
    const char* clear = "";                 // removed first, as the user could not
};

class Planted : public CliFixture {};

// Each row plants one thing as a user who is not root, runs a new installation or an overwrite,
// and checks that the run ends within seconds and says what it refused, that nothing outside the
// installer's own paths changed owner, mode or content, and that the installation is whole (or,
// for a run that must fail, that the previous one is intact).
TEST_F(Planted, NothingPlantedIsFollowedAndNoRunHangs) {
    // The user owns the home and can reach it; the victims belong to a third account, so that
    // re-owning one to anybody shows.
    const std::string logs = root.home() + "/Library/Logs";
    const std::string victims = root.base() + "/victims";
    const std::string generation = CliFixture::generation() + "/";
    ::chmod(root.base().c_str(), 0755);
    writeFile(victims + "/file", "precious\n");
    writeFile(victims + "/shared", "anyone may write, nobody may own\n");
    writeFile(victims + "/folder/inside", "precious too\n");
    writeFile(victims + "/folder/VELA.config.plist", "another account's, root may not remove\n");
    ::chmod((victims + "/shared").c_str(), 0666);
    ASSERT_EQ(::system(("chown -R daemon:daemon '" + victims + "'").c_str()), 0);
    const std::string logFailure = "the log file cannot be written: " + logs +
                                   "/VELA-device-Installer.log: Description: [it is ";
    const Row rows[] = {
        {"a link to a victim at the installer log's path",
         "",
         "mkdir -p \"$HOME/Library/Logs\"\n"
         "ln -s \"$VICTIMS/file\" \"$HOME/Library/Logs/VELA-Installer.log\"\n",
         {0, "not handed over to root: " + logs + "/VELA-Installer.log: it is a symbolic link"}},
        {"a hard link to a victim at the installer log's path",
         "",
         "mkdir -p \"$HOME/Library/Logs\"\n"
         "ln \"$VICTIMS/shared\" \"$HOME/Library/Logs/VELA-Installer.log\"\n",
         {0,
          "not handed over to root: " + logs + "/VELA-Installer.log: it has a second hard link"}},
        {"~/Library/Logs a link to a victim folder",
         "",
         "rm -rf \"$HOME/Library/Logs\"\nmkdir -p \"$HOME/Library\"\n"
         "ln -s \"$VICTIMS/folder\" \"$HOME/Library/Logs\"\n",
         {0, logFailure + "a symbolic link]"}},
        {"a FIFO at the log's path",
         "",
         "mkdir -p \"$HOME/Library/Logs\"\nrm -f \"$HOME/Library/Logs/VELA-device-Installer.log\"\n"
         "mkfifo \"$HOME/Library/Logs/VELA-device-Installer.log\"\n",
         {0, logFailure + "not a regular file]"}},
        // What an administrator (a member of the group that may write there) or a user of a
        // folder left open could plant among the generations, in the device directory and at
        // the lock.
        {"links to a victim folder among the generations and at the generation's own name",
         "/Applications/Quillmark",
         "ln -s \"$VICTIMS/folder\" \"$1/VELA-Ver0\"\n[ -e \"$1/VELA-Ver" VELA_TEST_VERSION
         "\" ] || ln -s \"$VICTIMS/folder\" \"$1/VELA-Ver" VELA_TEST_VERSION "\"",
         {1, "installation failure: not a directory: " + generation + " (a symbolic link)"},
         Outcome{0, "Removing the symbolic link itself, not what it points to: " +
                        root.at("/Applications/Quillmark/VELA-Ver0/")}},
        {"links to a victim at the offline flag and the help file, a hard link beside",
         kVendor + "/VELA-device",
         "ln -sf \"$VICTIMS/file\" \"$1/VELA-device.offline-mode\"\n"
         "ln -f \"$VICTIMS/shared\" \"$1/VELA-for-Device-help.pdf\"\n"
         "ln -sf \"$VICTIMS/nothing-yet\" \"$1/VELA-for-Device-help.pdf.old\"",
         Outcome{}},
        {"the device directory a link to a victim folder",
         kVendor,
         "ln -s \"$VICTIMS/folder\" \"$1/VELA-device\"",
         {1, "non-directory item exists: " + root.at(kVendor + "/VELA-device")},
         std::nullopt,
         "/Library/Application Support/Quillmark/VELA/VELA-device"},
        {"a file where the device directory belongs",
         kVendor,
         "echo x >\"$1/VELA-device\"",
         {1, "MSG_E3001: non-directory item exists: " + root.at(kVendor + "/VELA-device")},
         std::nullopt,
         "/Library/Application Support/Quillmark/VELA/VELA-device"},
        {"a link to a victim at the installation record",
         kVendor,
         "ln -sf \"$VICTIMS/shared\" \"$1/last-install.json\"",
         {0, "Installation record kept: " + root.at(kVendor + "/last-install.json")}},
        {"a link to a victim at the lock",
         kVendor,
         "ln -s \"$VICTIMS/file\" \"$1/.install-lock\"",
         {1, "cannot lock " + root.at(kVendor + "/.install-lock")},
         std::nullopt,
         "/Library/Application Support/Quillmark/VELA/.install-lock"},
        {"the generations' folder a link to a victim folder",
         "/Applications",
         "ln -s \"$VICTIMS/folder\" \"$1/Quillmark\"",
         {1, "installation failure: not a directory: " + root.at("/Applications/Quillmark") +
                 " (a symbolic link)"},
         std::nullopt,
         "/Applications/Quillmark"},
        {"the generations' folder a file",
         "/Applications",
         "echo x >\"$1/Quillmark\"",
         {1, "installation failure: not a directory: " + root.at("/Applications/Quillmark") +
                 " (a file)"},
         std::nullopt,
         "/Applications/Quillmark"},
        {"a folder where the link belongs",
         "/Applications/Quillmark",
         "mkdir \"$1/VELA\"",
         {1, "link to applications: " + root.at("/Applications/Quillmark/VELA") +
                 " (a folder, not a link)"},
         std::nullopt,
         "/Applications/Quillmark/VELA"},
        {"the LaunchAgents folder a link to a victim folder",
         "/Library",
         "ln -s \"$VICTIMS/folder\" \"$1/LaunchAgents\"",
         {1, "(" + root.at("/Library/LaunchAgents") + " is a symbolic link)"},
         std::nullopt,
         "/Library/LaunchAgents"},
        // A user's own folder is the user's to arrange: root reaches the preferences it clears
        // through it without following any link.
        {"a user's preferences folder a link to a folder the user cannot read",
         "/Users",
         "mkdir -p \"$1/someone/Library/Application Support/Quillmark\"\n"
         "ln -s \"$VICTIMS/folder\" \"$1/someone/Library/Application Support/Quillmark/VELA\"",
         {0, "Left alone: " + root.at("/Users/someone/Library/Application Support/Quillmark/VELA") +
                 "/VELA.config.plist (" +
                 root.at("/Users/someone/Library/Application Support/Quillmark/VELA") +
                 ": it is a symbolic link)"},
         Outcome{},
         "/Users/someone"},
        {"a folder at the help file's backup name",
         kVendor + "/VELA-device",
         "mkdir \"$1/VELA-for-Device-help.pdf.old\"",
         {1, "MSG_E3001: installation failure: removing old renamed help file : " +
                 root.at(kVendor + "/VELA-device/VELA-for-Device-help.pdf.old") +
                 " (a directory)"}},
        {"a folder at the lock",
         kVendor,
         "mkdir \"$1/.install-lock\"",
         {1, "cannot lock " + root.at(kVendor + "/.install-lock") + ": Is a directory"},
         std::nullopt,
         "/Library/Application Support/Quillmark/VELA/.install-lock"},
    };
    for (const bool overwriting : {false, true}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(row.name) + (overwriting ? ", overwrite" : ", new"));
            fs::remove_all(root.at("/Applications/Quillmark"));
            fs::remove_all(root.at("/Library/Application Support/Quillmark"));
            fs::remove_all(root.at("/Library/LaunchAgents"));
            fs::remove_all(logs);
            if (overwriting) {
                installPreviousGeneration();
            }
            ASSERT_EQ(::system(("chown -R nobody: '" + root.home() + "'").c_str()), 0);
            if (*row.clear != 0) {
                fs::remove_all(root.at(row.clear));
            }
            if (!row.folder.empty()) {
                fs::create_directories(root.at(row.folder));
                ::chmod(root.at(row.folder).c_str(), 0777);
            }
            const RunResult planted =
                run({"/bin/sh", "-c", "set -e\n" + row.script, "plant", root.at(row.folder)},
                    {{"HOME", root.home()}, {"VICTIMS", victims}}, kNobody);
            ASSERT_EQ(planted.status, 0) << row.script << "\n" << planted.err;
            const std::string victimsBefore = snapshotTree(victims);
            const std::string installedBefore = snapshotTree(root.at("/Applications"));
            const Outcome expected = overwriting && row.overwrite ? *row.overwrite : row.fresh;

            // The dry run asks what the run asks, and answers alike.
            const RunResult dry = install({"--dry-run"});
            EXPECT_EQ(dry.status, expected.status) << "the dry run disagrees: " << dry.err;
            EXPECT_EQ(snapshotTree(root.at("/Applications")), installedBefore);

            const auto front = startInstall();
            const int status = front->wait(60000);
            ASSERT_NE(status, -1) << "still running after a minute: " << front->err();
            EXPECT_EQ(status, expected.status) << front->err();
            EXPECT_TRUE(front->err().find(expected.said) != std::string::npos ||
                        log.contains(expected.said))
                << expected.said << "\n"
                << front->err();
            EXPECT_EQ(snapshotTree(victims), victimsBefore);
            if (expected.status == 0) {
                EXPECT_EQ(install({"--verify"}).status, 0) << "a tree its own check calls damaged";
                EXPECT_TRUE(exists(generation + "VELA.app/Contents/MacOS/VELA"));
                EXPECT_EQ(fs::read_symlink(root.at("/Applications/Quillmark/VELA")),
                          "/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION "/");
            } else {
                EXPECT_EQ(snapshotTree(root.at("/Applications")), installedBefore);
            }
        }
    }
}

}  // namespace
