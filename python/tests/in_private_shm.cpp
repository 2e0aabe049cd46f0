// Runs a program in a /dev/shm of its own, or, where there is none to be had, under the lock that
// all test programs share. Its exit status is the program's.
#include "common/child_process.h"
#include "common/result.h"
#include "support/private_shm.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: in_private_shm PROGRAM ARGUMENTS...\n", stderr);
        return 2;
    }
    test_support::enter_private_shm();
    auto child = talvor::ChildProcess::spawn({.arguments = {argv + 1, argv + argc}});
    if (!child) {
        std::fprintf(stderr, "%s\n", talvor::headline(child.error()).c_str());
        return 2;
    }
    return child->wait().shell_status();
}
