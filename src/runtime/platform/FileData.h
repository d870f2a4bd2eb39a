#pragma once

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <system_error>

namespace vela {

/// Called after each chunk that has reached the target, with its size; returns false to stop
/// the copy before the next chunk.
using ChunkCopied = std::function<bool(std::uint64_t)>;

/// Copies the contents of the open file `from` into the open file `to`, in chunks, the fastest
/// way the system offers. Returns operation_canceled when `copied` asked to stop.
std::error_code copyFileData(int from, int to, const ChunkCopied& copied);

/// The same with a plain read/write loop: works on any file system.
std::error_code copyFileDataByReading(int from, int to, const ChunkCopied& copied);

/// Creates `target`, which must not exist, as a clone of the open regular file `from`: a file of
/// its own that shares the source's blocks until either is written, with the source's contents,
/// extended attributes and access control lists, owned as a new file of this process would be.
/// Mode and times are the caller's to set. Returns not_supported where the volume cannot clone
/// it (another volume, a file system or a system without clones): the caller copies the bytes.
std::error_code cloneFile(int from, const std::string& target);

/// Copies what the system keeps beside contents, mode, owner and times (extended attributes and
/// access control lists where the system has them) from the open item `from` to the open item
/// `to`. Nothing to do where the copy keeps only those.
std::error_code copyFileExtras(int from, int to);

/// The last access and modification times of `info`, in the order futimens and utimensat take.
std::array<struct timespec, 2> accessAndModificationTimes(const struct stat& info);

}  // namespace vela
