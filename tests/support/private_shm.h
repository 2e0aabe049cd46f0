// A /dev/shm of the test program's own, so that no test meets a pod proxy that runs on the machine.
#pragma once

namespace test_support {

enum class ShmPrivacy {
    Private, // this process and its children see an empty /dev/shm of their own
    Locked,  // namespaces are not allowed here: the machine's /dev/shm, under an exclusive lock
};

// Enters a mount namespace with an empty /dev/shm. Where that is not allowed, takes the exclusive
// lock that all test programs share, waiting for it, and exits with a message when pod channel
// objects stand there already: they belong to a proxy that the tests must not disturb.
ShmPrivacy enter_private_shm();

} // namespace test_support
