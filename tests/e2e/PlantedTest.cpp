// What a user who is not root can plant where the installer, running as root, will write: each
// row plants one thing as that user, runs a new installation or an overwrite, and checks that
// the run ends within seconds and says what it refused, that nothing outside the installer's
// own paths changed owner, mode or content, and that the installation is whole (or, for a run
// that must fail, that the previous one is intact).
#include <sys/stat.h>

#include <filesystem>
#include <optional>

#include "CliFixture.h"
#include "Files.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

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
    std::string clear = {};                 // removed first, as the user could not
};

class Planted : public CliFixture {};

}  // namespace

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
        {"a link to a victim folder among the generations",
         "/Applications/Quillmark",
         "ln -s \"$VICTIMS/folder\" \"$1/VELA-Ver0\"",
         {},
         Outcome{0, "Removing the symbolic link itself, not what it points to: " +
                        root.at("/Applications/Quillmark/VELA-Ver0/")}},
        {"a link to a victim folder at the generation's own name",
         "/Applications/Quillmark",
         "[ -e \"$1/VELA-Ver" VELA_TEST_VERSION
         "\" ] || ln -s \"$VICTIMS/folder\" \"$1/VELA-Ver" VELA_TEST_VERSION "\"",
         {1, "installation failure: not a directory: " + generation + " (a symbolic link)"},
         Outcome{}},
        {"links to a victim at the offline flag and the help file, a hard link beside",
         kVendor + "/VELA-device",
         "ln -sf \"$VICTIMS/file\" \"$1/VELA-device.offline-mode\"\n"
         "ln -f \"$VICTIMS/shared\" \"$1/VELA-for-Device-help.pdf\"\n"
         "ln -sf \"$VICTIMS/nothing-yet\" \"$1/VELA-for-Device-help.pdf.old\"",
         {}},
        {"the device directory a link to a victim folder",
         kVendor,
         "ln -s \"$VICTIMS/folder\" \"$1/VELA-device\"",
         {1, "non-directory item exists: " + root.at(kVendor + "/VELA-device")},
         {},
         kVendor + "/VELA-device"},
        {"a link to a victim at the installation record",
         kVendor,
         "ln -sf \"$VICTIMS/shared\" \"$1/last-install.json\"",
         {0, "Installation record kept: " + root.at(kVendor + "/last-install.json")}},
        {"a link to a victim at the lock",
         kVendor,
         "ln -s \"$VICTIMS/file\" \"$1/.install-lock\"",
         {1, "cannot lock " + root.at(kVendor + "/.install-lock")},
         {},
         kVendor + "/.install-lock"},
    };
    for (const bool overwriting : {false, true}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(row.name) + (overwriting ? ", overwrite" : ", new"));
            fs::remove_all(root.at("/Applications/Quillmark"));
            fs::remove_all(root.at("/Library/Application Support/Quillmark"));
            fs::remove_all(logs);
            if (overwriting) {
                installPreviousGeneration();
            }
            ASSERT_EQ(::system(("chown -R nobody: '" + root.home() + "'").c_str()), 0);
            if (!row.clear.empty()) {
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

            Process front({VELA_TEST_CLI, "--target", root.root()}, environment());
            const int status = front.wait(60000);
            ASSERT_NE(status, -1) << "still running after a minute: " << front.err();
            EXPECT_EQ(status, expected.status) << front.err();
            EXPECT_TRUE(front.err().find(expected.said) != std::string::npos ||
                        logContains(expected.said))
                << expected.said << "\n"
                << front.err();
            EXPECT_EQ(snapshotTree(victims), victimsBefore);
            if (expected.status == 0) {
                EXPECT_TRUE(exists(generation + "VELA.app/Contents/MacOS/VELA"));
                EXPECT_EQ(fs::read_symlink(root.at("/Applications/Quillmark/VELA")),
                          "/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION "/");
            } else {
                EXPECT_EQ(snapshotTree(root.at("/Applications")), installedBefore);
            }
        }
    }
}
