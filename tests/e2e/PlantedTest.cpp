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

    /// Runs `script` with /bin/sh as the unprivileged user, with $HOME and $VICTIMS set, and
    /// `folder` (as on a Mac) under the target root as $1.
    void plantAsUser(const std::string& script, const std::string& folder = "/") {
        RunResult planted = run({"/bin/sh", "-c", "set -e\n" + script, "plant", at(folder)},
                                {{"HOME", root.home()}, {"VICTIMS", victims}}, user);
        ASSERT_EQ(planted.status, 0) << script << "\n" << planted.err;
    }
    /// Lets anybody write in `folder` (as on a Mac), as a folder of the group admin lets its
    /// members.
    void openFolder(const std::string& folder) {
        fs::create_directories(at(folder));
        ::chmod(at(folder).c_str(), 0777);
    }

    std::string logs() const { return root.home() + "/Library/Logs"; }
    /// `path` (absolute as on a Mac) under the target root.
    std::string at(const std::string& path) const { return root.at(path); }

    std::string generation() const { return CliFixture::generation(); }

    uid_t user = 0;          ///< the unprivileged user who plants
    bool overwrite = false;  ///< the row runs over a previous installation
    std::string victims;     ///< files and a folder of a third account, free to aim links at
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
    // What an administrator (a member of the group that may write there) or a user of a folder
    // left open could plant among the generations, in the device directory and at the lock.
    {"a link to a victim folder among the generations",
     [](Planted& t) {
         t.openFolder("/Applications/Quillmark");
         t.plantAsUser("ln -s \"$VICTIMS/folder\" \"$1/VELA-Ver0\"", "/Applications/Quillmark");
     },
     [](const Planted& t) {
         return Holds{0, "",
                      t.overwrite ? "Removing the symbolic link itself, not what it points to: " +
                                        t.at("/Applications/Quillmark/VELA-Ver0/")
                                  : ""};
     }},
    {"a link to a victim folder at the generation's own name",
     [](Planted& t) {
         t.openFolder("/Applications/Quillmark");
         t.plantAsUser("[ -e \"$1/VELA-Ver" VELA_TEST_VERSION
                       "\" ] || ln -s \"$VICTIMS/folder\" "
                       "\"$1/VELA-Ver" VELA_TEST_VERSION "\"",
                       "/Applications/Quillmark");
     },
     [](const Planted& t) {
         if (t.overwrite) {
             return Holds{0, "", ""};
         }
         return Holds{
             1, "installation failure: not a directory: " + t.generation() + "/ (a symbolic link)",
             ""};
     }},
    {"links to a victim at the offline flag and the help file, a hard link beside",
     [](Planted& t) {
         t.openFolder("/Library/Application Support/Quillmark/VELA/VELA-device");
         t.plantAsUser(
             "ln -sf \"$VICTIMS/file\" \"$1/VELA-device.offline-mode\"\n"
             "ln -f \"$VICTIMS/shared\" \"$1/VELA-for-Device-help.pdf\"\n"
             "ln -sf \"$VICTIMS/nothing-yet\" \"$1/VELA-for-Device-help.pdf.old\"",
             "/Library/Application Support/Quillmark/VELA/VELA-device");
     },
     [](const Planted&) {
         return Holds{0, "", ""};
     }},
    {"the device directory a link to a victim folder",
     [](Planted& t) {
         t.openFolder("/Library/Application Support/Quillmark/VELA");
         fs::remove_all(t.at("/Library/Application Support/Quillmark/VELA/VELA-device"));
         t.plantAsUser("ln -s \"$VICTIMS/folder\" \"$1/VELA-device\"",
                       "/Library/Application Support/Quillmark/VELA");
     },
     [](const Planted& t) {
         return Holds{1,
                      "non-directory item exists: " +
                          t.at("/Library/Application Support/Quillmark/VELA/VELA-device"),
                      ""};
     }},
    {"a link to a victim at the installation record",
     [](Planted& t) {
         t.openFolder("/Library/Application Support/Quillmark/VELA");
         t.plantAsUser("ln -sf \"$VICTIMS/shared\" \"$1/last-install.json\"",
                       "/Library/Application Support/Quillmark/VELA");
     },
     [](const Planted& t) {
         return Holds{0, "",
                      "Installation record kept: " +
                          t.at("/Library/Application Support/Quillmark/VELA/last-install.json")};
     }},
    {"a link to a victim at the lock",
     [](Planted& t) {
         t.openFolder("/Library/Application Support/Quillmark/VELA");
         fs::remove(t.at("/Library/Application Support/Quillmark/VELA/.install-lock"));
         t.plantAsUser("ln -s \"$VICTIMS/file\" \"$1/.install-lock\"",
                       "/Library/Application Support/Quillmark/VELA");
     },
     [](const Planted& t) {
         return Holds{
             1, "cannot lock " + t.at("/Library/Application Support/Quillmark/VELA/.install-lock"),
             ""};
     }},
};

}  // namespace

TEST_F(Planted, NothingPlantedIsFollowedAndNoRunHangs) {
    for (const bool overwriting : {false, true}) {
        for (const Row& row : kRows) {
            SCOPED_TRACE(std::string(row.name) +
                         (overwriting ? ", overwrite" : ", new installation"));
            overwrite = overwriting;
            fs::remove_all(root.at("/Applications/Quillmark"));
            fs::remove_all(root.at("/Library/Application Support/Quillmark"));
            fs::remove_all(logs());
            if (overwriting) {
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
                          "/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION "/");
            } else {
                EXPECT_EQ(snapshotTree(root.at("/Applications")), installedBefore);
            }
            fs::remove_all(logs());
        }
    }
}
