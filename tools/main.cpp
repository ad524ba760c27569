#include "Commands.h"

int main(int argc, char** argv) {
    return rzft::RunCommandLine(argc, argv);
}
