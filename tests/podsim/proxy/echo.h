// A pod that answers every read with the port that was asked, and a proxy that serves such pods.
#pragma once

#include "podsim/batch/decoder.h"
#include "podsim/proxy/proxy.h"
#include "tests/podsim/reason.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace talvor::podsim::proxy {

// Answers every read with its port number plus 0x1000, and counts what it is asked. A write of
// port 3 runs until the batch is stopped.
class Echo : public Backend {
public:
    void attach() override { ++attached; }
    void detach() override { ++detached; }
    Status write_support(uint16_t value) override {
        support = value;
        return value == 0xDEAD ? failure("no") : Status();
    }
    batch::Outcome execute(const batch::Batch& batch, std::span<uint16_t> in) override {
        ++executed;
        return batch::execute(batch, in, *this, stop);
    }
    void request_stop() override { stop = true; }
    void note(std::string_view text) override {
        const std::scoped_lock lock(mutex);
        notes.emplace_back(text);
    }
    std::vector<std::string> notes_now() {
        const std::scoped_lock lock(mutex);
        return notes;
    }

    bool write(uint16_t port, uint16_t) {
        if (port == 3) {
            running = true;
            while (deaf || !stop) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        if (port == 4) {
            running = true;
            while (!go_on) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        return true;
    }
    std::optional<uint16_t> read(uint16_t port) { return static_cast<uint16_t>(0x1000 + port); }
    bool wait(uint16_t) { return true; }
    const Error& word_error() const { return no_error; }
    Status settle() { return {}; }

    std::atomic<int> attached{0}, detached{0}, executed{0}, support{-1};
    std::atomic<bool> stop{false}, running{false}, go_on{false}, deaf{false};
    std::mutex mutex;
    std::vector<std::string> notes;
    Error no_error;
};

inline std::unique_ptr<Proxy> start(std::vector<Pod> pods, Options options = {}) {
    auto proxy = Proxy::start(std::move(pods), options);
    EXPECT_TRUE(proxy) << reason_of(proxy);
    return proxy ? *std::move(proxy) : nullptr;
}

inline void wait_until(const std::atomic<bool>& flag) {
    for (int i = 0; i < 10'000 && !flag; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(flag);
}

} // namespace talvor::podsim::proxy
