#include "host/xsvf/writer.h"

#include "host/play/whole_scan.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace talvor::xsvf {

namespace {

using play::Leg;
using play::Step;

constexpr uint32_t kMostNumber = std::numeric_limits<uint32_t>::max();
constexpr size_t kShortInstruction = 0xFF; // bits of one that XSIR takes

void put(std::string& bytes, Opcode opcode) {
    bytes += static_cast<char>(opcode);
}

void put(std::string& bytes, uint32_t number, size_t count) {
    for (size_t i = count; i != 0; --i) {
        bytes += static_cast<char>((number >> ((i - 1) * 8)) & 0xFFU);
    }
}

void put(std::string& bytes, const Bits& value) {
    for (size_t left = (value.size() + 7) / 8; left != 0; --left) {
        bytes += static_cast<char>(value.to_uint((left - 1) * 8, 8));
    }
}

void put(std::string& bytes, StableState state) {
    put(bytes, static_cast<uint32_t>(index_of(tap_state(state))), 1);
}

} // namespace

void Writer::begin(std::string& bytes) {
    if (!begun_) {
        begun_ = true;
        set_repeat(0, bytes);
    }
}

void Writer::set_repeat(uint32_t times, std::string& bytes) {
    if (repeat_ != times) {
        repeat_ = times;
        put(bytes, Opcode::Repeat);
        put(bytes, times, 1);
    }
}

std::optional<std::string> Writer::add(const Step& step, std::string& bytes) {
    begin(bytes);
    switch (step.kind) {
    case Step::Kind::Nothing:
        return std::nullopt;
    case Step::Kind::Scan:
        return add_scan(step.scan, bytes);
    case Step::Kind::Path:
        return add_path(step, bytes);
    case Step::Kind::Run: {
        std::optional<std::string> left =
            add_wait(step.run.state, step.run.clocks, step.run.min_time, step.run.end, bytes);
        return !left && step.run.max_time ? "the longest time of a wait" : left;
    }
    case Step::Kind::Frequency:
        return step.hertz ? std::optional<std::string>("the test clock") : std::nullopt;
    case Step::Kind::Trst:
    case Step::Kind::PulseTrst:
        return "TRST";
    }
    return std::nullopt;
}

void Writer::finish(std::string& bytes) {
    put(bytes, Opcode::Complete);
}

std::optional<std::string> Writer::add_scan(const play::ScanStep& scan, std::string& bytes) {
    if (scan.end == StableState::Reset ||
        scan.end == (scan.path == ScanPath::Ir ? StableState::PauseDr : StableState::PauseIr)) {
        return fmt::format("a scan that ends in {}", name_of(scan.end));
    }
    StableState& present = scan.path == ScanPath::Ir ? end_ir_ : end_dr_;
    if (present != scan.end) {
        present = scan.end;
        put(bytes, scan.path == ScanPath::Ir ? Opcode::EndIr : Opcode::EndDr);
        put(bytes, scan.end == StableState::Idle ? 0 : 1, 1);
    }
    if (scan.path == ScanPath::Dr) {
        add_dr(scan, bytes);
        return std::nullopt;
    }
    if (scan.total_bits > 0xFFFF) {
        return fmt::format("an instruction scan of {} bits", scan.total_bits);
    }
    const Bits tdi = play::WholeScan(scan).tdi;
    const bool brief = tdi.size() <= kShortInstruction;
    put(bytes, brief ? Opcode::Sir : Opcode::Sir2);
    put(bytes, static_cast<uint32_t>(tdi.size()), brief ? 1 : 2);
    put(bytes, tdi);
    return scan.compares()
               ? std::optional<std::string>("the expected answer of an instruction scan")
               : std::nullopt;
}

// A scan that is compared with nothing has a mask of zeros, once something has been expected.
void Writer::add_dr(const play::ScanStep& scan, std::string& bytes) {
    const play::WholeScan whole(scan);
    if (size_ != scan.total_bits) {
        size_ = scan.total_bits;
        mask_.clear();
        compared_ = false;
        put(bytes, Opcode::SdrSize);
        put(bytes, static_cast<uint32_t>(size_), 4);
    }
    const bool compares = scan.compares();
    set_repeat(scan.retry.times, bytes);
    if ((compares || compared_) && mask_ != whole.mask) {
        mask_ = whole.mask;
        put(bytes, Opcode::TdoMask);
        put(bytes, mask_);
    }
    put(bytes, compares ? Opcode::SdrTdo : Opcode::Sdr);
    put(bytes, whole.tdi);
    if (compares) {
        compared_ = true;
        put(bytes, whole.tdo);
    }
}

std::optional<std::string> Writer::add_wait(StableState state, uint64_t clocks,
                                            std::chrono::nanoseconds time, StableState end,
                                            std::string& bytes) {
    const auto rounded = static_cast<uint64_t>((time.count() + 999) / 1000);
    const uint64_t microseconds = std::max(clocks, rounded);
    if (microseconds > kMostNumber) {
        return "a wait of more than 4294 s";
    }
    put(bytes, Opcode::Wait);
    put(bytes, state);
    put(bytes, end);
    put(bytes, static_cast<uint32_t>(microseconds), 4);
    return std::nullopt;
}

std::optional<std::string> Writer::add_path(const Step& step, std::string& bytes) {
    for (const Leg& leg : step.legs) {
        if (leg.kind == Leg::Kind::Stay) {
            if (std::optional<std::string> left =
                    add_wait(leg.to, leg.clocks, std::chrono::nanoseconds(0), leg.to, bytes)) {
                return left;
            }
        } else {
            put(bytes, Opcode::State);
            put(bytes, leg.to);
        }
    }
    return std::nullopt;
}

} // namespace talvor::xsvf
