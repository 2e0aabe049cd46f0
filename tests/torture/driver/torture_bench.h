// The simulator, a heap that knows what is taken from it, system calls that fail at will, and
// sessions between the two.
#pragma once

#include "faulty_os.h"
#include "operation_calls.h"
#include "support/driver_session.h"
#include "support/podsim_process.h"

#include <functional>
#include <optional>

namespace torture {

class Bench {
public:
    Bench();

    // Frees what is still taken from the heap; how many blocks that were.
    size_t free_leftovers();

    test_support::LeakGuard leaks;
    test_support::PodsimProcess simulator;
    test_support::RecordedSleeps sleeps;
    test_support::FailingHeap heap;
    FaultyOs os;
};

// One handle, brought to a stage and, whatever happened to it, let go of at the end.
class Session {
public:
    Session();               // created
    explicit Session(Stage); // and brought there; the test fails when that does not succeed
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    int32_t init();
    JSC_Inform* get() { return host_.get(); }
    // Calls an operation from a known state of the TAP, without spare nodes for reads.
    int32_t call(const OperationCall& operation, Outputs& out);
    // The way back that hosts are told of: a diagnosis, then a hard reset.
    void recover(int32_t code);

private:
    test_support::DriverHandle host_;
};

// Has `attempt` made with the n-th call of an entry failing, for every n until it says that no n-th
// call was made: how many there were. It sets the fault and clears it.
using Attempt = std::function<bool(unsigned at)>;
unsigned fail_each_call(const OsEntry& entry, int error, bool lasting, const Attempt& attempt,
                        unsigned most = 1000);

// From the table of operations by name.
const OperationCall& operation_call(const char* name);

// Whether the chain behind a connected handle is found as it is: both devices, the lengths of their
// instructions, a bit of BYPASS for each, and every bit of so many words shifted through.
bool discover_chain(JSC_Inform* handle, uint32_t words);

constexpr uint32_t kShortScanWords = 500;
// Of a scan that takes two batches: four words of a batch go with each of its words.
constexpr uint32_t kLongScanWords = 40'000;

// A fresh host finds the chain, and everything is as it should be.
void expect_a_good_session();

// The chain, as the simulator reads it.
const char* description();

} // namespace torture
