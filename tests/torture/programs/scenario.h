// What the programs are made to do while their calls fail.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace torture {

// How a scenario went, as far as it can tell itself; the rest is on the standard error stream.
struct Ending {
    int status = 1;    // as a program's exit status
    bool done = false; // everything that was asked for has happened
};

struct Scenario {
    std::string name;
    // Before it: what stands in /dev/shm and in `folder`. Runs with no fault.
    void (*prepare)(const std::string& folder) = nullptr;
    // What this process sets up for it before calls fail.
    void (*begin)(const std::string& folder) = nullptr;
    Ending (*run)(const std::string& folder) = nullptr;
};

std::vector<Scenario> scenarios();

// How a failed test names it.
inline std::ostream& operator<<(std::ostream& out, const Scenario& scenario) {
    return out << scenario.name;
}

} // namespace torture
