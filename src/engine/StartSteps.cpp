#include "StartSteps.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <QUrl>
#include <cerrno>
#include <filesystem>

#include "AccountPrivilege.h"
#include "Bundle.h"
#include "Commands.h"
#include "Const.h"
#include "InstallationView.h"
#include "Log.h"
#include "SafeDirectory.h"
#include "platform/CurrentUser.h"
#include "platform/ExecutablePath.h"

namespace vela {

namespace {

std::string withoutLineBreaks(std::string text) {
    std::erase(text, '\n');
    std::erase(text, '\r');
    return text;
}

// Makes `user` the owner of the file at `path` in the current user's home. As root it never
// follows a link there, nor re-owns a file that has a second name elsewhere: the user could have
// planted either to have any file of the system handed over.
void handOverToUser(const std::string& user, const std::optional<std::string>& path) {
    const struct passwd* account = user.empty() ? nullptr : ::getpwnam(user.c_str());
    if (!path || account == nullptr) {
        return;
    }
    const uid_t owner = account->pw_uid;
    std::error_code error;
    SafeDirectory directory = SafeDirectory::openParent(
        homeDirectoryOfUser(std::nullopt).value_or(""), *path, SafeDirectory::Missing::Fail, error);
    UniqueFd file;
    if (!error) {
        file = directory.openRegularFile(std::filesystem::path(*path).filename().string(), O_RDONLY,
                                         0, error);
    }
    if (file.valid() && ::fchown(file.get(), owner, static_cast<gid_t>(-1)) != 0) {
        error = std::error_code(errno, std::generic_category());
    }
    if (error) {
        DTrace("not handed over to %s: %s: %s", user.c_str(), path->c_str(),
               error.message().c_str());
    }
}

}  // namespace

void StartSteps::announce(const std::string& user, const char* purpose) {
    primitiveILog("Device Installer module starting by %s%s", user.c_str(), purpose);
}

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
    handOverToUser(currentUserName(), Const::applicationInstallerLogPath());
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
    ELog("code=%s, message=%s", FailureCode::kNotAdministrator, kNotAdministratorMessage);
    return false;
}

bool StartSteps::Arrival::repairFailed() const {
    return repair == Repair::Outcome::Failed || repair == Repair::Outcome::Refused;
}

StartSteps::Arrival StartSteps::arrive(const Bundle& bundle) {
    Arrival arrival;
    // A run that was killed is repaired first, so that what is detected is a whole installation.
    arrival.repair = Repair::repairInterruptedRun(bundle, arrival.repairMessage);
    arrival.isOverwrite = detectInstalledGeneration();
    return arrival;
}

StartSteps::Decision StartSteps::clickInstall(const Arrival& arrival, const std::string& user,
                                              const std::function<void(Decision)>& act) {
    ILog("Start InstallStartViewController installButtonClicked");
    Decision decision = Decision::Install;
    if (arrival.repairFailed()) {
        decision = Decision::RepairFailed;
    } else if (!checkAdministrator(user)) {
        decision = Decision::NotAdministrator;
    }
    if (act) {
        act(decision);
    }
    ILog("End InstallStartViewController installButtonClicked");
    return decision;
}

}  // namespace vela
