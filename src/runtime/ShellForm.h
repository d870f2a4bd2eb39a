#pragma once

#include <string>
#include <string_view>

namespace vela {

/// `text` written so that /bin/sh reads it back as exactly one word equal to `text`. A path of
/// letters, digits, "_-./,:+@%" and blanks keeps its familiar look, each blank as "\ "; any
/// other text is single-quoted, each "'" as '\''. Every path and user name put into a command
/// line goes through here, so no name can run a command or widen one.
std::string shellForm(std::string_view text);

}  // namespace vela
