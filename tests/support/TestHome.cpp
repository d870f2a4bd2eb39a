#include "TestHome.h"

#include <cstdlib>
#include <filesystem>

#include "Log.h"

namespace vela::test {

TestHome::TestHome() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vela-home-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        std::abort();  // nothing could be tested without it
    }
    path_ = pattern;
    ::setenv("HOME", path_.c_str(), 1);
    ::setenv("VELA_MAIN_BUNDLE", VELA_TEST_BUNDLE_DIR, 0);
    ::unsetenv("VELA_TARGET_ROOT");
}

TestHome::~TestHome() {
    Log::defaultLog().flush();  // a late line would make the home again
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

}  // namespace vela::test
