#pragma once

#include <optional>
#include <string>

namespace vela {

/// Runs command lines through "/bin/sh -c" and collects what they print. Every operation blocks
/// the calling thread until the command has ended; none reports errors otherwise.
class ShellExecute {
public:
    /// Standard error if the command wrote any, else standard output (the empty text for a silent
    /// command), trailing line feed kept. None when the text is not valid UTF-8 or the shell
    /// cannot be started. Both pipes are drained while the command runs, so any amount of output
    /// comes back whole.
    static std::optional<std::string> execute(const std::string& commandLine);
    /// Standard error's text, or none when the command wrote nothing there.
    static std::optional<std::string> executeReturnBoolean(const std::string& commandLine);
    /// The command's exit status; -1 when it did not exit normally or could not start. Its
    /// output goes where the installer's own goes.
    static int executeReturnInteger(const std::string& commandLine);
};

/// True when `bytes` is well-formed UTF-8.
bool isValidUtf8(const std::string& bytes);

}  // namespace vela
