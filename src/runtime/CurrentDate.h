#pragma once

#include <string>

namespace vela {

/// Local time now as "yyyy-MM-dd HH:mm:ss.SSSS" (four fractional digits), the log's time stamp.
std::string getCurrentDateForLog();

/// Local time now as "yyyy-MM-dd HH:mm:ss".
std::string getCurrentDate();

}  // namespace vela
