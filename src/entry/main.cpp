#include <sys/stat.h>

#include "StartUp.h"

int main(int argc, char* argv[]) {
    // Modes of what the installer creates are its own, never the caller's umask.
    ::umask(022);
    return vela::StartUp::run(argc, argv);
}
