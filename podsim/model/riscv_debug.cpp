#include "podsim/model/riscv_debug.h"

#include "podsim/model/bits.h"

#include <algorithm>

namespace talvor::podsim {
namespace {

// Registers of the debug module.
constexpr uint32_t kData0 = 0x04;
constexpr uint32_t kControl = 0x10;
constexpr uint32_t kStatus = 0x11;
constexpr uint32_t kAbstractStatus = 0x16;
constexpr uint32_t kCommand = 0x17;
constexpr uint32_t kAbstractAuto = 0x18;
constexpr uint32_t kBusControl = 0x38;
constexpr uint32_t kBusAddress0 = 0x39;
constexpr uint32_t kBusData0 = 0x3C;
constexpr uint32_t kHaltSummary0 = 0x40;

// dmcontrol.
constexpr uint32_t kHaltRequest = 1U << 31;
constexpr uint32_t kResumeRequest = 1U << 30;
constexpr uint32_t kAcknowledgeReset = 1U << 28;
constexpr unsigned kSelectLowShift = 16;
constexpr unsigned kSelectHighShift = 6;
constexpr unsigned kSelectBits = 10; // of each half
constexpr uint32_t kSetHaltOnReset = 1U << 3;
constexpr uint32_t kClearHaltOnReset = 1U << 2;
constexpr uint32_t kNdmReset = 1U << 1;
constexpr uint32_t kActive = 1U << 0;

// dmstatus: each fact of the hart stands in two bits, for any and for all harts selected.
constexpr uint32_t kVersion013 = 2;
constexpr uint32_t kHasHaltOnReset = 1U << 5;
constexpr uint32_t kAuthenticated = 1U << 7;
constexpr uint32_t kHalted = 3U << 8;
constexpr uint32_t kRunning = 3U << 10;
constexpr uint32_t kUnavailable = 3U << 12;
constexpr uint32_t kNonexistent = 3U << 14;
constexpr uint32_t kResumeAcknowledged = 3U << 16;
constexpr uint32_t kHaveReset = 3U << 18;

// abstractcs and command.
constexpr unsigned kCommandErrorShift = 8;
constexpr unsigned kCommandErrorBits = 3;
constexpr uint32_t kDataCount = 1;
constexpr unsigned kCommandTypeShift = 24;
constexpr unsigned kAccessRegister = 0;
constexpr unsigned kSizeShift = 20;
constexpr unsigned kSizeBits = 3;
constexpr unsigned kSize32 = 2;
constexpr uint32_t kPostIncrement = 1U << 19;
constexpr uint32_t kPostExecute = 1U << 18;
constexpr uint32_t kTransfer = 1U << 17;
constexpr uint32_t kWrite = 1U << 16;
constexpr uint32_t kNumberMask = 0xFFFF;
constexpr uint32_t kFirstGeneral = 0x1000;

// CSRs, which abstract commands count as the instruction set does.
constexpr uint32_t kMstatus = 0x300;
constexpr uint32_t kMisa = 0x301;
constexpr uint32_t kMie = 0x304;
constexpr uint32_t kMtvec = 0x305;
constexpr uint32_t kMscratch = 0x340;
constexpr uint32_t kMepc = 0x341;
constexpr uint32_t kMcause = 0x342;
constexpr uint32_t kMtval = 0x343;
constexpr uint32_t kMip = 0x344;
constexpr uint32_t kDcsr = 0x7B0;
constexpr uint32_t kDpc = 0x7B1;
constexpr uint32_t kDscratch0 = 0x7B2;
constexpr uint32_t kMvendorid = 0xF11;
constexpr uint32_t kMarchid = 0xF12;
constexpr uint32_t kMimpid = 0xF13;
constexpr uint32_t kMhartid = 0xF14;
constexpr uint32_t kMisaRv32ic = 0x4000'0104;
// dcsr: external debug support 0.13, and machine mode.
constexpr uint32_t kDcsrAtReset = 0x4000'0003;
constexpr uint32_t kDcsrWritable = 0x0000'8E04; // ebreakm, stepie, stopcount, stoptime, step
constexpr uint32_t kDcsrStep = 1U << 2;
constexpr unsigned kDcsrCauseShift = 6;
constexpr uint32_t kDcsrCauseMask = 7U << kDcsrCauseShift;
constexpr uint32_t kDcsrEbreakM = 1U << 15;

// Instructions.
constexpr uint32_t kEbreak = 0x0010'0073;
constexpr uint32_t kShortEbreak = 0x9002;
constexpr uint32_t kShortBytes = 2;
constexpr uint32_t kLongBytes = 4;

// The two lowest bits tell the long ones.
uint32_t bytes_of(uint32_t instruction) {
    return (instruction & 3) == 3 ? kLongBytes : kShortBytes;
}

// sbcs.
constexpr uint32_t kBusVersion = 1U << 29;
constexpr uint32_t kBusReadOnAddress = 1U << 20;
constexpr unsigned kBusAccessShift = 17;
constexpr unsigned kBusAccessBits = 3;
constexpr uint32_t kBusIncrement = 1U << 16;
constexpr uint32_t kBusReadOnData = 1U << 15;
constexpr unsigned kBusErrorShift = 12;
constexpr unsigned kBusErrorBits = 3;
constexpr uint32_t kBusAddressBits = 32U << 5;
constexpr uint32_t kBusSizes = 7; // 8, 16 and 32 bits

uint32_t field(uint32_t value, unsigned shift, unsigned bits) {
    return (value >> shift) & static_cast<uint32_t>(low_mask(bits));
}

uint32_t flag(bool set, uint32_t bits) {
    return set ? bits : 0;
}

// An error field of which each bit that is written as 1 is cleared.
template <class T>
T cleared(T error, uint32_t ones) {
    return static_cast<T>(static_cast<uint32_t>(error) & ~ones);
}

} // namespace

RiscvDebug::RiscvDebug(const RiscvDescription& description)
    : memory_address_(description.memory_address), memory_(description.memory_bytes) {
    power_on();
}

void RiscvDebug::power_on() {
    std::ranges::fill(memory_, 0);
    reset_module();
    active_ = false;
    reset_hart();
}

// ---- the debug module -------------------------------------------------------------------------

uint32_t RiscvDebug::read(uint32_t address) {
    switch (address) {
    case kData0: {
        const uint32_t data = data_;
        data_accessed();
        return data;
    }
    case kControl:
        return control();
    case kStatus:
        return status();
    case kAbstractStatus:
        return abstract_status();
    case kAbstractAuto:
        return flag(auto_execute_, 1);
    case kBusControl:
        return bus_control();
    case kBusAddress0:
        return bus_address_;
    case kBusData0: {
        const uint32_t data = bus_data_;
        if (bus_ready() && bus_read_on_data_) {
            bus_read();
        }
        return data;
    }
    case kHaltSummary0:
        return flag(halted_, 1);
    default:
        return 0;
    }
}

void RiscvDebug::write(uint32_t address, uint32_t value) {
    if (address == kControl) {
        write_control(value);
        return;
    }
    if (!active_) {
        return;
    }
    switch (address) {
    case kData0:
        data_ = value;
        data_accessed();
        break;
    case kAbstractStatus:
        command_error_ =
            cleared(command_error_, field(value, kCommandErrorShift, kCommandErrorBits));
        break;
    case kCommand:
        if (command_error_ == CommandError::None) {
            command_ = value;
            run_command();
        }
        break;
    case kAbstractAuto:
        auto_execute_ = (value & 1) != 0;
        break;
    case kBusControl:
        write_bus_control(value);
        break;
    case kBusAddress0:
        bus_address_ = value;
        if (bus_ready() && bus_read_on_address_) {
            bus_read();
        }
        break;
    case kBusData0:
        bus_data_ = value;
        if (bus_ready()) {
            bus_write();
        }
        break;
    default:
        break;
    }
}

void RiscvDebug::reset_module() {
    selected_ = 0;
    ndmreset_ = false;
    halt_requested_ = false;
    halt_on_reset_ = false;
    resume_acknowledged_ = false;
    data_ = 0;
    command_ = 0;
    command_error_ = CommandError::None;
    auto_execute_ = false;
    bus_read_on_address_ = false;
    bus_read_on_data_ = false;
    bus_increments_ = false;
    bus_access_ = kSize32;
    bus_error_ = BusError::None;
    bus_address_ = 0;
    bus_data_ = 0;
}

void RiscvDebug::write_control(uint32_t value) {
    const bool was_active = active_;
    active_ = (value & kActive) != 0;
    if (!active_ || !was_active) {
        // Only dmactive itself is written then.
        reset_module();
        return;
    }
    selected_ = field(value, kSelectLowShift, kSelectBits) |
                field(value, kSelectHighShift, kSelectBits) << kSelectBits;
    const bool reset = (value & kNdmReset) != 0;
    const bool reset_ends = ndmreset_ && !reset;
    ndmreset_ = reset;
    if (reset || reset_ends) {
        reset_hart();
    }
    if (selected_ == 0) {
        halt_requested_ = (value & kHaltRequest) != 0;
        have_reset_ = have_reset_ && (value & kAcknowledgeReset) == 0;
        halt_on_reset_ =
            (halt_on_reset_ || (value & kSetHaltOnReset) != 0) && (value & kClearHaltOnReset) == 0;
        if ((value & kResumeRequest) != 0 && !halt_requested_) {
            resume();
        }
    }
    if (!ndmreset_ && !halted_) {
        if (reset_ends && halt_on_reset_) {
            halt(Cause::ResetHalt);
        } else if (halt_requested_) {
            halt(Cause::HaltRequest);
        }
    }
}

uint32_t RiscvDebug::control() const {
    return (selected_ & static_cast<uint32_t>(low_mask(kSelectBits))) << kSelectLowShift |
           (selected_ >> kSelectBits) << kSelectHighShift | flag(ndmreset_, kNdmReset) |
           flag(active_, kActive);
}

uint32_t RiscvDebug::status() const {
    const uint32_t always = kVersion013 | kAuthenticated | kHasHaltOnReset;
    if (selected_ != 0) {
        return always | kNonexistent;
    }
    const uint32_t state = ndmreset_ ? kUnavailable : halted_ ? kHalted : kRunning;
    return always | state | flag(resume_acknowledged_, kResumeAcknowledged) |
           flag(have_reset_, kHaveReset);
}

uint32_t RiscvDebug::abstract_status() const {
    return static_cast<uint32_t>(command_error_) << kCommandErrorShift | kDataCount;
}

// ---- the hart ---------------------------------------------------------------------------------

void RiscvDebug::reset_hart() {
    halted_ = false;
    have_reset_ = true;
    general_.fill(0);
    csrs_ = {{kMstatus, 0},
             {kMisa, kMisaRv32ic},
             {kMie, 0},
             {kMtvec, 0},
             {kMscratch, 0},
             {kMepc, 0},
             {kMcause, 0},
             {kMtval, 0},
             {kMip, 0},
             {kDcsr, kDcsrAtReset},
             {kDpc, memory_address_},
             {kDscratch0, 0},
             {kMvendorid, 0},
             {kMarchid, 0},
             {kMimpid, 0},
             {kMhartid, 0}};
}

void RiscvDebug::halt(Cause cause) {
    halted_ = true;
    uint32_t& dcsr = csrs_[kDcsr];
    dcsr = (dcsr & ~kDcsrCauseMask) | static_cast<uint32_t>(cause) << kDcsrCauseShift;
}

void RiscvDebug::resume() {
    resume_acknowledged_ = false;
    if (!halted_) {
        return;
    }
    halted_ = false;
    resume_acknowledged_ = true;
    if ((csrs_[kDcsr] & kDcsrStep) != 0) {
        step();
    } else if ((csrs_[kDcsr] & kDcsrEbreakM) != 0) {
        run_to_ebreak();
    }
}

void RiscvDebug::step() {
    csrs_[kDpc] += bytes_of(instruction_at(csrs_[kDpc]));
    halt(Cause::Step);
}

void RiscvDebug::run_to_ebreak() {
    for (uint32_t pc = csrs_[kDpc]; in_memory(pc, kShortBytes);) {
        const uint32_t instruction = instruction_at(pc);
        if (instruction == kEbreak || instruction == kShortEbreak) {
            csrs_[kDpc] = pc;
            halt(Cause::Ebreak);
            return;
        }
        pc += bytes_of(instruction);
    }
}

bool RiscvDebug::in_memory(uint32_t address, uint32_t bytes) const {
    const uint32_t offset = address - memory_address_;
    return address >= memory_address_ && offset < memory_.size() &&
           memory_.size() - offset >= bytes;
}

uint32_t RiscvDebug::instruction_at(uint32_t address) const {
    uint32_t instruction = 0;
    for (uint32_t i = 0; i < kLongBytes && in_memory(address + i, 1); ++i) {
        instruction |= uint32_t{memory_[address + i - memory_address_]} << (8 * i);
    }
    return bytes_of(instruction) == kLongBytes ? instruction : instruction & 0xFFFF;
}

uint32_t* RiscvDebug::hart_register(uint32_t number) {
    if (number >= kFirstGeneral && number < kFirstGeneral + general_.size()) {
        return &general_[number - kFirstGeneral];
    }
    const auto csr = csrs_.find(number);
    return csr != csrs_.end() ? &csr->second : nullptr;
}

// x0 and misa are what they are; a write changes nothing and is no error. The two highest bits of
// a CSR's number say which are read-only.
bool RiscvDebug::is_writable(uint32_t number) {
    return number != kFirstGeneral && number != kMisa;
}

RiscvDebug::CommandError RiscvDebug::access_register(uint32_t command) {
    if ((command & kPostExecute) != 0 || (command & kPostIncrement) != 0) {
        return CommandError::NotSupported;
    }
    if ((command & kTransfer) == 0) {
        return CommandError::None;
    }
    if (field(command, kSizeShift, kSizeBits) != kSize32) {
        return CommandError::NotSupported;
    }
    if (!halted_) {
        return CommandError::HaltResume;
    }
    constexpr unsigned kReadOnlyShift = 10;
    const uint32_t number = command & kNumberMask;
    uint32_t* const found = hart_register(number);
    const bool read_only = number < kFirstGeneral && number >> kReadOnlyShift == 3;
    if (found == nullptr || ((command & kWrite) != 0 && read_only)) {
        return CommandError::Exception;
    }
    if ((command & kWrite) == 0) {
        data_ = *found;
    } else if (number == kDcsr) {
        *found = (*found & ~kDcsrWritable) | (data_ & kDcsrWritable);
    } else if (is_writable(number)) {
        *found = number == kDpc ? data_ & ~1U : data_;
    }
    return CommandError::None;
}

void RiscvDebug::run_command() {
    if (selected_ != 0) {
        command_error_ = CommandError::HaltResume;
        return;
    }
    command_error_ = command_ >> kCommandTypeShift == kAccessRegister ? access_register(command_)
                                                                      : CommandError::NotSupported;
}

// An access of data0 runs the command again where abstractauto says so.
void RiscvDebug::data_accessed() {
    if (auto_execute_ && command_error_ == CommandError::None) {
        run_command();
    }
}

// ---- the system bus ---------------------------------------------------------------------------

void RiscvDebug::write_bus_control(uint32_t value) {
    bus_read_on_address_ = (value & kBusReadOnAddress) != 0;
    bus_read_on_data_ = (value & kBusReadOnData) != 0;
    bus_increments_ = (value & kBusIncrement) != 0;
    bus_access_ = field(value, kBusAccessShift, kBusAccessBits);
    bus_error_ = cleared(bus_error_, field(value, kBusErrorShift, kBusErrorBits));
}

uint32_t RiscvDebug::bus_control() const {
    return kBusVersion | kBusAddressBits | kBusSizes | bus_access_ << kBusAccessShift |
           static_cast<uint32_t>(bus_error_) << kBusErrorShift |
           flag(bus_read_on_address_, kBusReadOnAddress) | flag(bus_read_on_data_, kBusReadOnData) |
           flag(bus_increments_, kBusIncrement);
}

bool RiscvDebug::bus_can_access() {
    if (bus_access_ > kSize32) {
        bus_error_ = BusError::Size;
    } else if (bus_address_ % bus_bytes() != 0) {
        bus_error_ = BusError::Alignment;
    } else if (!in_memory(bus_address_, bus_bytes())) {
        bus_error_ = BusError::BadAddress;
    }
    return bus_ready();
}

void RiscvDebug::bus_read() {
    if (!bus_can_access()) {
        return;
    }
    bus_data_ = 0;
    for (unsigned i = 0; i < bus_bytes(); ++i) {
        bus_data_ |= uint32_t{memory_[bus_address_ - memory_address_ + i]} << (8 * i);
    }
    bus_next();
}

void RiscvDebug::bus_write() {
    if (!bus_can_access()) {
        return;
    }
    for (unsigned i = 0; i < bus_bytes(); ++i) {
        memory_[bus_address_ - memory_address_ + i] = static_cast<uint8_t>(bus_data_ >> (8 * i));
    }
    bus_next();
}

void RiscvDebug::bus_next() {
    bus_address_ += bus_increments_ ? bus_bytes() : 0;
}

} // namespace talvor::podsim
