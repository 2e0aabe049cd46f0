// One way to call each operation of the table: the slot, arguments that it accepts, and what its
// outputs hold when it fails.
#pragma once

#include "jsc_internal.h"

#include <cstddef>
#include <span>

namespace torture {

// Everything that an operation may write to.
struct Outputs {
    bool flags[4];
    uint32_t numbers[4];
    uint16_t words[16];
    uint32_t log[80];
    JSC_JtagState state;
    JSC_JtagAmbleDelay amble;
    JSC_PodStatus pod_status;
    JSC_OldStatus old_status;

    // What a host that forgot to clear them might have there.
    static Outputs spoiled();
    bool operator==(const Outputs& other) const;
};

// What an operation is called on.
enum class Stage {
    Initialised, // and it changes that: each call needs a handle of its own
    Connected,
    LastConnected, // the same, and it changes that
};

// What becomes of an operation when there is no memory, or no proxy to talk to.
enum class Failure {
    None,     // it needs neither
    Reported, // -131 without memory, -140 or -190 without an exchange
    Connect,  // steps have codes of their own
    Partly,   // it may also succeed: some steps are allowed to fail
};

struct OperationCall {
    const char* name;
    size_t slot;
    Stage stage;
    Failure memory;
    Failure exchange;
    int32_t answer; // when nothing fails
    int32_t (*make)(const JSC_Interface& table, JSC_Inform* handle, Outputs& out);
    void (*preset)(Outputs& out); // what stands in the outputs after a failure; null: untouched
};

// In the order of the table.
std::span<const OperationCall> operation_calls();
// Other ways to call some of them, which take other steps.
std::span<const OperationCall> operation_variants();

} // namespace torture
