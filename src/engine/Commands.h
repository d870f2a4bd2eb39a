#pragma once

#include <optional>
#include <string>

#include "Failure.h"

namespace vela {

/// Whether `path` is one the installer makes under the target root, and so may remove or move:
/// a generation, the device directory, the help file and its backup, the link. A name built from
/// the bundle or read from a journal cannot reach further (no "..", no other folder).
bool isInstallerPath(const std::string& path);

/// "rm <options> <path>" with the path in shell form, its trailing slashes taken off so that rm
/// removes a link at that name itself, never what it points to. A path that is not
/// isInstallerPath() gets a command that removes nothing and says so on standard error, whatever
/// produced the path.
std::string removalCommand(const std::string& options, const std::string& path);

/// Runs `commandLine` and returns its text, "(null)" when it gave none (for log lines).
std::string executeForLog(const std::string& commandLine);

/// Whether something exists at `path`, following links (a dangling link does not count).
bool fileExistsAtPath(const std::string& path);

/// Traces "command execute: <command>" under `function`'s name, runs the command and returns its
/// text (empty when it gave none).
std::string executeWithTrace(const char* function, const std::string& command);

/// Runs the removal of `path` (see removalCommand) and traces "execute: [<command>]: <output>"
/// under `function`'s name; returns the output.
std::string executeRemovalWithTrace(const char* function, const std::string& options,
                                    const std::string& path);

/// Runs the removal of `path` (see removalCommand) with the trace "command execute: <command>"
/// under `function`'s name; a link there is logged as such (only the link goes). When something
/// is still there afterwards: "cannot remove: <path> (<what rm said>)".
StepFailure removeEntryTraced(const char* function, const std::string& path);

/// Why root could not create anything in `folder` (a read-only volume); none when it could.
std::optional<std::string> unwritable(const std::string& folder);

/// `text` without line breaks at either end.
std::string trimmingNewlines(const std::string& text);

/// `text` for a log line; "(null)" for none.
std::string orNull(const std::optional<std::string>& text);

}  // namespace vela

/// Runs a command line with its "command execute: ..." trace naming the calling function.
#define DTraceExecute(command) ::vela::executeWithTrace(__PRETTY_FUNCTION__, command)

/// Removes a path with its "execute: [command]: output" trace naming the calling function.
#define DTraceRemoval(options, path) \
    ::vela::executeRemovalWithTrace(__PRETTY_FUNCTION__, options, path)
