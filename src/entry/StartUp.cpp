#include "StartUp.h"

#include <array>
#include <cstring>

#include "AccountPrivilege.h"
#include "ApplicationMain.h"
#include "Bundle.h"
#include "Log.h"
#include "StartSteps.h"
#include "platform/CurrentUser.h"

namespace vela {

namespace {

constexpr std::size_t kReplyBufferSize = 128;

}  // namespace

StartUp::Services StartUp::Services::system() {
    Services services;
    services.checkOperatingSystem = [] { return vela::checkOperatingSystem(); };
    services.isAdministrator = [](const std::string& user) {
        return AccountPrivilege::isMenberAdminGroup(user);
    };
    services.elevation = [] { return systemElevation(); };
    services.applicationMain = [](int& argc, char** argv) {
        return vela::applicationMain(argc, argv);
    };
    services.alert = [](int& argc, char** argv, const char* message, const char* title) {
        runStartUpAlert(argc, argv, "vela::StartUp", message, title);
    };
    services.executablePath = [] { return Bundle::mainBundle().executablePath(); };
    return services;
}

bool StartUp::isElevatedInstance(int argc, const char* const* argv) {
    return argc == 2 && std::strcmp(argv[1], kPrivilegesArgument) == 0;
}

int StartUp::run(int argc, char** argv, const Services& services) {
    const bool elevated = isElevatedInstance(argc, argv);
    const char* suffix = elevated ? " performed as privileges administrative user" : "";
    const std::string user = currentUserName();
    StartSteps::announce(user, suffix);

    const OperatingSystemCheck system = services.checkOperatingSystem();
    primitiveILog("It %s: %s", system.description.c_str(), system.versionString.c_str());
    if (!system.isSupported) {
        services.alert(
            argc, argv,
            QT_TRANSLATE_NOOP("vela::StartUp", "The OS Version below 10.12 is not applicable"),
            QT_TRANSLATE_NOOP("vela::StartUp", "Not applicable OS version"));
        return 0;
    }

    const bool administrator = services.isAdministrator(user);
    if (administrator && elevated) {
        ILog("performed as privileges administrative user: %s", user.c_str());
        return services.applicationMain(argc, argv);
    }
    if (!administrator) {
        ILog("performed by standard user: %s", user.c_str());
        return services.applicationMain(argc, argv);
    }
    return relaunchWithAdministratorRights(services);
}

int StartUp::relaunchWithAdministratorRights(const Services& services) {
    const std::string tool = services.executablePath().value_or("");
    std::unique_ptr<Elevation> elevation = services.elevation();
    ElevationResult started =
        elevation->executeWithPrivileges(tool, {kPrivilegesArgument}, /*preauthorize=*/false);
    switch (started.outcome) {
        case ElevationOutcome::CreateFailed:
            primitiveILog("Installer failed at AuthorizationCreate: status: %d", started.status);
            return 1;
        case ElevationOutcome::Cancelled:
            primitiveILog("Installer canceled at AuthorizationCopyRights: status: %d",
                          started.status);
            return 0;
        case ElevationOutcome::ExecuteFailed:
            primitiveILog("Installer failed at AuthorizationExecuteWithPrivileges: status: %d",
                          started.status);
            return 1;
        case ElevationOutcome::Executing:
            break;
    }
    primitiveILog("Installer succeeded at AuthorizationExecuteWithPrivileges: status: %d", 0);
    // Cleared, so that an instance that replies nothing is logged as empty and gives -1.
    std::array<char, kReplyBufferSize> reply{};
    if (std::fgets(reply.data(), static_cast<int>(reply.size()), started.reply) == nullptr) {
        reply.fill('\0');
    }
    primitiveILog("Installer get executed standard output:[%s]", reply.data());
    elevation->release(started.reply, /*destroyRights=*/false);
    return std::strcmp(reply.data(), "0") == 0 ? 0 : -1;
}

}  // namespace vela
