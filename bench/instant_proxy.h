// A pod that answers at once, for benchmarks: no thread, no other process. The driver's post of the
// start semaphore executes the command in the caller's own thread, so that what is measured is the
// driver. A batch is not looked at word by word; every read answers what stands in the in-block.
#pragma once

#include "sys/os.h"
#include "transport/batch.h"
#include "transport/proxy_channel.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace bench {

inline void empty_batch(lcl_shm& block) {
    block.tbcOMblock[0] = SHM_WORD_RESERVED;
    block.tbcOMblock[SHM_EMPTY_MARKER_INDEX] = SHM_MARKER_OPEN;
    block.tbcMblockPtr = SHM_EMPTY_BATCH_WORDS;
    block.lastWCNTR = SHM_EMPTY_MARKER_INDEX;
    block.useZeroOfs = 0;
    block.rdCntrLcl = 0;
    block.rdCntrGbl = 0;
}

inline void answer(lcl_shm& block) {
    block.status = 0;
    if (block.cmd == SHM_CMD_EXECUTE) {
        block.status = static_cast<int32_t>(block.rdCntrGbl * sizeof(uint16_t));
        empty_batch(block);
    }
}

// A handle that is attached to such a pod. One at a time.
class InstantPod {
public:
    InstantPod() : block_(std::make_unique<lcl_shm>()) {
        empty_batch(*block_);
        block_in_use = block_.get();
        sem_init(&complete_, 0, 0);
        completion = &complete_;
        executed = 0;
        os_calls.sem_post = post;
        control.emuRevision = POD_REVISION_1;
        control.ctlrRevise = eJTI_CONTROL_ID_TBC;
        control.timeDependNew.tclkFreq = 20000;
        control.timeDependOld.tclkFreq = 20000;
        inform.pJscControl = &control;
        inform.ProxyShm = block_.get();
        inform.evStartSem = &start_;
        inform.evCompleteSem = &complete_;
        inform.ctlrSoftOpen = true;
        inform.ctlrHardOpen = true;
    }
    InstantPod(const InstantPod&) = delete;
    InstantPod& operator=(const InstantPod&) = delete;
    ~InstantPod() {
        batch_release(&inform);
        sem_destroy(&complete_);
        os_calls = saved_;
    }

    JSC_Inform* handle() { return &inform; }
    lcl_shm& block() { return *block_; }
    // Batches executed so far.
    std::size_t flushes() const { return executed; }

    JSC_Inform inform{};
    JSC_Control control{};

private:
    static inline lcl_shm* block_in_use;
    static inline sem_t* completion;
    static inline std::size_t executed;

    static int post(sem_t* /*semaphore*/) {
        executed += block_in_use->cmd == SHM_CMD_EXECUTE ? 1 : 0;
        answer(*block_in_use);
        return sem_post(completion);
    }

    OsCalls saved_ = os_calls;
    std::unique_ptr<lcl_shm> block_;
    sem_t start_{};
    sem_t complete_{};
};

} // namespace bench
