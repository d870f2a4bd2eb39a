#include <gtest/gtest.h>

#include <plist/plist.h>

#include <filesystem>

#include "AccountPrivilege.h"
#include "Bundle.h"
#include "Const.h"
#include "Files.h"
#include "LogReader.h"
#include "TempInstallRoot.h"

using namespace vela;
namespace fs = std::filesystem;

TEST(AccountPrivilege, ComparesWholeNamesExactlyAndLogsEachMember) {
    test::LogReader log;
    const std::vector<std::string> members{"alice", "carol", "dave"};
    EXPECT_TRUE(AccountPrivilege::isMenberOfGroup(std::string("carol"), members));
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{
                  "[INFO] Start check user carol in admin group",
                  "[INFO] current user: [carol](5): in admin group user: [alice](5)",
                  "[INFO] current user: [carol](5): in admin group user: [carol](5)",
                  "[INFO] End check user carol in admin group(with admin)"}));
    for (const char* name : {"car", "Carol", "carol2"}) {
        EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::string(name), members)) << name;
    }
    EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::string("carol"), std::nullopt));
    EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::nullopt, std::vector<std::string>{"root"}));
    EXPECT_TRUE(log.contains("[INFO] End check user (empty) in admin group(no admin)"));
}

// The built bundle's own XML list is read by every run; a binary one only here.
TEST(Bundle, ReadsBinaryPlistsAndToleratesBrokenOnes) {
    test::TempInstallRoot root;
    const std::string path = root.base() + "/Sample.app";
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "CFBundleName", plist_new_string("Sample"));
    plist_dict_set_item(dict, "CFBundleShortVersionString", plist_new_string("3.4"));
    plist_dict_set_item(dict, "LSRequiresNativeExecution", plist_new_bool(1));
    char* data = nullptr;
    uint32_t length = 0;
    plist_to_bin(dict, &data, &length);
    test::writeFile(path + "/Contents/Info.plist", std::string(data, length));
    std::free(data);
    plist_free(dict);
    Bundle bundle(path);
    EXPECT_EQ(bundle.bundleName(), "Sample");
    EXPECT_EQ(bundle.shortVersionString(), "3.4");
    EXPECT_FALSE(bundle.bundleVersion());
    EXPECT_FALSE(bundle.infoValue("LSRequiresNativeExecution"));  // not a string
    EXPECT_EQ(bundle.executablePath(), path + "/Contents/MacOS/Sample");

    test::writeFile(path + "/Contents/Info.plist", "<plist><dict><key>CFBundle");
    EXPECT_FALSE(Bundle(path).bundleName());
    EXPECT_FALSE(Bundle(root.base() + "/Missing.app").bundleName());
    EXPECT_FALSE(Bundle().pathForResource("VELA", "plist"));
}

// The catalogue's root is process-wide: the test leaves the default behind.
struct ConstTest : testing::Test {
    void TearDown() override { Const::setTargetRoot("/"); }
};

// The paths a run checks on disk are not repeated here: only the edges of the root's form.
TEST_F(ConstTest, PathsFollowTheTargetRootWhateverItsFormAndListingsKeepWhatIsOurs) {
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

    // Listings keep prefixed generations only, and each user's configuration first.
    test::TempInstallRoot root;
    Const::setTargetRoot(root.root());
    EXPECT_TRUE(Const::applicationDirectoryPrefixEnumerate().empty());  // base missing
    EXPECT_TRUE(Const::allUserDirectoryPlistPaths().empty());
    const std::string base = root.at("/Applications/Quillmark");
    for (const char* dir : {"VELA-Ver1.0.0.old", "vela-ver1.0", "Other", "VELA-Ver2"}) {
        fs::create_directories(base + "/" + dir);
    }
    test::writeFile(base + "/VELA-Ver.txt", "");
    std::vector<std::string> names = Const::applicationDirectoryPrefixEnumerate();
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"VELA-Ver.txt", "VELA-Ver1.0.0.old", "VELA-Ver2"}));

    const std::string area = "/Library/Application Support/Quillmark/VELA/";
    const std::string bob = root.at("/Users/bob" + area);
    test::writeFile(bob + "VELA.font.plist", "");
    test::writeFile(bob + "VELA.config.plist", "");
    test::writeFile(root.at("/Users/Shared" + area + "VELA.font.plist"), "");
    fs::create_directories(root.at("/Users/carol"));
    std::vector<std::string> paths = Const::allUserDirectoryPlistPaths();
    ASSERT_EQ(paths.size(), 3u);
    auto config = std::find(paths.begin(), paths.end(), bob + "VELA.config.plist");
    ASSERT_LT(config + 1, paths.end());
    EXPECT_EQ(config[1], bob + "VELA.font.plist");
}
