#include "StartUp.h"

int main(int argc, char* argv[]) {
    return vela::StartUp::run(argc, argv);
}
