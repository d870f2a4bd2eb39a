#include <gtest/gtest.h>

#include <filesystem>

#include "Const.h"
#include "Files.h"
#include "TempInstallRoot.h"

using vela::Const;
namespace fs = std::filesystem;

namespace {

// Restores the default root after each test: the catalogue's root is process-wide.
class ConstTest : public testing::Test {
protected:
    void TearDown() override { Const::setTargetRoot("/"); }
};

}  // namespace

// The paths a run checks on disk are not repeated here: only the edges of the root's form.
TEST_F(ConstTest, PathsFollowTheTargetRootWhateverItsForm) {
    const std::string here = fs::current_path().string();
    const struct {
        std::string root;
        std::string (*path)();
        std::string expected;
    } rows[] = {
        {"/", [] { return Const::applicationDirectoryPathWithVersion(std::nullopt); },
         "/Applications/Quillmark/VELA-Ver/"},
        {"/", &Const::getDeviceLicenseModeConfigPath,
         "/Library/Application Support/Quillmark/VELA/VELA-device/VELA-device.config.plist"},
        {"/tmp/a root/", &Const::appBaseDirectoryPath, "/tmp/a root/Applications/Quillmark"},
        {"/tmp/a root/", &Const::getDeviceLicenseModeDirectoryPath,
         "/tmp/a root/Library/Application Support/Quillmark/VELA/VELA-device"},
        {"", [] { return Const::targetRoot(); }, "/"},
        // Relative, it would be read against whatever folder a later command runs in.
        {"relative root", [] { return Const::targetRoot(); }, here + "/relative root"},
        {"./a/../b", [] { return Const::targetRoot(); }, here + "/b"},
        {"/", [] { return *Const::applicationUserAreaDirectoryPath(std::string("root")); },
         "/root/Library/Application Support/Quillmark/VELA"},
    };
    for (const auto& row : rows) {
        Const::setTargetRoot(row.root);
        EXPECT_EQ(row.path(), row.expected) << "under " << row.root;
    }
    EXPECT_FALSE(Const::applicationUserLogDirectoryPath(std::string("no-such-user-x")));
}

TEST_F(ConstTest, ListingsKeepPrefixedGenerationsAndEveryUsersConfigurationFirst) {
    vela::test::TempInstallRoot root;
    Const::setTargetRoot(root.root());
    EXPECT_TRUE(Const::applicationDirectoryPrefixEnumerate().empty());  // base missing
    EXPECT_TRUE(Const::allUserDirectoryPlistPaths().empty());
    const std::string base = root.at("/Applications/Quillmark");
    for (const char* dir : {"VELA-Ver1.0.0.old", "vela-ver1.0", "Other", "VELA-Ver2"}) {
        fs::create_directories(base + "/" + dir);
    }
    vela::test::writeFile(base + "/VELA-Ver.txt", "");
    std::vector<std::string> names = Const::applicationDirectoryPrefixEnumerate();
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"VELA-Ver.txt", "VELA-Ver1.0.0.old", "VELA-Ver2"}));

    const std::string area = "/Library/Application Support/Quillmark/VELA/";
    const std::string bob = root.at("/Users/bob" + area);
    vela::test::writeFile(bob + "VELA.font.plist", "");
    vela::test::writeFile(bob + "VELA.config.plist", "");
    vela::test::writeFile(root.at("/Users/Shared" + area + "VELA.font.plist"), "");
    fs::create_directories(root.at("/Users/carol"));
    std::vector<std::string> paths = Const::allUserDirectoryPlistPaths();
    ASSERT_EQ(paths.size(), 3u);
    auto config = std::find(paths.begin(), paths.end(), bob + "VELA.config.plist");
    ASSERT_LT(config + 1, paths.end());
    EXPECT_EQ(config[1], bob + "VELA.font.plist");
}
