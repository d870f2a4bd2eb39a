#include <Security/Authorization.h>
#include <Security/AuthorizationTags.h>

#include "Elevation.h"

// AuthorizationExecuteWithPrivileges is deprecated, and still the call that does this.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace vela {

namespace {

class AuthorizationServices final : public Elevation {
public:
    ElevationResult executeWithPrivileges(const std::string& tool,
                                          const std::vector<std::string>& arguments,
                                          bool preauthorize) override {
        OSStatus status = AuthorizationCreate(nullptr, kAuthorizationEmptyEnvironment,
                                              kAuthorizationFlagDefaults, &authorization_);
        if (status != errAuthorizationSuccess) {
            return {ElevationOutcome::CreateFailed, static_cast<int>(status)};
        }
        AuthorizationItem right = {kAuthorizationRightExecute, 0, nullptr, 0};
        if (!preauthorize) {
            right.valueLength = tool.size();
            right.value = const_cast<char*>(tool.c_str());
        }
        AuthorizationRights rights = {1, &right};
        AuthorizationFlags flags =
            kAuthorizationFlagInteractionAllowed | kAuthorizationFlagExtendRights;
        if (preauthorize) {
            flags |= kAuthorizationFlagPreAuthorize;
        }
        status = AuthorizationCopyRights(authorization_, &rights,
                                         preauthorize ? nullptr : kAuthorizationEmptyEnvironment,
                                         flags, nullptr);
        if (status != errAuthorizationSuccess) {
            return {ElevationOutcome::Cancelled, static_cast<int>(status)};
        }
        std::vector<char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        std::FILE* pipe = nullptr;
        status = AuthorizationExecuteWithPrivileges(authorization_, tool.c_str(),
                                                    kAuthorizationFlagDefaults, argv.data(), &pipe);
        if (status != errAuthorizationSuccess) {
            return {ElevationOutcome::ExecuteFailed, static_cast<int>(status)};
        }
        return {ElevationOutcome::Executing, 0, pipe};
    }

    void release(std::FILE* reply, bool destroyRights) override {
        if (reply) {
            std::fclose(reply);
        }
        AuthorizationFree(authorization_, destroyRights ? kAuthorizationFlagDestroyRights
                                                        : kAuthorizationFlagDefaults);
    }

private:
    AuthorizationRef authorization_ = nullptr;
};

}  // namespace

std::unique_ptr<Elevation> systemElevation() {
    return std::make_unique<AuthorizationServices>();
}

}  // namespace vela
