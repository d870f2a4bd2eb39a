#include "ShellForm.h"

namespace vela {

namespace {

bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '.' || c == '/' || c == ',' || c == ':' || c == '+' || c == '@' ||
           c == '%' || c == ' ';
}

}  // namespace

std::string shellForm(std::string_view text) {
    bool plain = !text.empty();
    for (char c : text) {
        plain = plain && isPlain(c);
    }
    std::string out;
    if (plain) {
        for (char c : text) {
            if (c == ' ') {
                out += '\\';
            }
            out += c;
        }
        return out;
    }
    out += '\'';
    for (char c : text) {
        if (c == '\'') {
            out += "'\\''";
        } else {
            out += c;
        }
    }
    out += '\'';
    return out;
}

}  // namespace vela
