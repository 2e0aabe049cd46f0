#include "fuzz/driver_session.h"

#include "fuzz/base/check.h"
#include "src/api/handle.h"
#include "src/transport/proxy_channel.h"
#include "src/transport/read_list.h"
#include "src/transport/share.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

namespace talvor::fuzz {
namespace {

constexpr uint32_t kIdcode = 0x1234'5677;
constexpr uint32_t kMostScanBits = 4000;
constexpr uint32_t kMostRepeats = 3;
constexpr uint32_t kMostRegisters = 40;
constexpr uint32_t kMostLogWords = 300;

// Every code that an operation or the making of a handle may answer.
constexpr std::array kCodes{0,    -115, -116, -120, -122, -131, -132, -140, -141, -157, -164,
                            -170, -171, -173, -174, -175, -176, -180, -181, -182, -183, -190,
                            -203, -220, -221, -222, -223, -224, -225, -226, -227, -228, -272,
                            -273, -274, -300, -301, -302, -303, -304, -305, -306, -307, -308,
                            -309, -339, -445, -448, -502, -520, -601, -603};

void make_semaphores(MemoryOs& os) {
    constexpr auto kNumber = static_cast<unsigned long>(MemoryProxy::kSerial);
    std::array<char, SHM_SEM_NAME_SIZE> name{};
    os.make_semaphore(SHM_GLOBAL_MUTEX_NAME, 1);
    (void)std::snprintf(name.data(), name.size(), SHM_START_SEM_FORMAT, kNumber);
    os.make_semaphore(name.data(), 0);
    (void)std::snprintf(name.data(), name.size(), SHM_COMPLETE_SEM_FORMAT, kNumber);
    os.make_semaphore(name.data(), 0);
}

podsim::ChainDescription chain_description() {
    const podsim::RegisterDescription scratch{
        "scratch", {8}, podsim::ScratchRegister{.bits = 32, .value = {}}};
    return {{{"one", 4, 1, kIdcode, 2, {scratch}}, {"two", 6, 1, std::nullopt, 0, {}}}, {}};
}

podsim::ControllerSettings settings_of(uint16_t revision, uint16_t kind) {
    podsim::ControllerSettings settings;
    settings.revision = revision;
    settings.kind = kind;
    return settings;
}

} // namespace

// ---- the proxy ---------------------------------------------------------------------------------

MemoryProxy::MemoryProxy(MemoryOs& os, uint16_t revision, uint16_t kind)
    : os_(os),
      table_(reinterpret_cast<gbl_shm*>(os.make_object(SHM_DEVICE_TABLE_NAME, sizeof(gbl_shm)))),
      block_(reinterpret_cast<lcl_shm*>(os.make_object(kBlockName, sizeof(lcl_shm)))),
      chain_(chain_description()), controller_(settings_of(revision, kind), chain_) {
    make_semaphores(os);
    table_->max_instances = 1;
    gbl_shm_record& record = table_->devs[0];
    record.recUsed = 1;
    record.devRev = revision;
    record.devSN = kSerial;
    std::strcpy(record.lcl_shm_name, kBlockName);
    // A table that names another pod leads to semaphores of other names; this proxy serves those,
    // too: who waits there would wait for ever, which is what hosts rely on.
    os.on_post = [this](const std::string& name) {
        constexpr std::string_view kStart = "talvor_lcl_s_s_";
        if (name.starts_with(kStart)) {
            serve();
            os_.post("talvor_lcl_s_c_" + name.substr(kStart.size()));
        }
    };
}

void MemoryProxy::serve() {
    switch (++exchanges_ > most_exchanges ? UINT32_MAX : block_->cmd) {
    case SHM_CMD_ATTACH:
        podsim::batch::empty(*block_);
        block_->status = controller_.attach() ? 0 : podsim::batch::kFailedStatus;
        break;
    case SHM_CMD_DETACH:
        block_->status = 0;
        break;
    case SHM_CMD_SUPPORT_WRITE:
        block_->status = controller_.write_support(static_cast<uint16_t>(block_->data))
                             ? 0
                             : podsim::batch::kFailedStatus;
        break;
    case SHM_CMD_EXECUTE:
        block_->status = execute();
        podsim::batch::empty(*block_);
        break;
    default:
        block_->status = podsim::batch::kFailedStatus;
        podsim::batch::empty(*block_);
    }
    if (spoil) {
        spoil(*block_);
    }
}

int32_t MemoryProxy::execute() {
    const podsim::batch::Batch batch = podsim::batch::take(*block_, storage_);
    return podsim::batch::status_of(
        podsim::batch::execute(batch, std::span(block_->tbcIMblock), controller_, stop_));
}

// ---- the host ----------------------------------------------------------------------------------

DriverHost::DriverHost() {
    FUZZ_CHECK(JSC_CreateInterface(&table_) == 0, "a host gets its table");
}

DriverHost::~DriverHost() {
    if (handle_ != nullptr && (connected_ || handle_->ctlrHardOpen)) {
        (void)checked(table_->Disconnect(handle_, &connected_));
    }
    if (handle_ != nullptr && JSC_DeleteHandle(&handle_) != 0) {
        // A handle that has lost its controller block.
        (void)CloseUsbDevice(handle_);
        batch_drop_reads(handle_);
        (void)sys_ShareFree(&handle_->tbcShare);
        FUZZ_CHECK(jsc_DeleteHandle(&handle_) == 0, "a handle can be deleted");
    }
    FUZZ_CHECK(handle_ == nullptr, "a deleted handle is gone");
    FUZZ_CHECK(JSC_DeleteInterface(&table_) == 0 && table_ == nullptr, "the table goes back");
}

JTI_Error DriverHost::checked(JTI_Error code) const {
    const bool own = std::find(kCodes.begin(), kCodes.end(), code) != kCodes.end();
    FUZZ_CHECK(own || (host_error != 0 && code == host_error),
               "a code is one that hosts know: " + std::to_string(code));
    return code;
}

JTI_Error DriverHost::create(JSC_Parameter& parameter) {
    return checked(JSC_CreateHandle(&handle_, &parameter));
}

JTI_Error DriverHost::connect() {
    bool first = false;
    const JTI_Error code = checked(table_->Connect(handle_, &first));
    connected_ = code == 0;
    return code;
}

JTI_Error DriverHost::disconnect() {
    bool last = false;
    connected_ = false;
    return checked(table_->Disconnect(handle_, &last));
}

// Exactly as many words as that, with bytes of the input in front.
uint16_t* DriverHost::buffer(size_t words, Input& input) {
    buffers_.push_back(std::make_unique<uint16_t[]>(words));
    const Bytes bytes = input.take(std::min<size_t>(words * sizeof(uint16_t), 16));
    if (!bytes.empty()) {
        std::memcpy(buffers_.back().get(), bytes.data(), bytes.size());
    }
    return buffers_.back().get();
}

JTI_Error DriverHost::operate(Input& input) {
    const uint8_t slot = input.up_to(53);
    if (slot <= 1) {
        return connected_ ? disconnect() : connect();
    }
    if (slot == 12) {
        return checked(move(input));
    }
    if (slot >= 13 && slot <= 25) {
        return checked(scan(input, slot));
    }
    if (slot >= 28 && slot <= 33) {
        return checked(use_log(input, slot));
    }
    if (slot >= 51) {
        return checked(access_register(input, slot));
    }
    return checked(slot <= 10 ? use_pins(input, slot) : ask(input, slot));
}

JTI_Error DriverHost::move(Input& input) {
    JSC_JtagCommand command{};
    command.jtagAfter = static_cast<JSC_JtagTransit>(input.up_to(4));
    command.jtagEnd = static_cast<JSC_JtagState>(input.up_to(18));
    return table_->PutState(handle_, &command, 0, input.up_to(kMostRepeats));
}

JTI_Error DriverHost::scan(Input& input, uint8_t slot) {
    JSC_JtagCommand command{};
    command.jtagBefore = static_cast<JSC_JtagTransit>(input.up_to(4));
    command.jtagShift = static_cast<JSC_JtagShift>(input.up_to(3));
    command.jtagAfter = static_cast<JSC_JtagTransit>(input.up_to(4));
    command.jtagEnd = static_cast<JSC_JtagState>(input.up_to(7));
    command.jtagDelay = eJSC_JTAG_DELAY_USE_END;
    command.jtagAmble = static_cast<JSC_JtagAmble>(input.up_to(5));
    command.jtagUsage = static_cast<JSC_JtagUsage>(input.up_to(3));
    command.jtagWidth = eJSC_JTAG_WIDTH_16;
    command.jtagAdjust = static_cast<JSC_JtagAdjust>(input.up_to(3));
    const uint32_t repeats = input.up_to(kMostRepeats);
    const uint32_t bits = input.half() % (kMostScanBits + 1);
    if (slot == 13) {
        const JSC_JtagParam01 param{repeats, 0, bits, (bits & 1U) != 0};
        return table_->ScanFixed01(handle_, &command, &param);
    }
    const size_t words = size_t{(bits + 15) / 16} * repeats;
    const JSC_JtagParam16 param{repeats, 0, bits, buffer(words, input), buffer(words, input)};
    return slot <= 17   ? table_->ScanSend16(handle_, &command, &param)
           : slot <= 21 ? table_->ScanBoth16(handle_, &command, &param)
                        : table_->ScanRecv16(handle_, &command, &param);
}

JTI_Error DriverHost::use_ambles(Input& input, uint8_t slot) {
    JSC_JtagAmbleDelay amble{};
    amble.useAmbles = true;
    amble.preAmbleIR = amble.posAmbleDR = input.byte();
    amble.posAmbleIR = amble.preAmbleDR = input.byte();
    return slot == 4 ? table_->GetAmbleDelay(handle_, &amble)
                     : table_->PutAmbleDelay(handle_, &amble);
}

JTI_Error DriverHost::use_pins(Input& input, uint8_t slot) {
    bool flag = false;
    uint32_t word = 0;
    switch (slot) {
    case 2:
        return table_->StatusTrstn(handle_, &flag);
    case 3:
        return table_->ModifyTrstn(handle_, static_cast<JSC_JtagPin>(input.up_to(3)),
                                   input.byte() & 1U, 0);
    case 4:
    case 5:
        return use_ambles(input, slot);
    case 6:
        return table_->GetLinkDelay(handle_, &word, &word, &word);
    case 7:
        return table_->PutLinkDelay(handle_, static_cast<int8_t>(input.byte()));
    case 8:
        return table_->WaitForTclk(handle_, input.byte());
    case 9:
        return table_->HoldFreeOuts(handle_, false, false, (input.byte() & 1U) != 0, false);
    default:
        return table_->TimingEdge(handle_, true, true);
    }
}

JTI_Error DriverHost::reset(uint8_t bits) {
    JSC_ResetAction action{(bits & 1U) != 0, (bits & 2U) != 0,  (bits & 4U) != 0,
                           (bits & 8U) != 0, (bits & 16U) != 0, (bits & 32U) != 0};
    return table_->Reset(handle_, &action);
}

JTI_Error DriverHost::ask(Input& input, uint8_t slot) {
    bool flag = false;
    uint32_t word = 0;
    JSC_AdjustStuff adjust{};
    JSC_PodStatus pod_status{};
    JSC_OldStatus old_status{};
    JSC_JtagState state{};
    switch (slot) {
    case 34:
        return reset(input.byte());
    case 35:
        return table_->Diagnose(handle_, (input.byte() & 1U) != 0 ? eJTI_ERROR_BATCH_FAILED : 0);
    case 36:
        adjust = {(input.byte() & 1U) != 0, input.word() | 1U};
        return table_->Adjust(handle_, &adjust);
    case 38:
        return table_->PodStatus(handle_, &pod_status);
    case 39:
        return table_->OldStatus(handle_, &old_status);
    case 41:
        return table_->MultipleVersion(handle_, static_cast<JSC_FeatureId>(input.up_to(5)), &flag,
                                       &word);
    case 42:
        return table_->Benchmark(handle_, input.up_to(2), true, &word);
    default:
        return table_->GetState(handle_, &state);
    }
}

JTI_Error DriverHost::access_register(Input& input, uint8_t slot) {
    if (slot == 51) {
        return table_->RegisterPoll(handle_, static_cast<JSC_StatusType>(input.up_to(19)), 0);
    }
    const uint8_t bits = input.byte();
    const uint32_t address = input.up_to(TBC_EXTENDED_PORTS);
    const uint32_t count = input.up_to(kMostRegisters);
    uint16_t* const data = buffer(std::max(count, 1U), input);
    const auto operation = slot == 52 ? table_->RegisterRead : table_->RegisterWrite;
    return operation(handle_, (bits & 1U) != 0, (bits & 2U) != 0, address, count, data);
}

JTI_Error DriverHost::use_log(Input& input, uint8_t slot) {
    const auto id = static_cast<JSC_LogFileId>(input.up_to(4));
    bool known = false;
    uint32_t size = 0;
    uint32_t total = 0;
    switch (slot) {
    case 28:
        return table_->LogFileCreate(handle_, id, &known, input.byte(), &size);
    case 29:
        return table_->LogFileDelete(handle_, id, &known);
    case 30:
        return table_->LogFileErase(handle_, id, &known);
    case 31:
        return table_->LogFileMode(handle_, id, &known, (input.byte() & 1U) != 0);
    case 32: {
        const uint32_t limit = input.half() % kMostLogWords;
        std::vector<uint32_t> values(limit + 1);
        return table_->LogFileRead(handle_, id, &known, limit, values.data(), &size, &total);
    }
    default:
        return table_->LogFileAppend(handle_, id, &known, input.word());
    }
}

void DriverHost::check_chain() {
    JSC_ResetAction reset{};
    reset.resetSoft = true;
    FUZZ_CHECK(checked(table_->Reset(handle_, &reset)) == 0, "a pod that is well can be reset");
    JSC_JtagCommand command{};
    command.jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST;
    command.jtagEnd = eJSC_JTAG_STATE_RESET;
    FUZZ_CHECK(table_->PutState(handle_, &command, 0, 1) == 0, "a TAP can be reset");
    command = {eJSC_JTAG_TRANSIT_QUICKEST, eJSC_JTAG_SHIFT_DR,      eJSC_JTAG_TRANSIT_QUICKEST,
               eJSC_JTAG_STATE_IDLE,       eJSC_JTAG_DELAY_USE_END, eJSC_JTAG_AMBLE_NEITHER,
               eJSC_JTAG_USAGE_FRESH,      eJSC_JTAG_WIDTH_16,      eJSC_JTAG_ADJUST_AUTO};
    std::array<uint16_t, 3> out{0xFFFF, 0xFFFF, 0xFFFF};
    std::array<uint16_t, 3> in{};
    const JSC_JtagParam16 param{1, 0, 33, out.data(), in.data()};
    FUZZ_CHECK(checked(table_->ScanBoth16(handle_, &command, &param)) == 0, "a chain can be read");
    const uint64_t bits = in[0] | uint64_t{in[1]} << 16 | uint64_t{in[2]} << 32;
    FUZZ_CHECK(bits == uint64_t{kIdcode} << 1, "the driver reads what the chain holds");
}

} // namespace talvor::fuzz
