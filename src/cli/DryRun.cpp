#include "DryRun.h"

#include <QJsonArray>
#include <QJsonObject>

#include "Bundle.h"
#include "Commands.h"
#include "Const.h"
#include "InstallationSteps.h"
#include "InstallationView.h"
#include "Log.h"
#include "Repair.h"
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
    // The run repairs a journal left behind first, or refuses to act on it; it then decides
    // between a new installation and an overwrite on what the repair left.
    std::string repair;
    bool isOverwrite = StartSteps::detectInstalledGeneration();
    const Repair::Outcome foreseen = Repair::foresee(repair, &isOverwrite);
    record.mode = InstallRecord::modeOf(isOverwrite);
    if (!StartSteps::checkAdministrator(user)) {
        outcome_.refuseNonAdministrator(user);
        return outcome_.complete("refused", kExitNotAdministrator);
    }

    const Bundle& bundle = Bundle::mainBundle();
    const std::string generation =
        Const::applicationDirectoryPathWithVersion(bundle.shortVersionString());
    const InstallationSteps steps(bundle, isOverwrite, generation);
    record.bytes = steps.payload().bytes();
    record.files = steps.payload().files();
    std::FILE* out = outcome_.humanOutput();
    std::fprintf(
        out, "Dry run: %s of VELA %s into %s\n", isOverwrite ? "overwrite" : "new installation",
        orNull(Const::getCurrentAppVersion()).c_str(), Const::appBaseDirectoryPath().c_str());
    std::vector<PlanLine> plan;
    if (foreseen == Repair::Outcome::Repaired) {
        plan.push_back({"repair", "repair", UndoRecord::journalPath(), repair});
    }
    for (const PlanLine& action : steps.actions()) {
        plan.push_back(action);
    }
    QJsonArray actions;
    for (const PlanLine& action : plan) {
        std::fprintf(out, "  %s %s (%s)\n", action.action.c_str(), action.path.c_str(),
                     action.detail.c_str());
        actions.append(QJsonObject{
            {QStringLiteral("step"), QString::fromStdString(action.step)},
            {QStringLiteral("action"), QString::fromStdString(action.action)},
            {QStringLiteral("path"), QString::fromStdString(action.path)},
            {QStringLiteral("detail"), QString::fromStdString(action.detail)},
        });
    }
    record.actions = actions;

    // Exactly the checks the run makes before it changes anything.
    const StepFailure failure =
        foreseen == Repair::Outcome::Refused ? StepFailure(Failure{repair}) : steps.preflight();
    if (failure) {
        const std::string reason = failure->text();
        ILog("Dry run: the installation would fail: %s", reason.c_str());
        std::fprintf(stderr, "%s: %s\n", failure->code.c_str(), reason.c_str());
        outcome_.setFailure(*failure);
        return outcome_.complete("blocked", kExitFailed);
    }
    ILog("Dry run: the installation would go ahead with %d change(s)",
         static_cast<int>(actions.size()));
    std::fprintf(out, "The installation would go ahead.\n");
    return outcome_.complete("ready", kExitInstalled);
}

}  // namespace vela
