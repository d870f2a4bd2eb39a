#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <QElapsedTimer>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>

#include "Files.h"
#include "Process.h"
#include "TempInstallRoot.h"

using namespace vela::test;

namespace {

constexpr int kHosts = 12;
constexpr int kDamaged = 2;   // a file of its generation changed
constexpr int kTooSmall = 7;  // its Applications folder becomes a volume smaller than the payload
constexpr int kBusy = 5;      // damaged while another installer holds its target
const std::string kGeneration = "/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION;

// Twelve simulated Macs, each its own target root and home, managed by the real role over
// local connections, four at a time.
class Fleet : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(run({"/bin/sh", "-c", "test -x /usr/bin/ansible-playbook"}).status, 0)
            << "ansible-playbook is missing: run tools/prepare-machine";
        std::string hosts;
        for (int i = 0; i < kHosts; ++i) {
            macs_.push_back(std::make_unique<TempInstallRoot>("mac " + std::to_string(i)));
            hosts += "    " + name(i) +
                     ": {ansible_connection: local, ansible_python_interpreter: /usr/bin/python3, "
                     "vela_target: \"" +
                     mac(i).root() + "\", vela_environment: {HOME: \"" + mac(i).home() + "\"}}\n";
        }
        writeFile(inventory_, "vela_macs:\n  vars: {vela_installer_app: \"" VELA_TEST_BUNDLE_DIR
                              "\", vela_busy_retries: 2, vela_busy_delay: 1}\n  hosts:\n" +
                                  hosts);
    }

    void TearDown() override {
        ::system(("umount -l '" + mac(kTooSmall).at("/Applications") + "' 2>/dev/null").c_str());
    }

    static std::string name(int i) { return "mac" + std::to_string(100 + i).substr(1); }
    const TempInstallRoot& mac(int i) const { return *macs_[static_cast<std::size_t>(i)]; }

    // Runs the example playbook over the inventory and checks each host's recap: "changed" for
    // the hosts in `changed`, "failed" for those in `failed`, "ok" for the others.
    void play(const char* what, const std::set<int>& changed, const std::set<int>& failed) {
        const std::string temp = control_.base() + "/ansible-tmp";
        QElapsedTimer clock;
        clock.start();
        output_ = run({"/usr/bin/ansible-playbook", "-i", inventory_, "-e", "vela_become=false",
                       std::string(VELA_TEST_ANSIBLE_DIR) + "/site.yml"},
                      {{"HOME", control_.home()},
                       {"PATH", "/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin"},
                       {"ANSIBLE_FORKS", "4"},
                       {"ANSIBLE_NOCOLOR", "1"},
                       {"ANSIBLE_RETRY_FILES_ENABLED", "0"},
                       {"ANSIBLE_LOCAL_TEMP", temp},
                       {"ANSIBLE_REMOTE_TEMP", temp},
                       {"VELA_TARGET_ROOT", ""}});
        std::printf("fleet: play %s in %.1f s\n", what, clock.elapsed() / 1000.0);
        std::map<std::string, std::string> recap;
        const std::regex row(R"((mac\d\d)\s+: ok=\d+\s+(changed=\d+)\s+\S+\s+(failed=\d+))");
        std::istringstream lines(output_.out);
        for (std::string line; std::getline(lines, line);) {
            std::smatch match;
            if (std::regex_search(line, match, row)) {
                recap[match[1]] = std::string(match[2]) + " " + std::string(match[3]);
            }
        }
        for (int i = 0; i < kHosts; ++i) {
            EXPECT_EQ(recap[name(i)], "changed=" + std::to_string(changed.count(i)) +
                                          " failed=" + std::to_string(failed.count(i)))
                << name(i) << " in play " << what << "\n"
                << output_.out << output_.err;
        }
    }

    int verify(int host) const {
        return run({VELA_TEST_CLI, "--verify", "--target", mac(host).root()},
                   {{"HOME", mac(host).home()}, {"VELA_TARGET_ROOT", ""}})
            .status;
    }
    // Appends to a file of the installed generation.
    void damage(int host, const std::string& file) const {
        const std::string path = mac(host).at(kGeneration + file);
        writeFile(path, readFile(path) + "damage");
    }

    std::vector<std::unique_ptr<TempInstallRoot>> macs_;
    TempInstallRoot control_{"control"};
    std::string inventory_ = control_.base() + "/inventory.yml";
    RunResult output_{};
};

}  // namespace

TEST_F(Fleet, InstallsOnceRepairsTheDamagedAndStopsAtATargetTooSmallOrBusy) {
    std::set<int> all;
    for (int i = 0; i < kHosts; ++i) {
        all.insert(i);
    }
    play("1 installs every host", all, {});
    const std::string reference = snapshotTree(mac(0).at(kGeneration));
    for (int i = 0; i < kHosts; ++i) {
        EXPECT_EQ(verify(i), 0) << name(i);
        EXPECT_EQ(snapshotTree(mac(i).at(kGeneration)), reference) << name(i);
        EXPECT_TRUE(
            exists(mac(i).at("/Library/Application Support/Quillmark/VELA/last-install.json")));
    }
    play("2 verifies every host", {}, {});

    damage(kDamaged, "/VELA.app/Contents/MacOS/VELA");
    ASSERT_EQ(::system(("mount -t tmpfs -o size=16k vela-fleet '" +
                        mac(kTooSmall).at("/Applications") + "'")
                           .c_str()),
              0)
        << "the fleet test needs to mount a tmpfs (root)";
    play("3 repairs one host and fails another", {kDamaged}, {kTooSmall});
    EXPECT_EQ(verify(kDamaged), 0);
    // The host fails with the record's code and message, not the command's raw output.
    EXPECT_NE(output_.out.find("VELA failed on " + mac(kTooSmall).root() +
                               ": MSG_E3001: not enough free space on " +
                               mac(kTooSmall).at("/Applications") + ": "),
              std::string::npos)
        << output_.out;
    EXPECT_EQ(verify(kTooSmall), 7);

    // A target that stays busy is tried again, then fails with the record's reason.
    ASSERT_EQ(::system(("umount '" + mac(kTooSmall).at("/Applications") + "'").c_str()), 0);
    damage(kBusy, "/LOGforDEBUG.command");
    int lock =
        ::open(mac(kBusy).at("/Library/Application Support/Quillmark/VELA/.install-lock").c_str(),
               O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);
    play("4 fails a busy host", {}, {kBusy});
    ::close(lock);
    EXPECT_NE(output_.out.find("FAILED - RETRYING: [" + name(kBusy) + "]"), std::string::npos);
    EXPECT_NE(output_.out.find("busy: another installer is working on " + mac(kBusy).root()),
              std::string::npos)
        << output_.out;
}
