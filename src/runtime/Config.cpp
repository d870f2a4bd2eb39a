#include "Config.h"

#include <filesystem>

#include "Const.h"
#include "Log.h"

namespace vela {

bool Config::setAppLogMode() {
    DTrace("_debug_log is active");
    std::optional<std::string> settingFile = Const::getLogModeSettingFilePath();
    std::error_code ec;
    const char* mode = settingFile && std::filesystem::exists(*settingFile, ec)
                           ? Const::kLogModeDebug
                           : Const::kLogModeNormal;
    bool applied = applyLogMode(mode);
    ILog("The log mode has %s %s.", applied ? "changed successfully into " : "failed in changing",
         mode);
    return applied;
}

}  // namespace vela
