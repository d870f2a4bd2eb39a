// Stand-in for the VELA uninstaller, shipped so the bundle layout is complete.
#include <cstdio>

int main() {
    std::puts("VELA-Uninstaller sample: nothing to do");
    return 0;
}
