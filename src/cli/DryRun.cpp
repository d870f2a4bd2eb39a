#include "DryRun.h"

#include <QJsonArray>
#include <QJsonObject>

#include "Bundle.h"
#include "Commands.h"
#include "Const.h"
#include "InstallationPlan.h"
#include "InstallationView.h"
#include "Log.h"
#include "Payload.h"
#include "StartSteps.h"
#include "UnattendedInstall.h"
#include "platform/CurrentUser.h"

namespace vela {

int DryRun::exec() {
    const std::string user = currentUserName();
    StartSteps::announce(user, " for a dry run");
    StartSteps::load();
    InstallRecord& record = outcome_.record();
    record.previous = Const::applicationDirectoryPrefixEnumerate();
    const bool isOverwrite = StartSteps::detectInstalledGeneration();
    record.mode = InstallRecord::modeOf(isOverwrite);
    if (!StartSteps::checkAdministrator(user)) {
        outcome_.refuseNonAdministrator(user);
        return outcome_.complete("refused", kExitNotAdministrator);
    }

    const Bundle& bundle = Bundle::mainBundle();
    const Payload payload(bundle,
                          Const::applicationDirectoryPathWithVersion(bundle.shortVersionString()));
    record.bytes = payload.bytes();
    record.files = payload.files();
    std::FILE* out = outcome_.humanOutput();
    std::fprintf(
        out, "Dry run: %s of VELA %s into %s\n", isOverwrite ? "overwrite" : "new installation",
        orNull(Const::getCurrentAppVersion()).c_str(), Const::appBaseDirectoryPath().c_str());
    QJsonArray actions;
    for (const InstallationPlan::Action& action : InstallationPlan(bundle, isOverwrite).actions()) {
        std::fprintf(out, "  %s %s (%s)\n", action.action.c_str(), action.path.c_str(),
                     action.detail.c_str());
        actions.append(QJsonObject{
            {QStringLiteral("action"), QString::fromStdString(action.action)},
            {QStringLiteral("path"), QString::fromStdString(action.path)},
            {QStringLiteral("detail"), QString::fromStdString(action.detail)},
        });
    }
    record.actions = actions;

    const std::string reason = InstallationPlan::foreseenFailure(bundle, payload);
    if (!reason.empty()) {
        ILog("Dry run: the installation would fail: %s", reason.c_str());
        std::fprintf(stderr, "%s: %s\n", FailureCode::kInstallation, reason.c_str());
        outcome_.setError(FailureCode::kInstallation, reason);
        return outcome_.complete("blocked", kExitFailed);
    }
    ILog("Dry run: the installation would go ahead with %d change(s)",
         static_cast<int>(actions.size()));
    std::fprintf(out, "The installation would go ahead.\n");
    return outcome_.complete("ready", kExitInstalled);
}

}  // namespace vela
