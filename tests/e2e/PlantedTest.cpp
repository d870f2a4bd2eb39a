// What a user who is not root can plant where the installer, running as root, will write: each
// row plants one thing as that user, runs a new installation or an overwrite, and checks that
// the run ends within seconds and says what it refused, that nothing outside the installer's
// own paths changed owner, mode or content, and that the installation is whole (or, for a run
// that must fail, that the previous one is intact).
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "CliFixture.h"
#include "Files.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

class Planted : public CliFixture {
protected:
    void SetUp() override {
        const struct passwd* nobody = ::getpwnam("nobody");
        ASSERT_NE(nobody, nullptr);
        user = nobody->pw_uid;
        // The user owns the home and can reach it; the victims belong to a third account, so
        // that re-owning one to anybody shows.
        ::chmod(root.base().c_str(), 0755);
        ASSERT_EQ(::system(("chown -R nobody: '" + root.home() + "'").c_str()), 0);
        victims = root.base() + "/victims";
        fs::create_directories(victims + "/folder");
        writeFile(victims + "/file", "precious\n");
        writeFile(victims + "/shared", "anyone may write, nobody may own\n");
        writeFile(victims + "/folder/inside", "precious too\n");
        ::chmod((victims + "/shared").c_str(), 0666);
        ASSERT_EQ(::system(("chown -R daemon:daemon '" + victims + "'").c_str()), 0);
    }

public:
    // What a row's plant and checks may use.

    /// Runs `script` with /bin/sh as the unprivileged user, with $HOME and $VICTIMS set.
    void plantAsUser(const std::string& script) {
        RunResult planted = run({"/bin/sh", "-c", "set -e\n" + script},
                                {{"HOME", root.home()}, {"VICTIMS", victims}}, user);
        ASSERT_EQ(planted.status, 0) << script << "\n" << planted.err;
    }

    std::string logs() const { return root.home() + "/Library/Logs"; }
    /// `path` (absolute as on a Mac) under the target root.
    std::string at(const std::string& path) const { return root.at(path); }

    uid_t user = 0;       ///< the unprivileged user who plants
    std::string victims;  ///< files and a folder of a third account, free to aim links at
};

struct Holds {
    int status = 0;         ///< the front end's exit status
    std::string stderrHas;  ///< said on standard error (the log may be what was refused)
    std::string logHas;     ///< said in the log
};

struct Row {
    const char* name;
    std::function<void(Planted&)> plant;
    std::function<Holds(const Planted&)> holds;
};

const Row kRows[] = {
    {"a link to a victim at the installer log's path",
     [](Planted& t) {
         t.plantAsUser(
             "mkdir -p \"$HOME/Library/Logs\"\n"
             "ln -s \"$VICTIMS/file\" \"$HOME/Library/Logs/VELA-Installer.log\"\n");
     },
     [](const Planted& t) {
         return Holds{
             0, "",
             "not handed over to root: " + t.logs() + "/VELA-Installer.log: it is a symbolic link"};
     }},
    {"a hard link to a victim at the installer log's path",
     [](Planted& t) {
         t.plantAsUser(
             "mkdir -p \"$HOME/Library/Logs\"\n"
             "ln \"$VICTIMS/shared\" \"$HOME/Library/Logs/VELA-Installer.log\"\n");
     },
     [](const Planted& t) {
         return Holds{0, "",
                      "not handed over to root: " + t.logs() +
                          "/VELA-Installer.log: it has a second hard link"};
     }},
    {"~/Library/Logs a link to a victim folder",
     [](Planted& t) {
         t.plantAsUser(
             "rm -rf \"$HOME/Library/Logs\"\nmkdir -p \"$HOME/Library\"\n"
             "ln -s \"$VICTIMS/folder\" \"$HOME/Library/Logs\"\n");
     },
     [](const Planted& t) {
         return Holds{0,
                      "the log file cannot be written: " + t.logs() +
                          "/VELA-device-Installer.log: Description: [it is a symbolic link]",
                      ""};
     }},
    {"a FIFO at the log's path",
     [](Planted& t) {
         t.plantAsUser(
             "mkdir -p \"$HOME/Library/Logs\"\n"
             "rm -f \"$HOME/Library/Logs/VELA-device-Installer.log\"\n"
             "mkfifo \"$HOME/Library/Logs/VELA-device-Installer.log\"\n");
     },
     [](const Planted& t) {
         return Holds{0,
                      "the log file cannot be written: " + t.logs() +
                          "/VELA-device-Installer.log: Description: [it is not a regular file]",
                      ""};
     }},
};

}  // namespace

TEST_F(Planted, NothingPlantedIsFollowedAndNoRunHangs) {
    for (const bool overwrite : {false, true}) {
        for (const Row& row : kRows) {
            SCOPED_TRACE(std::string(row.name) +
                         (overwrite ? ", overwrite" : ", new installation"));
            fs::remove_all(root.at("/Applications/Quillmark"));
            fs::remove_all(logs());
            if (overwrite) {
                installPreviousGeneration();
                ASSERT_EQ(::system(("chown -R nobody: '" + root.home() + "'").c_str()), 0);
            }
            row.plant(*this);
            const std::string victimsBefore = snapshotTree(victims);
            const std::string installedBefore = snapshotTree(root.at("/Applications"));
            const Holds holds = row.holds(*this);

            Process front({VELA_TEST_CLI, "--target", root.root()}, environment());
            const int status = front.wait(60000);
            ASSERT_NE(status, -1) << "still running after a minute: " << front.err();
            EXPECT_EQ(status, holds.status) << front.err();
            EXPECT_NE(front.err().find(holds.stderrHas), std::string::npos) << front.err();
            if (!holds.logHas.empty()) {
                EXPECT_TRUE(logContains(holds.logHas)) << holds.logHas;
            }
            EXPECT_EQ(snapshotTree(victims), victimsBefore);
            if (holds.status == 0) {
                EXPECT_TRUE(exists(generation() + "/VELA.app/Contents/MacOS/VELA"));
                EXPECT_EQ(fs::read_symlink(root.at("/Applications/Quillmark/VELA")),
                          generation() + "/");
            } else {
                EXPECT_EQ(snapshotTree(root.at("/Applications")), installedBefore);
            }
            fs::remove_all(logs());
        }
    }
}
