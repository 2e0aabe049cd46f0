#include "host/play/plan.h"

#include <bit>
#include <cstring>

namespace talvor::play {

namespace {

// No record is longer: three numbers of ten bytes in a head, and eight numbers behind.
constexpr size_t kLongestRecord = 128;

// Flags of one stretch of a scan. Without NewShape its statement and length are those of before.
constexpr unsigned kNewShape = 1;
constexpr unsigned kNewTdi = 2;
constexpr unsigned kTdo = 4; // there is one; without NewTdo the one of before
constexpr unsigned kNewTdo = 8;
constexpr unsigned kMask = 16;
constexpr unsigned kNewMask = 32;
constexpr unsigned kPartFlags = 6;
// Behind the flags of the three stretches: what to do about a wrong answer follows.
constexpr uint64_t kRetries = uint64_t{1} << (3 * kPartFlags);
// The body's flags come first: headers and trailers rarely change, and their zeros cost nothing.
constexpr std::array<size_t, 3> kPartOrder{1, 0, 2};

// The first byte of a record: the kind of its step in the low bits, and these.
constexpr unsigned kKindBits = 3;
constexpr unsigned kIr = 1U << kKindBits;
constexpr unsigned kEndShift = kKindBits + 1;

constexpr unsigned of(StableState state) noexcept {
    return static_cast<unsigned>(state);
}

bool same(const uint16_t* held, const uint16_t* given, size_t words) {
    return held != nullptr && std::memcmp(held, given, words * sizeof *given) == 0;
}

} // namespace

void Plan::put_number(uint64_t value) {
    for (; value >= 0x80; value >>= 7) {
        put_byte(static_cast<unsigned>(value & 0x7F) | 0x80U);
    }
    put_byte(static_cast<unsigned>(value));
}

void Plan::begin_record() {
    at_ = records_.take(kLongestRecord);
    end_ = at_ + kLongestRecord;
}

void Plan::end_record() {
    records_.give_back(static_cast<size_t>(end_ - at_));
}

void Plan::clear() {
    *this = Plan(max_bytes_);
}

void Plan::drop() {
    clear();
    whole_ = false;
}

void Plan::add(const Step& step) {
    if (!whole_) {
        return;
    }
    if (step.refusal) {
        drop();
        return;
    }
    begin_record();
    unsigned head = static_cast<unsigned>(step.kind);
    if (step.kind == Step::Kind::Scan) {
        head |= (step.scan.path == ScanPath::Ir ? kIr : 0) | (of(step.scan.end) << kEndShift);
    }
    put_byte(head);
    put_byte(step.statement);
    put_number(step.line - line_);
    put_number(step.bytes - bytes_taken_);
    line_ = step.line;
    bytes_taken_ = step.bytes;
    switch (step.kind) {
    case Step::Kind::Scan:
        add_scan(step.scan);
        break;
    case Step::Kind::Path:
        add_path(step);
        break;
    case Step::Kind::Run:
        add_run(step.run);
        break;
    case Step::Kind::Frequency:
        put_number(std::bit_cast<uint64_t>(step.hertz.value_or(0)));
        break;
    case Step::Kind::Trst:
        put_byte(static_cast<unsigned>(step.trst));
        break;
    case Step::Kind::Nothing:
    case Step::Kind::PulseTrst:
        break;
    }
    end_record();
    ++steps_;
    if (bytes() > max_bytes_) {
        drop();
    }
}

const uint16_t* Plan::keep(const uint16_t* words, size_t count) {
    uint16_t* const room = values_.take(count);
    std::memcpy(room, words, count * sizeof *words);
    return room;
}

unsigned Plan::part_flags(const ScanPart& part, Held& held) const {
    unsigned flags = 0;
    if (part.length_bits != held.length_bits || part.statement != held.statement) {
        held = {part.statement, part.length_bits, nullptr, nullptr, nullptr};
        flags = kNewShape;
    }
    if (part.length_bits == 0) {
        return flags;
    }
    const size_t words = part.words();
    flags |= same(held.tdi, part.tdi, words) ? 0 : kNewTdi;
    if (part.compares()) {
        flags |= kTdo | (same(held.tdo, part.tdo, words) ? 0 : kNewTdo);
    }
    if (part.compares() && part.mask != nullptr) {
        flags |= kMask | (same(held.mask, part.mask, words) ? 0 : kNewMask);
    }
    return flags;
}

void Plan::add_scan(const ScanStep& scan) {
    auto& held = held_[scan.path == ScanPath::Ir ? 1 : 0];
    std::array<unsigned, 3> flags{};
    uint64_t all = 0;
    for (size_t i = 0; i < kPartOrder.size(); ++i) {
        const size_t part = kPartOrder[i];
        flags[part] = part_flags(scan.parts[part], held[part]);
        all |= uint64_t{flags[part]} << (i * kPartFlags);
    }
    const bool retries = scan.retry != Retry();
    put_number(all | (retries ? kRetries : 0));
    if (retries) {
        put_number(scan.retry.times);
        put_number(scan.retry.clocks);
        put_number(static_cast<uint64_t>(scan.retry.time.count()));
    }
    for (const size_t i : kPartOrder) {
        const ScanPart& part = scan.parts[i];
        if ((flags[i] & kNewShape) != 0) {
            put_byte(part.statement);
            put_number(part.length_bits);
        }
        if ((flags[i] & kNewTdi) != 0) {
            held[i].tdi = keep(part.tdi, part.words());
        }
        if ((flags[i] & kNewTdo) != 0) {
            held[i].tdo = keep(part.tdo, part.words());
        }
        if ((flags[i] & kNewMask) != 0) {
            held[i].mask = keep(part.mask, part.words());
        }
    }
}

// A path may have any number of legs: each is a record of its own.
void Plan::add_path(const Step& step) {
    put_number(step.legs.size());
    for (const Leg& leg : step.legs) {
        end_record();
        begin_record();
        put_byte(static_cast<unsigned>(leg.kind));
        put_byte(of(leg.to));
        put_number(leg.clocks);
    }
}

void Plan::add_run(const RunStep& run) {
    put_byte(of(run.state));
    put_byte(of(run.end));
    put_number(run.clocks);
    put_number(static_cast<uint64_t>(run.min_time.count()));
    put_byte(run.max_time ? 1 : 0);
    put_number(static_cast<uint64_t>(run.max_time.value_or(std::chrono::nanoseconds(0)).count()));
}

PlanReader::PlanReader(const Plan& plan, const StepSource& original)
    : plan_(&plan), original_(&original), records_(plan.records_), values_(plan.values_) {}

Status PlanReader::rewind() {
    *this = PlanReader(*plan_, *original_);
    return {};
}

void PlanReader::begin_record() {
    at_ = records_.take(kLongestRecord);
    end_ = at_ + kLongestRecord;
}

void PlanReader::end_record() {
    records_.give_back(static_cast<size_t>(end_ - at_));
}

uint64_t PlanReader::take_number() {
    uint64_t value = 0;
    for (unsigned shift = 0;; shift += 7) {
        const unsigned byte = take_byte();
        value |= uint64_t{byte & 0x7FU} << shift;
        if (byte < 0x80) {
            return value;
        }
    }
}

Result<bool> PlanReader::next(Step& step) {
    if (steps_ == plan_->steps_) {
        return false;
    }
    ++steps_;
    begin_record();
    const unsigned head = take_byte();
    step.kind = static_cast<Step::Kind>(head & ((1U << kKindBits) - 1));
    step.statement = static_cast<StatementId>(take_byte());
    step.line = line_ += take_number();
    step.bytes = bytes_taken_ += take_number();
    step.notes.clear();
    step.refusal.reset();
    switch (step.kind) {
    case Step::Kind::Scan:
        read_scan(head, step.scan);
        break;
    case Step::Kind::Path:
        read_path(step);
        break;
    case Step::Kind::Run:
        read_run(step.run);
        break;
    case Step::Kind::Frequency: {
        const double hertz = std::bit_cast<double>(take_number());
        step.hertz = hertz > 0 ? std::optional<double>(hertz) : std::nullopt;
        break;
    }
    case Step::Kind::Trst:
        step.trst = static_cast<TrstLevel>(take_byte());
        break;
    case Step::Kind::Nothing:
    case Step::Kind::PulseTrst:
        break;
    }
    end_record();
    return true;
}

void PlanReader::read_scan(unsigned head, ScanStep& scan) {
    scan.path = (head & kIr) != 0 ? ScanPath::Ir : ScanPath::Dr;
    scan.end = static_cast<StableState>(head >> kEndShift);
    scan.total_bits = 0;
    auto& held = held_[scan.path == ScanPath::Ir ? 1 : 0];
    uint64_t flags = take_number();
    scan.retry = {};
    if ((flags & kRetries) != 0) {
        scan.retry.times = static_cast<uint32_t>(take_number());
        scan.retry.clocks = take_number();
        scan.retry.time = std::chrono::nanoseconds(static_cast<int64_t>(take_number()));
    }
    for (const size_t i : kPartOrder) {
        read_part(static_cast<unsigned>(flags), held[i], scan.parts[i]);
        scan.total_bits += scan.parts[i].length_bits;
        flags >>= kPartFlags;
    }
}

void PlanReader::read_part(unsigned flags, Plan::Held& held, ScanPart& part) {
    if ((flags & kNewShape) != 0) {
        held = {};
        held.statement = static_cast<StatementId>(take_byte());
        held.length_bits = take_number();
    }
    part.statement = held.statement;
    part.length_bits = held.length_bits;
    if ((flags & kNewTdi) != 0) {
        held.tdi = values_.take(part.words());
    }
    if ((flags & kNewTdo) != 0) {
        held.tdo = values_.take(part.words());
    }
    if ((flags & kNewMask) != 0) {
        held.mask = values_.take(part.words());
    }
    part.tdi = held.tdi;
    part.tdo = (flags & kTdo) != 0 ? held.tdo : nullptr;
    part.mask = (flags & kMask) != 0 ? held.mask : nullptr;
}

void PlanReader::read_path(Step& step) {
    step.legs.resize(take_number());
    for (Leg& leg : step.legs) {
        end_record();
        begin_record();
        leg.kind = static_cast<Leg::Kind>(take_byte());
        leg.to = static_cast<StableState>(take_byte());
        leg.clocks = take_number();
    }
}

void PlanReader::read_run(RunStep& run) {
    run.state = static_cast<StableState>(take_byte());
    run.end = static_cast<StableState>(take_byte());
    run.clocks = take_number();
    run.min_time = std::chrono::nanoseconds(static_cast<int64_t>(take_number()));
    const bool bounded = take_byte() != 0;
    const std::chrono::nanoseconds most(static_cast<int64_t>(take_number()));
    run.max_time = bounded ? std::optional(most) : std::nullopt;
}

} // namespace talvor::play
