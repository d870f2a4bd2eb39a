#pragma once

#include <string>
#include <string_view>

namespace vela {

/// The command line that prints file attributes in `format`, written with the BSD letters
/// %Su (owner name), %Sg (group name) and %Sp (symbolic mode), e.g. "%Su:%Sg:%Sp".
/// `shellPath` must already be in shell form. Prints e.g. "root:admin:drwxrwxr-x".
std::string statCommand(std::string_view format, std::string_view shellPath);

}  // namespace vela
