#include "support/leak_guard.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <system_error>

namespace test_support {
namespace {

constexpr const char* kShmFolder = "/dev/shm";

std::set<std::string> open_descriptors() {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        // The descriptor of this very walk is closed again when it is looked up afterwards.
        if (!gone && target != "/proc/" + std::to_string(getpid()) + "/fd") {
            found.insert(entry.path().filename().string() + " -> " + target.string());
        }
    }
    return found;
}

std::multiset<std::string> shared_mappings() {
    std::multiset<std::string> found;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (const size_t path = line.find(kShmFolder); path != std::string::npos) {
            found.insert(line.substr(path));
        }
    }
    return found;
}

std::set<std::string> shared_names() {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(kShmFolder)) {
        found.insert(entry.path().filename().string());
    }
    return found;
}

} // namespace

Belongings belongings_now() {
    return {open_descriptors(), shared_mappings(), shared_names()};
}

std::ostream& operator<<(std::ostream& out, const Belongings& belongings) {
    for (const std::string& descriptor : belongings.descriptors) {
        out << "\n  descriptor " << descriptor;
    }
    for (const std::string& mapping : belongings.mappings) {
        out << "\n  mapping " << mapping;
    }
    for (const std::string& name : belongings.names) {
        out << "\n  name " << name;
    }
    return out;
}

LeakGuard::LeakGuard() : before_(belongings_now()) {}

LeakGuard::~LeakGuard() {
    EXPECT_EQ(belongings_now(), before_);
}

} // namespace test_support
