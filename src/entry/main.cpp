#include <sys/stat.h>

#include <exception>

#include "Log.h"
#include "StartUp.h"

int main(int argc, char* argv[]) {
    // Modes of what the installer creates are its own, never the caller's umask.
    ::umask(022);
    try {
        return vela::StartUp::run(argc, argv);
    } catch (const std::exception& error) {
        // Ends as a failure with its reason in the log, never as an abort; a journal left
        // behind is repaired by the next run.
        vela::ELog("the installer could not go on: %s", error.what());
        vela::Log::defaultLog().flush();
        return 1;
    }
}
