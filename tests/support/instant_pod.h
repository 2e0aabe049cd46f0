// A handle with a pod behind it that answers within the driver's own thread, at once: no proxy, no
// shared memory, no semaphores. For tests that make hundreds of thousands of scans, and for
// benchmarks that measure the driver alone. The real channel is the recording proxy's.
#pragma once

#include "hardware/pod_revision.h"
#include "support/empty_batch.h"
#include "support/failing_os.h"
#include "transport/batch.h"

#include <functional>
#include <memory>
#include <vector>

namespace test_support {

class InstantPod {
public:
    // A basic controller behind a pod of this revision.
    explicit InstantPod(uint16_t revision = POD_REVISION_1) {
        active = this;
        sem_init(&complete_semaphore_, 0, 0);
        os_calls.sem_post = execute;
        inform.pJscControl = &control;
        inform.ProxyShm = block.get();
        inform.evStartSem = &start_semaphore_;
        inform.evCompleteSem = &complete_semaphore_;
        inform.emuRevision = revision;
        control.ctlrRevise = eJTI_CONTROL_ID_TBC;
        control.emuRevision = revision;
        control.timeDependOld.tclkFreq = 20000;
        control.timeDependNew.tclkFreq = 20000;
        empty_batch(*block);
    }
    InstantPod(const InstantPod&) = delete;
    InstantPod& operator=(const InstantPod&) = delete;
    ~InstantPod() {
        batch_release(&inform);
        sem_destroy(&complete_semaphore_);
        active = nullptr;
    }

    JSC_Inform* get() { return &inform; }

    // Gives the value of a read; without it reads give 0.
    std::function<uint16_t(uint16_t port)> give;
    // Is told each write.
    std::function<void(uint16_t port, uint16_t value)> take;
    // Is told each flush before it is executed.
    std::function<void()> before_flush;
    // As many of the next batches fail.
    unsigned failing = 0;
    // Keeps the words of each batch.
    bool recording = true;
    std::vector<std::vector<uint16_t>> batches;
    unsigned flushes = 0;

    // The words queued and not flushed, the two of an empty batch not counted.
    std::vector<uint16_t> queued() const {
        return {block->tbcOMblock + SHM_EMPTY_BATCH_WORDS, block->tbcOMblock + block->tbcMblockPtr};
    }

    std::unique_ptr<lcl_shm> block = std::make_unique<lcl_shm>();
    JSC_Inform inform{};
    JSC_Control control{};

private:
    static inline InstantPod* active;

    static int execute(sem_t* /*semaphore*/) {
        active->execute_batch();
        return ::sem_post(&active->complete_semaphore_);
    }

    void execute_batch() {
        if (block->cmd != SHM_CMD_EXECUTE) {
            block->status = 0;
            return;
        }
        ++flushes;
        if (before_flush) {
            before_flush();
        }
        const uint32_t reads = block->rdCntrGbl;
        if (recording) {
            batches.push_back(queued());
        }
        if (failing != 0) {
            --failing;
            block->status = -1;
        } else {
            if (give || take) {
                run();
            }
            block->status = static_cast<int32_t>(reads * sizeof(uint16_t));
        }
        empty_batch(*block);
    }

    void run() {
        uint32_t answered = 0;
        for (uint32_t at = SHM_EMPTY_BATCH_WORDS; at < block->tbcMblockPtr; ++at) {
            const uint16_t word = block->tbcOMblock[at];
            if ((word & SHM_WORD_CONTROL) != 0) {
                continue;
            }
            if ((word & SHM_WORD_WRITE) == 0) {
                block->tbcIMblock[answered++] = give ? give(word) : uint16_t{0};
                continue;
            }
            ++at;
            if (take) {
                take(static_cast<uint16_t>(word & SHM_WORD_PORT_MASK), block->tbcOMblock[at]);
            }
        }
    }

    RestoredOs restored_;
    sem_t start_semaphore_{};
    sem_t complete_semaphore_{};
};

} // namespace test_support
