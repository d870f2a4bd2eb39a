#pragma once

#include <string>

namespace vela::test {

/// The start of every test binary: a private home (the log lives there and is chosen at first
/// use) and the built installer bundle as the main bundle. Removed again, after the log's last
/// queued lines, when the object goes.
class TestHome {
public:
    TestHome();
    ~TestHome();
    TestHome(const TestHome&) = delete;
    TestHome& operator=(const TestHome&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace vela::test
