#pragma once

namespace vela {

/// A file descriptor that closes itself: the one owner of every descriptor the installer opens
/// on the disk.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd();
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept;
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    /// Gives the descriptor up without closing it.
    int release();

private:
    int fd_ = -1;
};

}  // namespace vela
