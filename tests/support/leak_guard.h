// Tells what a test left behind in the process and in /dev/shm.
#pragma once

#include <set>
#include <string>

namespace test_support {

// Open descriptors, mappings of shared objects and names in /dev/shm, as they are now. Two of the
// same content compare equal; printed, they say what is there.
struct Belongings {
    std::set<std::string> descriptors;   // "5 -> /dev/shm/name"
    std::multiset<std::string> mappings; // of files in /dev/shm
    std::set<std::string> names;         // in /dev/shm

    bool operator==(const Belongings&) const = default;
};

Belongings belongings_now();
std::ostream& operator<<(std::ostream& out, const Belongings& belongings);

// Fails the test when its end finds other belongings than its beginning. Declare it first, before
// the proxy and the handles.
class LeakGuard {
public:
    LeakGuard();
    LeakGuard(const LeakGuard&) = delete;
    LeakGuard& operator=(const LeakGuard&) = delete;
    ~LeakGuard();

private:
    Belongings before_;
};

} // namespace test_support
