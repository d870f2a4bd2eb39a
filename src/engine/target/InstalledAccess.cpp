#include "InstalledAccess.h"

namespace vela {

std::string InstalledAccess::listing(const Ownership& ownership, char type) {
    std::string text = "root:admin:" + std::string(1, type);
    const char* letters = "rwxrwxrwx";
    for (int bit = 0; bit < 9; ++bit) {
        text += (ownership.mode & (0400u >> bit)) != 0 ? letters[bit] : '-';
    }
    return text;
}

std::string InstalledAccess::plan(const Ownership& ownership, char type) {
    std::string text = listing(ownership, type);
    text[text.rfind(':')] = ' ';
    return text;
}

}  // namespace vela
