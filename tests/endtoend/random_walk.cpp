#include "random_walk.h"

#include "hardware/tbc_registers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

namespace endtoend {
namespace {

constexpr uint16_t kUntouched = 0xDEAD;
constexpr uint32_t kWashBits = 512; // more than any return path holds

template <typename Value, size_t count>
Value any_of(std::mt19937_64& random, const Value (&values)[count]) {
    return values[random() % count];
}

JSC_JtagState random_state(std::mt19937_64& random) {
    return any_of(random, {eJSC_JTAG_STATE_RESET, eJSC_JTAG_STATE_IDLE, eJSC_JTAG_STATE_PAUSE_DR,
                           eJSC_JTAG_STATE_PAUSE_IR});
}

JSC_JtagTransit random_transit(std::mt19937_64& random) {
    return any_of(random, {eJSC_JTAG_TRANSIT_QUICKEST, eJSC_JTAG_TRANSIT_QUICKEST,
                           eJSC_JTAG_TRANSIT_VIA_CAPTURE, eJSC_JTAG_TRANSIT_VIA_IDLE});
}

JSC_JtagCommand random_command(std::mt19937_64& random) {
    JSC_JtagCommand command = scan_command(
        random() % 3 == 0 ? eJSC_JTAG_SHIFT_IR : eJSC_JTAG_SHIFT_DR, random_state(random));
    command.jtagBefore = random_transit(random);
    command.jtagAfter = random_transit(random);
    command.jtagAmble = any_of(random, {eJSC_JTAG_AMBLE_NEITHER, eJSC_JTAG_AMBLE_PREAMBLE,
                                        eJSC_JTAG_AMBLE_POSTAMBLE, eJSC_JTAG_AMBLE_BOTH});
    command.jtagUsage = any_of(random, {eJSC_JTAG_USAGE_FRESH, eJSC_JTAG_USAGE_REUSE});
    command.jtagWidth = any_of(random, {eJSC_JTAG_WIDTH_16, eJSC_JTAG_WIDTH_32});
    command.jtagAdjust = any_of(random, {eJSC_JTAG_ADJUST_AUTO, eJSC_JTAG_ADJUST_USER});
    return command;
}

uint32_t random_length(std::mt19937_64& random) {
    const uint64_t kind = random() % 20;
    if (kind == 0) {
        return static_cast<uint32_t>(1 + random() % 4000);
    }
    if (kind < 4) {
        return any_of(random, {1U, 15U, 16U, 17U, 31U, 32U, 33U, 48U});
    }
    return static_cast<uint32_t>(1 + random() % (kind < 8 ? 400 : 60));
}

} // namespace

RandomPod make_random_pod(uint32_t serial, uint64_t seed) {
    RandomPod session;
    session.random.seed(seed);
    auto& random = session.random;
    const unsigned generation = 1 + serial % 4;
    session.chain = talvor::podsim::reference::random_chain(random);
    session.pod.serial = serial;
    session.pod.revision = static_cast<uint16_t>(generation << 8 | random() % 4);
    session.pod.controller = random() % 2 == 0 ? "tbc" : "dpm";
    if (random() % 2 == 0) {
        session.pod.return_pipeline = random() % 2 == 0 ? 0 : static_cast<unsigned>(random() % 65);
        session.pod.cable_delay = random() % 2 == 0 ? 3 : static_cast<unsigned>(random() % 32);
    }
    session.keys = {{"KELM.POD_SN", std::to_string(serial)},
                    {"KELM.POD_PORT", std::to_string(serial)},
                    {"KELM.POD_EMUVERSION", std::to_string(generation)},
                    {"KELM.POD_AW_EN", random() % 2 == 0 ? "yes" : "no"},
                    {"KELM.POD_TCKPREDIVENA", random() % 2 == 0 ? "yes" : "no"},
                    {"KELM.POD_TCKDIV", std::to_string(random() % 13)},
                    {"VEXIL.FASTCLK", random() % 2 == 0 ? "yes" : "no"},
                    {"VEXIL.SLOWCLK", random() % 4 == 0 ? "yes" : "no"}};
    session.recipe |= random() % 2 == 0 ? JSC_RECIPE_MODE_CONFIG : 0;
    return session;
}

RandomWalk::RandomWalk(RandomPod& pod, Host& host)
    : random_(pod.random), host_(host), pod_(pod.pod), model_(pod.chain, 0) {
    set_link_delay(LINK_DELAY_DEFAULT);
    // Connecting leaves the TAP in Test-Logic-Reset, where the model begins.
    EXPECT_EQ(host_.state(), eJSC_JTAG_STATE_RESET);
}

void RandomWalk::wash() {
    const JSC_JtagCommand command = scan_command(eJSC_JTAG_SHIFT_DR);
    Words none;
    EXPECT_EQ(host_.fixed(command, kWashBits, true), 0);
    model_.scan(ScanKind::Ones, command, kWashBits, {}, 1, none, none);
}

void RandomWalk::step() {
    switch (random_() % 16) {
    case 0:
        change_ambles();
        break;
    case 1:
        change_link_delay();
        break;
    case 2:
    case 3:
        move();
        break;
    case 4:
        EXPECT_EQ(host_.state(), model_.state());
        break;
    default:
        scan();
    }
}

void RandomWalk::set_link_delay(unsigned link) {
    link_ = link;
    const unsigned there = pod_.return_pipeline + pod_.cable_delay;
    model_.set_return_delay(there > link ? there - link : 0);
}

void RandomWalk::change_link_delay() {
    const int32_t delta = static_cast<int32_t>(random_() % 41) - 20;
    EXPECT_EQ(host_->PutLinkDelay(host_.handle(), delta), 0);
    set_link_delay((link_ + static_cast<unsigned>(delta)) % (LINK_DELAY_MAXIMUM + 1));
}

void RandomWalk::change_ambles() {
    const auto length = [this] { return static_cast<uint32_t>(random_() % 40); };
    ir_ = {length(), length()};
    dr_ = {length(), length()};
    JSC_JtagAmbleDelay ambles{};
    ambles.useAmbles = true;
    ambles.preAmbleIR = ir_.before;
    ambles.posAmbleIR = ir_.behind;
    ambles.preAmbleDR = dr_.before;
    ambles.posAmbleDR = dr_.behind;
    EXPECT_EQ(host_->PutAmbleDelay(host_.handle(), &ambles), 0);
}

void RandomWalk::move() {
    const JSC_JtagState end = random_state(random_);
    const JSC_JtagTransit transit = random_transit(random_);
    EXPECT_EQ(host_.move(end, transit), 0);
    model_.move(end, transit);
}

void RandomWalk::scan() {
    const JSC_JtagCommand command = random_command(random_);
    const auto kind = any_of(random_, {ScanKind::Zeros, ScanKind::Ones, ScanKind::Send,
                                       ScanKind::Both, ScanKind::Both, ScanKind::Receive});
    const uint32_t bits = random_length(random_);
    const uint32_t repeats = random_() % 4 == 0 ? 1 + static_cast<uint32_t>(random_() % 3) : 1;
    Words out(size_t{2} * ((bits + 31) / 32) * repeats);
    std::ranges::generate(out, [this] { return static_cast<uint16_t>(random_()); });
    Words in(out.size(), kUntouched);
    Words expected(out.size(), kUntouched);
    EXPECT_EQ(run(kind, command, bits, repeats, out, in), 0);
    model_.scan(kind, command, bits, command.jtagShift == eJSC_JTAG_SHIFT_IR ? ir_ : dr_, repeats,
                out, expected);
    EXPECT_EQ(in, expected) << "kind " << static_cast<int>(kind) << ", " << bits << " bits, "
                            << repeats << " repeats";
    tally(expected);
}

void RandomWalk::tally(const Words& received) {
    for (const uint16_t word : received) {
        words_ += word != kUntouched ? 1 : 0;
        ones_ += word != kUntouched ? static_cast<unsigned>(std::popcount(word)) : 0;
    }
}

int32_t RandomWalk::run(ScanKind kind, const JSC_JtagCommand& command, uint32_t bits,
                        uint32_t repeats, const Words& out, Words& in) {
    switch (kind) {
    case ScanKind::Zeros:
    case ScanKind::Ones:
        return host_.fixed(command, bits, kind == ScanKind::Ones, repeats);
    case ScanKind::Send:
        return host_.send(command, bits, out, repeats);
    case ScanKind::Both:
        return host_.both(command, bits, out, in, repeats);
    default:
        return host_.receive(command, bits, in, repeats);
    }
}

} // namespace endtoend
