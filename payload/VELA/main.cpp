// Stand-in for the VELA desktop application: it only has to exist as a running
// process so the installer can be exercised against a live instance.
#include <signal.h>

#include <cstdio>
#include <cstring>

int main(int argc, char* argv[]) {
    bool ignoreSigterm = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            std::puts("VELA sample application");
            return 0;
        }
        if (std::strcmp(argv[i], "--ignore-sigterm") == 0) {
            ignoreSigterm = true;
        } else {
            std::fprintf(stderr, "usage: VELA [--version] [--ignore-sigterm]\n");
            return 2;
        }
    }

    // Signals we wait for are blocked and collected with sigwait(). Their
    // disposition is reset first: a signal ignored by the parent (e.g. SIGINT
    // for a background job) would otherwise be discarded and never arrive.
    sigset_t waitFor;
    sigemptyset(&waitFor);
    sigaddset(&waitFor, SIGINT);
    signal(SIGINT, SIG_DFL);
    if (ignoreSigterm) {
        // Leaves SIGKILL as the only way to stop this instance.
        signal(SIGTERM, SIG_IGN);
    } else {
        sigaddset(&waitFor, SIGTERM);
        signal(SIGTERM, SIG_DFL);
    }
    if (sigprocmask(SIG_BLOCK, &waitFor, nullptr) != 0) {
        std::perror("sigprocmask");
        return 1;
    }

    int received = 0;
    while (sigwait(&waitFor, &received) != 0) {
    }
    return 0;
}
