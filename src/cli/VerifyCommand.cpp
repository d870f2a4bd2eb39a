#include "VerifyCommand.h"

#include <QJsonArray>
#include <QJsonObject>

#include "Bundle.h"
#include "Commands.h"
#include "Const.h"
#include "InstallationCheck.h"
#include "Log.h"
#include "UnattendedInstall.h"

namespace vela {

int VerifyCommand::exec() {
    InstallationCheck check(Bundle::mainBundle());
    const InstallationCheck::State state = check.run();
    QJsonArray differences;
    for (const InstallationCheck::Difference& difference : check.differences()) {
        std::fprintf(outcome_.humanOutput(), "%s %s: expected %s, found %s\n",
                     difference.what.c_str(), difference.where.c_str(), difference.expected.c_str(),
                     difference.found.c_str());
        differences.append(QJsonObject{
            {QStringLiteral("what"), QString::fromStdString(difference.what)},
            {QStringLiteral("where"), QString::fromStdString(difference.where)},
            {QStringLiteral("expected"), QString::fromStdString(difference.expected)},
            {QStringLiteral("found"), QString::fromStdString(difference.found)},
        });
    }
    outcome_.record().differences = differences;
    const char* status = state == InstallationCheck::State::Intact    ? "intact"
                         : state == InstallationCheck::State::Damaged ? "damaged"
                                                                      : "absent";
    ILog("Verified VELA %s in %s: %s, %d difference(s)",
         orNull(Const::getCurrentAppVersion()).c_str(), Const::appBaseDirectoryPath().c_str(),
         status, static_cast<int>(check.differences().size()));
    std::fprintf(outcome_.humanOutput(), "VELA %s: %s\n",
                 orNull(Const::getCurrentAppVersion()).c_str(), status);
    const int exit = state == InstallationCheck::State::Intact    ? kExitInstalled
                     : state == InstallationCheck::State::Damaged ? kExitFailed
                                                                  : kExitAbsent;
    return outcome_.complete(status, exit);
}

}  // namespace vela
