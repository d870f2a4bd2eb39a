#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "CliFixture.h"
#include "Files.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

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

}  // namespace

// A bundle with an empty version (so the generation is the bare prefix, a removal's widest
// chance), without its agent, and with a link to an outside file in its payload; links planted
// in the device directory. A new installation and an overwrite must remove the hostile
// generations as named, run nothing, never name the root or a folder above the generations in a
// removal, and never follow a link as root.
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
    setVersion(useBundleCopy(), "");
    fs::create_symlink(victim, bundle + "/Contents/MacOS/VELA.app/Contents/planted");
    fs::remove(bundle + "/Contents/Resources/VELA.plist");
    const std::string generation = base + "/VELA-Ver";

    RunResult result = install();
    ASSERT_EQ(result.status, 0) << result.err;
    ASSERT_EQ(install().status, 0);  // and an overwrite of it
    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(base)) {
        left.push_back(entry.path().filename().string());
    }
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"VELA", "VELA-Ver", "keep-me"}));
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
            logContains(old ? "[INFO] removed old moved folder: " + base + "/" + name
                            : "[INFO] installer removed updater: " + base + "/" + name + "/"))
            << name;
    }
    // Every command line names the root in quotes, the quote itself escaped.
    EXPECT_TRUE(logContains("command execute: chown -R root:admin '" + root.base() +
                            "/root with '\\'' quote/Applications/Quillmark/VELA-Ver/'"));
    for (const std::string& message : logMessages()) {
        const std::size_t rm = message.find("rm -rf ");
        if (rm == std::string::npos) {
            continue;
        }
        const std::string target = message.substr(rm + 7, message.find(']', rm) - rm - 7);
        for (const std::string& forbidden :
             {std::string(), root.root(), root.root() + "/Applications",
              root.root() + "/Applications/Quillmark"}) {
            EXPECT_NE(target, "'" + forbidden + "'") << message;
            EXPECT_NE(target, "'" + forbidden + "/'") << message;
        }
        EXPECT_NE(target.find("VELA"), std::string::npos) << message;
    }
    EXPECT_EQ(accessOf(victim), "nobody:nogroup:-rw-------");
    EXPECT_EQ(readFile(victim), "secret");
    EXPECT_EQ(fs::read_symlink(generation + "/VELA.app/Contents/planted"), victim);
    EXPECT_EQ(accessOf(deviceDirectory()), "root:admin:drwxrwxr-x");
    // A bundle without its agent installs all the rest.
    EXPECT_TRUE(logContains("[INFO] Copy (null) to " +
                            root.at("/Library/LaunchAgents/com.quillmark.VELA.plist")));
    EXPECT_FALSE(exists(root.at("/Library/LaunchAgents/com.quillmark.VELA.plist")));
    EXPECT_TRUE(exists(generation + "/VELA-Uninstaller.app"));
}
