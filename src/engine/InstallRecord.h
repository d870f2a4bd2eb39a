#pragma once

#include <QJsonArray>
#include <QJsonObject>

#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace vela {

/// What one run of the unattended front end did, for a management tool: one JSON object. Fields
/// that a run did not get to know are null.
struct InstallRecord {
    /// "installed", "failed", "cancelled", "refused", "busy", "usage"; a dry run's "ready" or
    /// "blocked"; a verification's "intact", "damaged" or "absent".
    std::string status;
    int exit = 0;
    std::optional<std::string> version;
    std::optional<std::string> build;
    std::optional<std::string> mode;    ///< "new" or "overwrite"
    std::vector<std::string> previous;  ///< generation names found before the run
    std::optional<std::string> generation;
    std::optional<std::string> link;
    std::uint64_t bytes = 0;
    std::uint64_t files = 0;
    double seconds = 0;
    std::optional<std::string> log;
    std::optional<std::string> errorCode;
    std::optional<std::string> errorMessage;
    /// Where and why, when the failure says so.
    std::optional<std::string> errorPath;
    std::optional<std::string> errorReason;
    std::optional<std::string> errorStep;  ///< the row that failed
    bool undone = false;
    std::optional<QJsonArray> actions;      ///< a dry run's plan
    std::optional<QJsonArray> differences;  ///< a verification's findings

    /// The mode of a run as the record names it: "overwrite" or "new".
    static const char* modeOf(bool isOverwrite) { return isOverwrite ? "overwrite" : "new"; }

    QJsonObject toJson() const;
    /// The object on one line, ending in a line break.
    std::string toLine() const;

    /// Where the record of the last successful installation is kept on the target.
    static std::string filePath();
    /// Writes the record, indented, to filePath() atomically, owned by root, mode 644.
    std::error_code keepOnTarget() const;
};

}  // namespace vela
