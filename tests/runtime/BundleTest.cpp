#include <gtest/gtest.h>

#include <plist/plist.h>

#include <filesystem>

#include "Bundle.h"
#include "Files.h"
#include "TempInstallRoot.h"

using vela::Bundle;
namespace fs = std::filesystem;

TEST(Bundle, ReadsTheBuiltInstallerBundle) {
    const Bundle& bundle = Bundle::mainBundle();
    EXPECT_EQ(bundle.bundlePath(), VELA_TEST_BUNDLE_DIR);
    EXPECT_EQ(bundle.bundleName(), "VELA-device-Installer");
    EXPECT_TRUE(bundle.shortVersionString().has_value());
    EXPECT_TRUE(bundle.bundleVersion().has_value());
    EXPECT_EQ(bundle.pathForResource("VELA-for-Device-help", "pdf"),
              std::string(VELA_TEST_BUNDLE_DIR) + "/Contents/Resources/VELA-for-Device-help.pdf");
    EXPECT_EQ(bundle.pathForAuxiliaryExecutable("VELA.app"),
              std::string(VELA_TEST_BUNDLE_DIR) + "/Contents/MacOS/VELA.app");
    EXPECT_FALSE(bundle.pathForResource("VELA-for-Device-help", "doc"));
    EXPECT_FALSE(bundle.pathForAuxiliaryExecutable("Nothing.app"));
}

TEST(Bundle, ReadsBinaryPlistsAndToleratesBrokenOnes) {
    vela::test::TempInstallRoot root;
    std::string path = root.base() + "/Sample.app";
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "CFBundleName", plist_new_string("Sample"));
    plist_dict_set_item(dict, "CFBundleShortVersionString", plist_new_string("3.4"));
    plist_dict_set_item(dict, "LSRequiresNativeExecution", plist_new_bool(1));
    char* data = nullptr;
    uint32_t length = 0;
    plist_to_bin(dict, &data, &length);
    vela::test::writeFile(path + "/Contents/Info.plist", std::string(data, length));
    std::free(data);
    plist_free(dict);
    Bundle bundle(path);
    EXPECT_EQ(bundle.bundleName(), "Sample");
    EXPECT_EQ(bundle.shortVersionString(), "3.4");
    EXPECT_FALSE(bundle.bundleVersion());
    EXPECT_FALSE(bundle.infoValue("LSRequiresNativeExecution"));  // not a string
    EXPECT_EQ(bundle.executablePath(), path + "/Contents/MacOS/Sample");

    vela::test::writeFile(path + "/Contents/Info.plist", "<plist><dict><key>CFBundle");
    EXPECT_FALSE(Bundle(path).bundleName());
    EXPECT_FALSE(Bundle(root.base() + "/Missing.app").bundleName());
    EXPECT_FALSE(Bundle().pathForResource("VELA", "plist"));
}
