// The table of system calls with each entry made to fail at will: the n-th call of it, or every
// call from the n-th on.
#pragma once

#include "support/failing_os.h"

#include <cstddef>
#include <span>
#include <vector>

namespace torture {

// What is to become of the calls of one entry.
struct FaultPlan {
    bool deadly = false;  // they count towards the one that kills
    unsigned calls = 0;   // made since the plan was set
    unsigned at = 0;      // the call that fails, from 1; 0: none
    bool lasting = false; // and so do all after it
    int error = 0;        // with this errno

    bool hit() const { return at != 0 && calls >= at; }
};

// An entry of the table.
struct OsEntry {
    const char* name;
    size_t slot;       // its place in the table
    void (*install)(); // puts the failing call into the table
    FaultPlan& plan;
    std::vector<int> errors; // those that its manual page names; none for a call that cannot fail
};

// All of them, in the order of the table.
std::span<const OsEntry> os_entries();
const OsEntry& os_entry(const char* name);

// Puts failing calls into the whole table, in front of what stands there, until it goes. Nothing
// fails until a fault is set.
class FaultyOs {
public:
    FaultyOs();
    FaultyOs(const FaultyOs&) = delete;
    FaultyOs& operator=(const FaultyOs&) = delete;
    ~FaultyOs() { clear(); }

    void set(const OsEntry& entry, unsigned at, int error, bool lasting = false);
    // The process is to be killed at the n-th call of the entries that `counts` names, before the
    // call is made or right behind it.
    void kill_at(unsigned at, bool behind, bool (*counts)(const OsEntry& entry));
    // No faults any more. Whether the one that was set last was reached.
    bool clear();

private:
    test_support::RestoredOs restored_;
    const OsEntry* last_ = nullptr;
};

} // namespace torture
