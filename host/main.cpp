// vantry: collects the power and performance data of this machine and
// reports it. See host/Vantry.h, and `vantry --help`.
#include <string>
#include <vector>

#include "host/Vantry.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    vantry::Vantry program;
    return program.run(args);
}
