#include <grp.h>
#include <pwd.h>
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
};

const std::vector<std::string> kHostileGenerations = {
    "VELA-Ver1;touch X",      "VELA-Ver$(touch X)",   "VELA-Ver`touch X`",
    "VELA-Ver1'\"x",          "VELA-Ver2\ntouch X",   "VELA-Ver *",
    "VELA-Ver$(touch X).old", "VELA-Ver;touch X.old", "VELA-Ver&& touch X .old",
};

}  // namespace

TEST_F(HostileNames, AreRemovedAsNamedAndRunNothing) {
    const std::string base = root.at("/Applications/Quillmark");
    for (const std::string& name : kHostileGenerations) {
        fs::create_directories(base + "/" + name + "/VELA-Uninstaller.app");
    }
    // Anything a widened command would hit: the working directory, siblings, the root.
    fs::create_directories(base + "/keep-me");
    writeFile(root.at("/Applications/keep-me-too"), "");
    fs::current_path(root.base());

    RunResult result = install();
    ASSERT_EQ(result.status, 0) << result.err;
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
            logContains(old ? "[INFO] removed old moved folder: " + base + "/" + name
                            : "[INFO] installer removed updater: " + base + "/" + name + "/"))
            << name;
    }
    // Every command line names the root in quotes, the quote itself escaped.
    EXPECT_TRUE(logContains(
        "command execute: chown -R root:admin '" + root.base() +
        "/root with '\\'' quote/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION "/'"));
}

namespace {

class PlantedLinks : public CliFixture {};

// An outside file owned by nobody, mode 600: what a careless chown -R or chmod would change.
std::string makeVictim(const std::string& dir) {
    std::string victim = dir + "/victim";
    writeFile(victim, "secret");
    EXPECT_EQ(::chown(victim.c_str(), 65534, 65534), 0);
    EXPECT_EQ(::chmod(victim.c_str(), 0600), 0);
    return victim;
}

}  // namespace

// chown -R runs as root: a link planted inside a directory it walks must not hand the link's
// target, somewhere else on the system, to root:admin.
TEST_F(PlantedLinks, ChownNeverFollowsThem) {
    const std::string victim = makeVictim(root.base());
    const std::string victimAccess = accessOf(victim);
    fs::create_directories(deviceDirectory());
    fs::create_symlink(victim, deviceDirectory() + "/planted");
    useBundleCopy();
    fs::create_symlink(victim, bundle + "/Contents/MacOS/VELA.app/Contents/planted");

    RunResult result = install();
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(accessOf(victim), victimAccess);
    EXPECT_EQ(readFile(victim), "secret");
    EXPECT_EQ(fs::read_symlink(generation() + "/VELA.app/Contents/planted"), victim);
    EXPECT_EQ(accessOf(deviceDirectory()), "root:admin:drwxrwxr-x");
}

// Whatever the version, the root or the listing give, no removal may name the root, its
// Applications folder, the base of the generations, or "/" itself.
TEST_F(PlantedLinks, AnEmptyVersionCannotWidenARemoval) {
    setVersion(useBundleCopy(), "");
    writeFile(root.at("/Applications/Quillmark/Other/keep"), "");
    writeFile(root.at("/Applications/keep"), "");

    ASSERT_EQ(install().status, 0);  // new installation into VELA-Ver/
    ASSERT_EQ(install().status, 0);  // and an overwrite of it
    EXPECT_TRUE(exists(root.at("/Applications/Quillmark/VELA-Ver/VELA.app")));
    EXPECT_TRUE(exists(root.at("/Applications/Quillmark/Other/keep")));
    EXPECT_TRUE(exists(root.at("/Applications/keep")));
    for (const std::string& message : logMessages()) {
        std::size_t rm = message.find("rm -rf ");
        if (rm == std::string::npos) {
            continue;
        }
        std::string target = message.substr(rm + 7);
        target = target.substr(0, target.find(']'));
        for (const std::string& forbidden :
             {std::string("/"), root.root(), root.root() + "/Applications",
              root.root() + "/Applications/Quillmark"}) {
            for (const std::string& form : {forbidden, forbidden + "/"}) {
                EXPECT_NE(target, "'" + form + "'") << message;
            }
        }
        EXPECT_NE(target.find("VELA"), std::string::npos) << message;
    }
}
