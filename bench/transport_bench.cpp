// Cost of the transport: queueing, a whole stream of words, the handshake.
#include "hardware/tbc_registers.h"
#include "scan/scan_stream.h"
#include "support/instant_pod.h"
#include "transport/batch_item.h"
#include "transport/port.h"
#include "transport/proxy_channel.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <sched.h>
#include <thread>
#include <vector>

namespace {

using test_support::InstantPod;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kItemsPerRound = 16384;
// 524,288 bits.
constexpr uint32_t kScanWords = 32768;

void count_items(benchmark::State& state, uint32_t items) {
    state.counters["per_item"] = benchmark::Counter(
        items, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// One item at a time, as most operations queue.
template <typename Queue>
void queue_items(benchmark::State& state, Queue queue) {
    InstantPod pod;
    for (auto _ : state) {
        for (uint32_t item = 0; item < kItemsPerRound; ++item) {
            queue(pod.get(), item);
        }
        test_support::empty_batch(*pod.block);
        batch_drop_reads(pod.get());
    }
    count_items(state, kItemsPerRound);
}

void BM_QueueWrite(benchmark::State& state) {
    queue_items(state, [](JSC_Inform* handle, uint32_t item) {
        PortWriteNoCache(handle, TBC_PORT_SEND, static_cast<uint16_t>(item));
    });
}
BENCHMARK(BM_QueueWrite);

void BM_QueueRead(benchmark::State& state) {
    static uint16_t word;
    queue_items(state, [](JSC_Inform* handle, uint32_t) {
        PortReadNoCache(handle, TBC_PORT_RECEIVE, &word);
    });
}
BENCHMARK(BM_QueueRead);

void BM_QueueWait(benchmark::State& state) {
    queue_items(state, [](JSC_Inform* handle, uint32_t) { batch_wait(handle, SHM_WAIT_READ_ONE); });
}
BENCHMARK(BM_QueueWait);

template <typename Work>
double seconds_of(int rounds, Work work) {
    const auto begin = Clock::now();
    for (int done = 0; done < rounds; ++done) {
        work();
    }
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

// What a number of turns took, in seconds: the median, so that a turn in which the scheduler took
// the processor away counts as one turn, not by its length.
double median(std::vector<double>& turns) {
    const auto middle = turns.begin() + static_cast<ptrdiff_t>(turns.size() / 2);
    std::nth_element(turns.begin(), middle, turns.end());
    return *middle;
}

// A stream of a scan's words, flushed and scattered, and a memcpy of the same bytes, in turns, so
// that both see the same machine.
void stream_words(benchmark::State& state, uint16_t option) {
    constexpr int kCopies = 16;
    InstantPod pod;
    pod.recording = false;
    std::vector<uint16_t> sent(kScanWords, 0x5AC3);
    std::vector<uint16_t> received(kScanWords);
    const ScanWords words{kScanWords, false, sent.data(), received.data()};
    std::vector<double> streams;
    std::vector<double> copies;
    for (auto _ : state) {
        streams.push_back(seconds_of(1, [&] {
            benchmark::DoNotOptimize(scan_stream(pod.get(), option, words));
            qel_PerformIo(pod.get());
            benchmark::DoNotOptimize(received.data());
        }));
        copies.push_back(seconds_of(kCopies,
                                    [&] {
                                        std::memcpy(received.data(), sent.data(),
                                                    kScanWords * sizeof sent[0]);
                                        benchmark::DoNotOptimize(received.data());
                                        benchmark::ClobberMemory();
                                    }) /
                         kCopies);
    }
    const double stream = median(streams);
    state.counters["ns_per_word"] = stream / kScanWords * 1e9;
    state.counters["to_memcpy"] = stream / median(copies);
    state.counters["flushes"] =
        static_cast<double>(pod.flushes) / static_cast<double>(state.iterations());
}

void BM_StreamBothWays(benchmark::State& state) {
    stream_words(state, TBC_SCAN_BOTH);
}
BENCHMARK(BM_StreamBothWays);

void BM_StreamReceive(benchmark::State& state) {
    stream_words(state, TBC_SCAN_RECEIVE);
}
BENCHMARK(BM_StreamReceive);

void BM_StreamSend(benchmark::State& state) {
    stream_words(state, TBC_SCAN_SEND);
}
BENCHMARK(BM_StreamSend);

// ---- the handshake, with a thread behind it ----

// Keeps a thread on one processor, where there are several: the two ends of a handshake that meet
// on one take turns at the scheduler's pace.
void keep_on_processor(unsigned processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor % std::max(1U, std::thread::hardware_concurrency()), &set);
    sched_setaffinity(0, sizeof set, &set);
}

class AnsweringThread {
public:
    AnsweringThread() {
        sem_init(&start, 0, 0);
        sem_init(&complete, 0, 0);
        test_support::empty_batch(*block);
        thread_ = std::thread([this] { serve(); });
    }
    AnsweringThread(const AnsweringThread&) = delete;
    AnsweringThread& operator=(const AnsweringThread&) = delete;
    ~AnsweringThread() {
        stop_ = true;
        sem_post(&start);
        thread_.join();
        sem_destroy(&start);
        sem_destroy(&complete);
    }

    sem_t start{};
    sem_t complete{};
    std::unique_ptr<lcl_shm> block = std::make_unique<lcl_shm>();

private:
    void serve() {
        keep_on_processor(1);
        for (;;) {
            while (sem_trywait(&start) != 0) {
                sched_yield();
            }
            if (stop_) {
                return;
            }
            block->status = static_cast<int32_t>(block->rdCntrGbl * sizeof(uint16_t));
            test_support::empty_batch(*block);
            sem_post(&complete);
        }
    }

    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

// One exchange, written out around a wait.
template <typename Wait>
int32_t bare_round_trip(AnsweringThread& proxy, Wait wait) {
    proxy.block->cmd = SHM_CMD_EXECUTE;
    sem_post(&proxy.start);
    wait(&proxy.complete);
    return proxy.block->status;
}

// The wait as the driver's contract has it: a deadline that is over.
void wait_by_deadline(sem_t* semaphore) {
    constexpr timespec kPast{.tv_sec = 10, .tv_nsec = 100'000'000};
    while (sem_timedwait(semaphore, &kPast) != 0) {
    }
}

// The quickest wait there is.
void wait_by_trying(sem_t* semaphore) {
    while (sem_trywait(semaphore) != 0) {
        __builtin_ia32_pause();
    }
}

// The driver's exchange beside one that is written out, in turns, so that both see the same
// machine; and a whole flush of one queued write, with the three status reads that it adds.
void BM_Handshake(benchmark::State& state) {
    constexpr int kTripsPerTurn = 20;
    keep_on_processor(0);
    AnsweringThread proxy;
    JSC_Control control{};
    JSC_Inform inform{};
    inform.pJscControl = &control;
    inform.ProxyShm = proxy.block.get();
    inform.evStartSem = &proxy.start;
    inform.evCompleteSem = &proxy.complete;
    std::vector<double> exchange;
    std::vector<double> flush;
    std::vector<double> deadline;
    std::vector<double> trying;
    const auto measure = [](std::vector<double>& turns, auto trip) {
        turns.push_back(seconds_of(kTripsPerTurn, trip) / kTripsPerTurn);
    };
    for (auto _ : state) {
        measure(exchange,
                [&] { benchmark::DoNotOptimize(channel_exchange(&inform, SHM_CMD_EXECUTE)); });
        measure(trying, [&] { benchmark::DoNotOptimize(bare_round_trip(proxy, wait_by_trying)); });
        measure(deadline,
                [&] { benchmark::DoNotOptimize(bare_round_trip(proxy, wait_by_deadline)); });
        measure(flush, [&] {
            PortWriteNoCache(&inform, TBC_PORT_STATUS0, 0);
            qel_PerformIo(&inform);
        });
    }
    batch_release(&inform);
    state.counters["exchange_per_s"] = 1 / median(exchange);
    state.counters["flush_per_s"] = 1 / median(flush);
    state.counters["to_bare_trywait"] = median(exchange) / median(trying);
    state.counters["to_bare_timedwait"] = median(exchange) / median(deadline);
}
BENCHMARK(BM_Handshake)->Iterations(2000)->Unit(benchmark::kMicrosecond);

} // namespace
