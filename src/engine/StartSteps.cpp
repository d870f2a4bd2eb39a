#include "StartSteps.h"

#include <QUrl>

#include "AccountPrivilege.h"
#include "Bundle.h"
#include "Commands.h"
#include "Const.h"
#include "Log.h"
#include "ShellForm.h"
#include "platform/CurrentUser.h"
#include "platform/ExecutablePath.h"

namespace vela {

namespace {

std::string withoutLineBreaks(std::string text) {
    std::erase(text, '\n');
    std::erase(text, '\r');
    return text;
}

}  // namespace

void StartSteps::load() {
    const std::string host = withoutLineBreaks(executeForLog("hostname"));
    const std::string user = currentUserName();
    DTrace("_debug_log is active");
    std::optional<std::string> settingFile = Const::getLogModeSettingFilePath();
    if (settingFile && fileExistsAtPath(*settingFile)) {
        bool applied = applyLogMode(Const::kLogModeDebug);
        ILog("The log mode has %s.", applied ? "changed successfully" : "failed in changing");
    }
    ILog("The log mode has been %s.", orNull(inquireLogMode()).c_str());
    DTrace("the log mode is DEBUG");
    ILog("Loaded Installation Process version: %s(%s)",
         orNull(Const::getCurrentAppVersion()).c_str(),
         orNull(Const::getCurrentBuildNumber()).c_str());
    const QString executable = QString::fromStdString(executablePath());
    ILog("Module path=[%s]", QUrl::fromLocalFile(executable).toString().toStdString().c_str());
    ILog("Running for user: %s: on the host: %s", user.c_str(), host.c_str());
}

bool StartSteps::detectInstalledGeneration() {
    ILog("Start Install for desktop application");
    // Always the user installer's log, also in this program: kept as the family does it.
    executeForLog("chown " + shellForm(currentUserName()) + " " +
                  shellForm(orNull(Const::applicationInstallerLogPath())));
    std::vector<std::string> names = Const::applicationDirectoryPrefixEnumerate();
    const std::string base = Const::appBaseDirectoryPath();
    DTrace("found %lu itme(s) in %s", static_cast<unsigned long>(names.size()), base.c_str());
    for (const std::string& name : names) {
        std::string uninstaller =
            base + "/" + name + "/" + Const::kUninstallerName + "." + Const::kAppFileType;
        DTrace("checking installed: %s", uninstaller.c_str());
        if (fileExistsAtPath(uninstaller)) {
            ILog("Found installed module: %s", name.c_str());
            return true;
        }
    }
    return false;
}

bool StartSteps::checkAdministrator(const std::string& user) {
    if (AccountPrivilege::isMenberAdminGroup(user)) {
        return true;
    }
    ELog("code=%s, message=%s", "MSG_E3002", "please install with administrator privileges");
    return false;
}

}  // namespace vela
