#include <QJsonObject>

#include <cstdio>
#include <filesystem>

#include "CliFixture.h"
#include "Files.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

// The target root is a small file system of its own, so it can fill up or turn read-only.
class Faults : public CliFixture {
protected:
    void mountRoot(const std::string& options) {
        ASSERT_EQ(
            ::system(("mount -t tmpfs -o " + options + " vela-test '" + root.root() + "'").c_str()),
            0)
            << "these tests need to mount a tmpfs (root)";
        mounted_ = true;
        for (const char* dir :
             {"Applications", "Library/LaunchAgents", "Library/Application Support", "Users"}) {
            fs::create_directories(root.at(std::string("/") + dir));
        }
    }
    void remount(const std::string& options) {
        ASSERT_EQ(::system(("mount -o remount," + options + " '" + root.root() + "'").c_str()), 0);
    }
    void TearDown() override {
        if (mounted_) {
            ::system(("umount -l '" + root.root() + "' 2>/dev/null").c_str());
        }
        CliFixture::TearDown();
    }
    void expectFailure(const RunResult& result, const std::string& message) {
        EXPECT_EQ(result.status, 1) << result.err;
        EXPECT_NE(result.err.find("MSG_E3001: " + message), std::string::npos) << result.err;
        EXPECT_TRUE(logContains("[ERROR] code=MSG_E3001, message=" + message));
    }

private:
    bool mounted_ = false;
};

}  // namespace

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
    EXPECT_TRUE(logContains("[ERROR] code=MSG_E3001, message=" + shortfall));
    EXPECT_EQ(snapshotTree(root.root()), before);
}

// Out of inodes with bytes to spare: the free-space check passes and the copy fails half-way.
TEST_F(Faults, AFullTargetLosesNothingOfAnOverwrittenInstallation) {
    mountRoot("size=64m,nr_inodes=300");
    installPreviousGeneration();
    std::string before = snapshotTree(root.root());
    growPayload("VELA-Uninstaller.app", 1u << 20, 400);
    expectFailure(install(), "Installation couldn't be completed");
    EXPECT_TRUE(logContains("[INFO] Undo the installation after a failure"));
    EXPECT_EQ(snapshotTree(root.root()), before);
}

// The journal cannot be written, so no step is taken, over an installation or on a fresh volume.
TEST_F(Faults, AReadOnlyTargetFailsAndChangesNothing) {
    const std::string journal =
        root.at("/Library/Application Support/Quillmark/VELA/.install-journal");
    for (const bool installed : {true, false}) {
        SCOPED_TRACE(installed ? "over an installation" : "fresh");
        mountRoot("size=64m");
        if (installed) {
            installPreviousGeneration();
        }
        std::string before = snapshotTree(root.root());
        remount("ro");
        expectFailure(install(), "installation failure: journal: " + journal +
                                     (installed ? ": Read-only file system" : ""));
        EXPECT_EQ(snapshotTree(root.root()), before);
        ::system(("umount -l '" + root.root() + "'").c_str());
    }
}

TEST_F(Faults, ABundleWithoutTheUninstallerFails) {
    useBundleCopy();
    fs::remove_all(bundle + "/Contents/MacOS/VELA-Uninstaller.app");
    RunResult dry = install({"--dry-run"});
    EXPECT_EQ(dry.status, 1);
    EXPECT_NE(
        dry.err.find("MSG_E3001: the installer bundle is incomplete: no VELA-Uninstaller.app"),
        std::string::npos)
        << dry.err;
    expectFailure(install(), "Installation couldn't be completed");
    EXPECT_TRUE(logContains("[INFO] Copy (null) to " + generation() + "/VELA-Uninstaller.app"));
    EXPECT_FALSE(exists(generation()));
}
