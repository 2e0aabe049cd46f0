// A host at the controller's registers: the words that a driver writes for a scan, in their order.
#pragma once

#include "podsim/model/chain.h"
#include "podsim/model/controller.h"
#include "shm_structs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::podsim::host {

using Words = std::vector<uint16_t>;

// Notes every clock and pin change that the target sees.
class Recorder : public EdgeObserver {
public:
    struct Edge {
        uint64_t time_ns = 0;
        TapState state{};
        bool tms = false;
        bool tdi = false;
        bool tdo = false;
    };

    void edges(const EdgeRun& run) override {
        TapState state = run.from;
        for (uint64_t i = 0; i < run.count; ++i) {
            seen.push_back({run.start_ns + i * run.period_ns, state, run.tms_at(i), run.tdi_at(i),
                            run.tdo_at(i)});
            state = next_state(state, run.tms_at(i));
        }
    }
    void trst(uint64_t time_ns, bool level) override {
        pins.push_back("trst " + std::to_string(level) + " at " + std::to_string(time_ns));
    }
    void target_reset(uint64_t, bool asserted) override {
        pins.push_back("reset " + std::to_string(asserted));
    }
    void emu(uint64_t, EmuPins levels) override {
        pins.push_back("emu " + std::to_string(levels.emu1) + std::to_string(levels.emu0));
    }

    // The TMS levels since the last call, first one first.
    std::string tms() {
        std::string text;
        for (const Edge& edge : seen) {
            text += edge.tms ? '1' : '0';
        }
        seen.clear();
        return text;
    }

    std::vector<Edge> seen;
    std::vector<std::string> pins;
};

inline ControllerSettings strict_settings() {
    ControllerSettings settings;
    settings.strict = true;
    return settings;
}

// Why a word of a batch failed; empty when it was done.
inline std::string failure_of(const Controller& controller, bool done) {
    return done ? std::string() : headline(controller.word_error());
}

// One pod with a host that knows how to drive it. Every call expects success unless it says else.
class Bench {
public:
    explicit Bench(const ChainDescription& description, const ControllerSettings& settings)
        : chain(description), controller(settings, this->chain, [this](std::string_view text) {
              warnings.emplace_back(text);
          }) {
        controller.observe(&recorder);
    }

    void write(unsigned port, unsigned value) { EXPECT_EQ(write_failure(port, value), ""); }
    uint16_t read(unsigned port) {
        const std::optional<uint16_t> word = controller.read(static_cast<uint16_t>(port));
        EXPECT_TRUE(word) << headline(controller.word_error());
        return word.value_or(0);
    }
    void wait(unsigned word) { EXPECT_EQ(wait_failure(word), ""); }
    // The reasons of failures; empty after success.
    std::string write_failure(unsigned port, unsigned value) {
        return failure_of(controller, controller.write(static_cast<uint16_t>(port),
                                                       static_cast<uint16_t>(value)));
    }
    std::string read_failure(unsigned port) {
        return failure_of(controller, controller.read(static_cast<uint16_t>(port)).has_value());
    }
    std::string wait_failure(unsigned word) {
        return failure_of(controller, controller.wait(static_cast<uint16_t>(word)));
    }

    void program_link_delay(unsigned delay) { config = (config & 0xFFE0U) | delay; }

    void go_to(unsigned transit, unsigned code) {
        wait(SHM_WAIT_DONE);
        write(TBC_PORT_OPERATION, transit | code);
        write(TBC_PORT_CONTROL, TBC_CONTROL_RUN);
    }

    // `value` is what registers 12 and 13 get.
    void launch(unsigned end, unsigned option, uint64_t value) {
        write(TBC_PORT_COUNT_LOW, static_cast<unsigned>(value & 0xFFFF));
        write(TBC_PORT_COUNT_HIGH, static_cast<unsigned>(value >> 16));
        wait(SHM_WAIT_DONE);
        write(TBC_PORT_OPERATION, end | TBC_TRANSIT_SCAN);
        write(TBC_PORT_CONFIG, option | config);
        write(TBC_PORT_CONTROL, TBC_CONTROL_EMPTY);
        write(TBC_PORT_CONTROL, TBC_CONTROL_RUN);
    }

    void wait_status(unsigned word) {
        if (host_waits) {
            wait(word);
        }
    }

    void scan_fixed(unsigned end, uint64_t count, bool ones, bool adjust = false) {
        launch(end, ones ? TBC_SCAN_ONES : TBC_SCAN_ZEROS, adjust ? count + 15 : count - 1);
    }

    // Sends and receives. `adjust` clocks a leading word of ones and drops the first word received.
    Words scan_both(unsigned end, uint64_t count, Words out, bool adjust) {
        const uint64_t value = adjust ? count + 15 : count - 1;
        launch(end, TBC_SCAN_BOTH, value);
        if (adjust) {
            out.insert(out.begin(), 0xFFFF);
        }
        const size_t last = value >> 4;
        out.resize(last + 1);
        write(TBC_PORT_SEND, out[0]);
        if (last > 0) {
            write(TBC_PORT_SEND, out[1]);
        }
        Words in;
        for (size_t i = 0; i <= last; ++i) {
            wait_status(SHM_WAIT_READ_ONE);
            if (i > 0 && i + 1 <= last) {
                write(TBC_PORT_SEND, out[i + 1]);
            }
            in.push_back(read(TBC_PORT_RECEIVE));
        }
        return adjust ? Words(in.begin() + 1, in.end()) : in;
    }

    Words scan_receive(unsigned end, uint64_t count, bool adjust) {
        const uint64_t value = adjust ? count + 15 : count - 1;
        launch(end, TBC_SCAN_RECEIVE, value);
        Words in;
        for (uint64_t i = 0; i <= value >> 4; ++i) {
            wait_status(SHM_WAIT_READ_ONE);
            in.push_back(read(TBC_PORT_RECEIVE));
        }
        return adjust ? Words(in.begin() + 1, in.end()) : in;
    }

    void scan_send(unsigned end, uint64_t count, Words out) {
        launch(end, TBC_SCAN_SEND, count - 1);
        out.resize((count + 15) / 16);
        for (size_t i = 0; i < out.size(); ++i) {
            if (i >= 2) {
                wait_status(SHM_WAIT_WRITE_ONE);
            }
            write(TBC_PORT_SEND, out[i]);
        }
    }

    Chain chain;
    Recorder recorder;
    std::vector<std::string> warnings;
    Controller controller;
    unsigned config = TBC_CONFIG_DEFAULT | LINK_DELAY_DEFAULT;
    bool host_waits = true;
};

// One device with a 4-bit instruction register and a scratch register of `bits` at instruction 3.
inline ChainDescription scratch_chain(uint64_t bits, std::vector<uint64_t> value = {}) {
    DeviceDescription device;
    device.name = "a";
    device.idcode = 0x2BA01477;
    device.idcode_instruction = 0xE;
    device.registers.push_back({"scratch", {3}, ScratchRegister{bits, std::move(value)}});
    return {{device}, {}};
}

// The unused bits of the last word are 0.
inline Words cut(Words words, uint64_t count) {
    if (count % 16 != 0 && words.size() > count / 16) {
        words[count / 16] = static_cast<uint16_t>(words[count / 16] & ((1U << (count % 16)) - 1));
    }
    return words;
}

// A pod in strict mode with one device: IDCODE, and 64 bits of scratch at instruction 3.
class StrictPodTest : public testing::Test {
protected:
    StrictPodTest() : pod(scratch_chain(64), strict_settings()) {}
    Bench pod;
};

} // namespace talvor::podsim::host
