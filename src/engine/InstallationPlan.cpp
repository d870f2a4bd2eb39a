#include "InstallationPlan.h"

#include <filesystem>
#include <sstream>

#include "BundleCheck.h"
#include "Commands.h"
#include "Const.h"
#include "FreeSpace.h"
#include "HelpFile.h"
#include "InstallationCheck.h"
#include "ShellExecute.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string withoutSlash(const std::string& path) {
    return endsWith(path, "/") ? path.substr(0, path.size() - 1) : path;
}

std::string sizeText(std::uint64_t bytes, std::uint64_t files) {
    return std::to_string(bytes) + " bytes, " + std::to_string(files) +
           (files == 1 ? " file" : " files");
}

}  // namespace

InstallationPlan::InstallationPlan(const Bundle& bundle, bool isOverwrite)
    : bundle_(bundle),
      isOverwrite_(isOverwrite),
      generation_(Const::applicationDirectoryPathWithVersion(bundle.shortVersionString())) {}

std::vector<std::string> InstallationPlan::runningApplications() {
    // With another root only what runs from that volume is the installation's to stop.
    const std::string root = Const::targetRoot() == "/" ? std::string() : Const::targetRoot();
    const std::string marker =
        std::string("/") + Const::kClientAppName + "." + Const::kAppFileType + "/";
    std::vector<std::string> found;
    std::istringstream lines(ShellExecute::execute("ps -axo pid=,command=").value_or(""));
    for (std::string line; std::getline(lines, line);) {
        if (line.find(marker) != std::string::npos &&
            (root.empty() || line.find(root + "/") != std::string::npos)) {
            found.push_back(trimmingNewlines(line.substr(line.find_first_not_of(' '))));
        }
    }
    return found;
}

std::string InstallationPlan::foreseenFailure(const Bundle& bundle, const Payload& payload) {
    if (std::optional<std::string> defect = BundleCheck::defect(bundle)) {
        return *defect;
    }
    std::optional<FreeSpace::Figures> figures = FreeSpace::measure(payload);
    if (figures && !figures->enough()) {
        return FreeSpace::shortfallMessage(*figures);
    }
    // The same text as the run's own failure.
    const std::string device = Const::getDeviceLicenseModeDirectoryPath();
    std::error_code ec;
    if (fs::exists(fs::symlink_status(device, ec)) && !fs::is_directory(device, ec)) {
        return "non-directory item exists: " + device;
    }
    return {};
}

std::vector<InstallationPlan::Action> InstallationPlan::actions() const {
    std::vector<Action> plan;
    prepare(plan);
    finalise(plan);
    return plan;
}

void InstallationPlan::prepare(std::vector<Action>& plan) const {
    const std::string base = Const::appBaseDirectoryPath();
    if (isOverwrite_) {
        for (const std::string& name : Const::applicationDirectoryPrefixEnumerate()) {
            if (endsWith(name, Const::kDestinationDirectorySuffix)) {
                plan.push_back({"remove", joinPath(base, name), "generation moved aside earlier"});
            }
        }
        if (fileExistsAtPath(generation_)) {
            plan.push_back(
                {"move aside", withoutSlash(generation_),
                 "to " + withoutSlash(generation_) + Const::kDestinationDirectorySuffix});
        }
    } else {
        for (const std::string& path : Const::allUserDirectoryPlistPaths()) {
            plan.push_back({"remove", path, "user configuration of an earlier installation"});
        }
    }
    const std::string device = Const::getDeviceLicenseModeDirectoryPath();
    plan.push_back(
        {fileExistsAtPath(device) ? "set access" : "create", device, "root:admin drwxrwxr-x"});
    if (fileExistsAtPath(HelpFile::destinationPath())) {
        plan.push_back({"move aside", HelpFile::destinationPath(), "to " + HelpFile::backupPath()});
    }
    Payload payload(bundle_, generation_);
    for (const Payload::Item& item : payload.items()) {
        if (item.target == HelpFile::destinationPath()) {
            plan.push_back({"copy", item.target, "help file, root:admin -rw-rw-r--"});
        }
    }
    for (const Payload::Item& item : payload.items()) {
        if (item.source && item.target.rfind(generation_, 0) == 0) {
            plan.push_back({"copy", item.target, sizeText(item.bytes, item.files)});
        }
    }
    plan.push_back({"set owner", withoutSlash(generation_), "root:admin, everything inside"});
}

void InstallationPlan::finalise(std::vector<Action>& plan) const {
    if (isOverwrite_) {
        for (const std::string& process : runningApplications()) {
            plan.push_back({"stop", process, "SIGTERM, then SIGKILL after one second"});
        }
        const std::string base = Const::appBaseDirectoryPath();
        for (const std::string& name : Const::applicationDirectoryPrefixEnumerate()) {
            const std::string path = joinPath(base, name);
            if (path + "/" != generation_) {
                plan.push_back({"remove", path, "other generation"});
            }
        }
        if (fileExistsAtPath(generation_)) {
            plan.push_back({"remove",
                            withoutSlash(generation_) + Const::kDestinationDirectorySuffix,
                            "this version's previous copy"});
        }
    } else {
        plan.push_back({"create", Const::getDeviceOfflineFlagFilePath(), "root:admin -rw-rw-r--"});
    }
    plan.push_back({"link", Const::symbolicLinkPath(),
                    "to " + InstallationCheck::expectedLinkText(bundle_.shortVersionString())});
    if (fileExistsAtPath(HelpFile::destinationPath())) {
        plan.push_back({"remove", HelpFile::backupPath(), "the previous help file"});
    }
    plan.push_back({"copy", Const::applicationLaunchAgentPlistPath(), "agent, root:admin"});
    plan.push_back({"reload", Const::applicationLaunchAgentPlistPath(), "launchctl unload, load"});
}

}  // namespace vela
