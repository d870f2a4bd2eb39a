#pragma once

#include <system_error>

namespace vela {

/// Receiver of a FileCopyUtil's reports.
class FileCopyUtilDelegate {
public:
    virtual ~FileCopyUtilDelegate() = default;
    /// Bytes at the target divided by bytes at the source; main thread; may arrive late.
    virtual void setCopyProgress(float fraction) = 0;
    /// Once per copy, on the copier's background thread; an empty code means success.
    virtual void didFinishedCopyWithError(std::error_code error) = 0;
};

}  // namespace vela
