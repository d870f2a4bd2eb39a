#include "StatCommand.h"

namespace vela {

std::string statCommand(std::string_view format, std::string_view shellPath) {
    // GNU stat spells the three BSD letters %U, %G and %A.
    std::string gnu;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] == '%' && i + 2 < format.size() && format[i + 1] == 'S') {
            switch (format[i + 2]) {
                case 'u':
                    gnu += "%U";
                    i += 2;
                    continue;
                case 'g':
                    gnu += "%G";
                    i += 2;
                    continue;
                case 'p':
                    gnu += "%A";
                    i += 2;
                    continue;
                default:
                    break;
            }
        }
        gnu += format[i];
    }
    return "stat -c " + gnu + " " + std::string(shellPath);
}

}  // namespace vela
