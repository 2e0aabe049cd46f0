// The main function of every test program: a private /dev/shm first, then the tests.
#include "support/private_shm.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!testing::GTEST_FLAG(list_tests)) {
        test_support::enter_private_shm();
    }
    return RUN_ALL_TESTS();
}
