#include <gtest/gtest.h>

#include <plist/plist.h>

#include "Bundle.h"
#include "Files.h"
#include "TempInstallRoot.h"

using vela::Bundle;

// The built bundle's own XML list is read by every run; a binary one only here.
TEST(Bundle, ReadsBinaryPlistsAndToleratesBrokenOnes) {
    vela::test::TempInstallRoot root;
    const std::string path = root.base() + "/Sample.app";
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
