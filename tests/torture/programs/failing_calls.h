// The programs' calls to the system, failing on demand: one call of one entry of the table, or that
// call and every later one of that entry.
#pragma once

#include "common/system_calls.h"

#include <optional>
#include <string>
#include <vector>

namespace torture {

// An entry of the table with the errors that its manual names for a call that is made rightly. What
// only a mistake in the program can bring about (EBADF, EFAULT, EINVAL of an argument) is not here.
struct Entry {
    std::string name;
    std::vector<int> errors; // errno values; EAI_ codes for getaddrinfo
    void (*wrap)();          // puts the wrapper that can fail into talvor::system_calls
};

// Every entry of the table.
const std::vector<Entry>& entries();

struct Fault {
    size_t entry = 0; // index in entries()
    int error = 0;
    unsigned call = 1;    // the first call that fails, from 1
    bool lasting = false; // and every later one
};

// "sem_open, call 3: Too many open files (from then on)".
std::string text_of(const Fault& fault);
// The error as a person reads it.
std::string reason_of(const Fault& fault);

// From now on the calls of this process are counted, and it meets the fault when one is given. Not
// undone, and only while there is one thread: for a child process.
void watch(const std::optional<Fault>& fault);
// Whether a call has failed.
bool met();
// How often the entry was called.
unsigned calls(size_t entry);

} // namespace torture
