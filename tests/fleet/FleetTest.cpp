#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <regex>
#include <sstream>

#include "Files.h"
#include "Process.h"
#include "TempInstallRoot.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

constexpr int kHosts = 12;
constexpr int kDamaged = 2;   // a file of its generation changed
constexpr int kTooSmall = 7;  // its Applications folder becomes a volume smaller than the payload
constexpr int kBusy = 5;      // damaged while another installer holds its target

struct Recap {
    int changed = -1;
    int failed = -1;
};

// Twelve simulated Macs, each its own target root and home, managed by the real role over
// local connections, four at a time.
class Fleet : public testing::Test {
protected:
    void SetUp() override {
        if (run({"/bin/sh", "-c", "test -x /usr/bin/ansible-playbook"}).status != 0) {
            GTEST_FAIL() << "ansible-playbook is missing: run tools/prepare-machine";
        }
        QJsonObject hosts;
        for (int i = 0; i < kHosts; ++i) {
            macs_.push_back(std::make_unique<TempInstallRoot>("mac " + std::to_string(i)));
            hosts.insert(
                QString::fromStdString(name(i)),
                QJsonObject{
                    {QStringLiteral("ansible_connection"), QStringLiteral("local")},
                    {QStringLiteral("ansible_python_interpreter"),
                     QStringLiteral("/usr/bin/python3")},
                    {QStringLiteral("vela_target"), QString::fromStdString(mac(i).root())},
                    {QStringLiteral("vela_environment"),
                     QJsonObject{{QStringLiteral("HOME"), QString::fromStdString(mac(i).home())}}},
                });
        }
        const QJsonObject inventory{
            {QStringLiteral("vela_macs"),
             QJsonObject{
                 {QStringLiteral("hosts"), hosts},
                 {QStringLiteral("vars"), QJsonObject{{QStringLiteral("vela_installer_app"),
                                                       QStringLiteral(VELA_TEST_BUNDLE_DIR)},
                                                      {QStringLiteral("vela_busy_retries"), 2},
                                                      {QStringLiteral("vela_busy_delay"), 1}}}}}};
        // YAML reads JSON as it is.
        inventory_ = control_.base() + "/inventory.yml";
        writeFile(inventory_, QJsonDocument(inventory).toJson().toStdString());
    }

    void TearDown() override {
        if (mounted_) {
            ::system(("umount -l '" + mac(kTooSmall).at("/Applications") + "'").c_str());
        }
    }

    static std::string name(int i) { return "mac" + std::to_string(100 + i).substr(1); }
    const TempInstallRoot& mac(int i) const { return *macs_[static_cast<std::size_t>(i)]; }

    // Runs the example playbook over the inventory; the recap of each host.
    std::map<std::string, Recap> play() {
        std::map<std::string, std::string> environment{
            {"HOME", control_.home()},
            {"PATH", "/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin"},
            {"ANSIBLE_FORKS", "4"},
            {"ANSIBLE_NOCOLOR", "1"},
            {"ANSIBLE_RETRY_FILES_ENABLED", "0"},
            {"ANSIBLE_LOCAL_TEMP", control_.base() + "/ansible-tmp"},
            {"ANSIBLE_REMOTE_TEMP", control_.base() + "/ansible-tmp"},
            {"VELA_TARGET_ROOT", ""},
        };
        QElapsedTimer clock;
        clock.start();
        output_ = run({"/usr/bin/ansible-playbook", "-i", inventory_, "-e", "vela_become=false",
                       std::string(VELA_TEST_ANSIBLE_DIR) + "/site.yml"},
                      environment);
        seconds_ = static_cast<double>(clock.elapsed()) / 1000.0;
        std::map<std::string, Recap> recap;
        const std::regex row(R"((mac\d\d)\s+: ok=\d+\s+changed=(\d+)\s+\S+\s+failed=(\d+))");
        std::istringstream lines(output_.out);
        for (std::string line; std::getline(lines, line);) {
            std::smatch match;
            if (std::regex_search(line, match, row)) {
                recap[match[1]] = Recap{std::stoi(match[2]), std::stoi(match[3])};
            }
        }
        EXPECT_EQ(recap.size(), static_cast<std::size_t>(kHosts)) << output_.out << output_.err;
        return recap;
    }

