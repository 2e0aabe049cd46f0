// A pod proxy inside the test process. It speaks the real channel (device table, pod blocks,
// semaphores; one thread a pod), records every command and batch, and answers reads as the test
// scripts them. It knows nothing of targets: values come from the script, or from the defaults
// below.
//
//   RecordingProxy proxy;                       // one pod: serial 1, revision 0x0100
//   proxy.pod().answer(TBC_PORT_RECEIVE, {0x1234, 0x5678});
//   ... the driver opens, queues, flushes ...
//   EXPECT_EQ(proxy.pod().last_batch().body(), "write 23 1234\nwait recv\nread 22\n");
//
// What every batch must be, whatever the test is about, is checked at each exchange: whole items,
// ports below 32, a marker after every 2048 reads, counters that agree with the words, everything
// inside the block. Findings become test failures when the proxy goes, unless the test takes them
// with take_findings().
//
// Default answers: port 16 0, port 17 0x8003, port 18 1 (Test-Logic-Reset), port 19 1, port 31
// 0x00E0, every other 0. Between a write of 0x0400 and one of 0x0004 to port 1, reads of port 22
// give the words written to port 23, each reversed end to end, and 0xFFFF when there is none.
#pragma once

#include "hardware/pod_revision.h"
#include "hardware/tbc_registers.h"
#include "shm_structs.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <semaphore.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test_support {

struct PodSpec {
    uint32_t serial = 1;
    uint16_t revision = POD_REVISION_1;
    bool used = true;
    std::string block_name = {};        // empty: one is made up; longer than 63 has no NUL
    off_t block_size = sizeof(lcl_shm); // 0: the block does not exist
};

// One executed command 3, as the driver left it.
struct RecordedBatch {
    std::vector<uint16_t> words;   // all, from index 0
    std::vector<uint16_t> answers; // the words that the reads were given
    uint32_t last_marker = 0;      // lastWCNTR
    uint32_t marker_closed = 0;    // useZeroOfs
    uint32_t reads_local = 0;      // rdCntrLcl
    uint32_t reads_global = 0;     // rdCntrGbl

    // The items behind the two words of an empty batch, in the batch notation, one a line.
    std::string text() const;
    // The same without the three status reads that end every batch; all of it when they are absent.
    std::string body() const;
};

class RecordedPod {
public:
    RecordedPod(const PodSpec& spec, const std::string& block_name);
    RecordedPod(const RecordedPod&) = delete;
    RecordedPod& operator=(const RecordedPod&) = delete;
    ~RecordedPod();

    // ---- the script; between exchanges ----

    // Values for the next reads of a port, after those already queued.
    void answer(uint16_t port, std::vector<uint16_t> values);
    // Gives the value of every read of a port once no queued one is left.
    void answer_with(uint16_t port, std::function<uint16_t()> give);
    // The value of every read of a port when nothing else gives one.
    void answer_always(uint16_t port, uint16_t value);
    // Is told every write as it is executed.
    void watch_writes(std::function<void(uint16_t port, uint16_t value)> watch);
    // The next batches fail: reads are not answered, the status is this one, the batch is emptied.
    void fail_batches(unsigned count, int32_t status = -1);
    // The next support-register writes answer a negative status.
    void refuse_support_writes(unsigned count);
    // Has the last word on the block at the end of each command, before complete is posted.
    void interfere(std::function<void(lcl_shm& block)> change);
    // Index in the in-block of the first word read.
    void place_reads_at(uint32_t index);
    // Stops recording words (their number is kept), for runs of many megabytes.
    void record_words(bool record);

    // ---- what was recorded ----

    std::vector<uint32_t> commands() const;       // every command, oldest first
    std::vector<uint16_t> support_writes() const; // values of commands 2, refused ones included
    const std::vector<RecordedBatch>& batches() const;
    const RecordedBatch& last_batch() const; // the test fails when there is none
    // The bodies of all batches, one after the other.
    std::string text() const;
    void forget(); // what was recorded so far
    std::vector<std::string> take_findings();

    // The block itself, for hostile values; null when it does not exist.
    lcl_shm* block() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

class RecordingProxy {
public:
    RecordingProxy();
    explicit RecordingProxy(const std::vector<PodSpec>& pods);
    RecordingProxy(const RecordingProxy&) = delete;
    RecordingProxy& operator=(const RecordingProxy&) = delete;
    ~RecordingProxy();

    RecordedPod& pod(size_t index = 0);
    // The device table, for hostile values.
    gbl_shm& table();
    // Gives the device table another size.
    void resize_table(off_t size);
    // The global mutex, for tests that hold it.
    sem_t* mutex();

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace test_support
