#include "Outcome.h"

#include "Bundle.h"
#include "Const.h"
#include "InstallationView.h"
#include "StartSteps.h"

namespace vela {

Outcome::Outcome(bool json) : json_(json) {
    clock_.start();
    record_.version = Bundle::mainBundle().shortVersionString();
    record_.build = Bundle::mainBundle().bundleVersion();
}

void Outcome::setError(const std::string& code, const std::string& message) {
    record_.errorCode = code;
    record_.errorMessage = message;
}

void Outcome::setFailure(const Failure& failure) {
    setError(failure.code, failure.text());
    if (!failure.path.empty()) {
        record_.errorPath = failure.path;
    }
    if (!failure.reason.empty()) {
        record_.errorReason = failure.reason;
    }
    if (!failure.step.empty()) {
        record_.errorStep = failure.step;
    }
}

void Outcome::refuseNonAdministrator(const std::string& user) {
    std::fprintf(stderr,
                 "%s: Please install with administrator privileges (user %s is not a member of "
                 "the group admin)\n",
                 FailureCode::kNotAdministrator, user.c_str());
    setError(FailureCode::kNotAdministrator, StartSteps::kNotAdministratorMessage);
}

void Outcome::describeTarget() {
    if (record_.version) {
        record_.generation = Const::applicationDirectoryPathWithVersion(record_.version);
    }
    record_.link = Const::symbolicLinkPath();
}

int Outcome::complete(const std::string& status, int exit) {
    record_.status = status;
    record_.exit = exit;
    record_.seconds = static_cast<double>(clock_.elapsed()) / 1000.0;
    return exit;
}

int Outcome::finish(const std::string& status, int exit) {
    complete(status, exit);
    if (json_) {
        std::fputs(record_.toLine().c_str(), stdout);
        std::fflush(stdout);
    }
    return exit;
}

}  // namespace vela