    void expectRecap(const std::map<std::string, Recap>& recap, int host, int changed, int failed) {
        auto found = recap.find(name(host));
        ASSERT_NE(found, recap.end()) << name(host);
        EXPECT_EQ(found->second.changed, changed) << name(host) << "\n" << output_.out;
        EXPECT_EQ(found->second.failed, failed) << name(host) << "\n" << output_.out;
    }

    int verify(int host) {
        return run({VELA_TEST_CLI, "--verify", "--target", mac(host).root()},
                   {{"HOME", mac(host).home()}, {"VELA_TARGET_ROOT", ""}})
            .status;
    }

    std::vector<std::unique_ptr<TempInstallRoot>> macs_;
    TempInstallRoot control_{"control"};
    std::string inventory_;
    RunResult output_{};
    double seconds_ = 0;
    bool mounted_ = false;
};

}  // namespace

TEST_F(Fleet, InstallsOnceRepairsTheDamagedAndStopsAtATargetTooSmallOrBusy) {
    std::map<std::string, Recap> first = play();
    std::printf("fleet: play 1 installs %d hosts in %.1f s\n", kHosts, seconds_);
    ASSERT_EQ(first.size(), static_cast<std::size_t>(kHosts));
    const std::string generation = "/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION;
    const std::string reference = snapshotTree(mac(0).at(generation));
    for (int i = 0; i < kHosts; ++i) {
        expectRecap(first, i, 1, 0);
        EXPECT_EQ(verify(i), 0) << name(i);
        EXPECT_EQ(snapshotTree(mac(i).at(generation)), reference) << name(i);
        EXPECT_TRUE(
            exists(mac(i).at("/Library/Application Support/Quillmark/VELA/last-install.json")));
    }

    std::map<std::string, Recap> second = play();
    std::printf("fleet: play 2 verifies %d hosts in %.1f s\n", kHosts, seconds_);
    for (int i = 0; i < kHosts; ++i) {
        expectRecap(second, i, 0, 0);
    }

    const std::string damaged = mac(kDamaged).at(generation + "/VELA.app/Contents/MacOS/VELA");
    writeFile(damaged, readFile(damaged) + "damage");
    ASSERT_EQ(::system(("mount -t tmpfs -o size=16k vela-fleet '" +
                        mac(kTooSmall).at("/Applications") + "'")
                           .c_str()),
              0)
        << "the fleet test needs to mount a tmpfs (root)";
    mounted_ = true;
    std::map<std::string, Recap> third = play();
    std::printf("fleet: play 3 repairs one host and fails another in %.1f s\n", seconds_);
    for (int i = 0; i < kHosts; ++i) {
        expectRecap(third, i, i == kDamaged ? 1 : 0, i == kTooSmall ? 1 : 0);
    }
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
    mounted_ = false;
    const std::string busy = mac(kBusy).at(generation + "/LOGforDEBUG.command");
    writeFile(busy, readFile(busy) + "damage");
    int lock =
        ::open(mac(kBusy).at("/Library/Application Support/Quillmark/VELA/.install-lock").c_str(),
               O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);
    std::map<std::string, Recap> fourth = play();
    ::close(lock);
    for (int i = 0; i < kHosts; ++i) {
        expectRecap(fourth, i, 0, i == kBusy ? 1 : 0);
    }
    EXPECT_NE(output_.out.find("FAILED - RETRYING: [" + name(kBusy) + "]"), std::string::npos);
    EXPECT_NE(output_.out.find("busy: another installer is working on " + mac(kBusy).root()),
              std::string::npos)
        << output_.out;
}
