// The Japanese texts are complete (their use: the roads in Japanese, RoadTest.cpp).
#include <gtest/gtest.h>

#include <filesystem>

#include "Process.h"
#include "TempInstallRoot.h"

namespace vela::test {
namespace {

// Every text the sources pass to tr() or translate() today, as lupdate finds it, has a Japanese
// translation in the catalogue the bundle ships: a new text without one fails here.
TEST(TranslationCatalogue, EveryVisibleTextHasAJapaneseTranslation) {
    const TempInstallRoot scratch;
    const std::string catalogue = scratch.base() + "/vela_ja.ts";
    std::filesystem::copy_file(VELA_TEST_TS_FILE, catalogue);
    const RunResult scan =
        run({VELA_TEST_LUPDATE, "-locations", "none", VELA_TEST_SOURCE_ROOT "/wizard",
             VELA_TEST_SOURCE_ROOT "/entry", "-ts", catalogue});
    ASSERT_EQ(scan.status, 0) << scan.err;
    const RunResult release = run({VELA_TEST_LRELEASE, catalogue});
    ASSERT_EQ(release.status, 0) << release.err;
    EXPECT_EQ(scan.out.find("Found 0 source text"), std::string::npos) << scan.out;
    EXPECT_NE(scan.out.find(" (0 new and "), std::string::npos) << scan.out;
    EXPECT_NE(release.out.find(" finished and 0 unfinished)"), std::string::npos) << release.out;
}

}  // namespace
}  // namespace vela::test
