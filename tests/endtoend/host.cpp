#include "host.h"

#include "driver_library.h"

#include <gtest/gtest.h>

namespace endtoend {
namespace {

const Keys every_board{
    {"KELM.POD_DRVR", "/opt/pods/jscpod.so"},
    {"KELM.POD_PORT", "0"},
    {"KELM.POD_EMUVERSION", "2"},
};

// Whether the buffer holds what the repeats take from it.
bool long_enough(const JSC_JtagCommand& command, uint32_t bits, size_t words, uint32_t repeats,
                 bool advances) {
    const uint32_t step =
        command.jtagWidth == eJSC_JTAG_WIDTH_32 ? 2 * ((bits + 31) / 32) : words_of(bits);
    const size_t needed = size_t{step} * (advances ? repeats - 1 : 0) + words_of(bits);
    EXPECT_GE(words, needed);
    return words >= needed;
}

} // namespace

JSC_JtagCommand scan_command(JSC_JtagShift path, JSC_JtagState end) {
    return JSC_JtagCommand{eJSC_JTAG_TRANSIT_QUICKEST, path,
                           eJSC_JTAG_TRANSIT_QUICKEST, end,
                           eJSC_JTAG_DELAY_USE_END,    eJSC_JTAG_AMBLE_NEITHER,
                           eJSC_JTAG_USAGE_FRESH,      eJSC_JTAG_WIDTH_16,
                           eJSC_JTAG_ADJUST_AUTO};
}

Keys pod_keys(uint32_t generation, uint32_t serial) {
    return Keys{{"KELM.POD_EMUVERSION", std::to_string(generation)},
                {"KELM.POD_SN", std::to_string(serial)},
                {"KELM.POD_PORT", std::to_string(serial)}};
}

Host::Host(const Keys& keys, uint32_t recipe) : config_(every_board) {
    for (const auto& [key, text] : keys) {
        config_.set(key, text);
    }
    EXPECT_EQ(driver_library().CreateInterface(&table_), 0);
    JSC_Parameter parameter{true, recipe, eJTI_CLIENT_ANONYMOUS, config_.table(), config_.handle()};
    created_ = driver_library().CreateHandle(&handle_, &parameter);
}

Host::~Host() {
    if (handle_ != nullptr) {
        table_->Disconnect(handle_, &last_); // refused when there is nothing to disconnect
        JSC_Inform* const kept = handle_;
        if (remove() != 0) {
            handle_ = kept;
            driver_library().close_pod(handle_);
            driver_library().free_handle(&handle_);
        }
    }
    driver_library().DeleteInterface(&table_);
}

int32_t Host::remove() {
    return driver_library().DeleteHandle(&handle_);
}

int32_t Host::move(JSC_JtagState end, JSC_JtagTransit transit) {
    JSC_JtagCommand command{};
    command.jtagAfter = transit;
    command.jtagEnd = end;
    return table_->PutState(handle_, &command, 0, 1);
}

JSC_JtagState Host::state() {
    JSC_JtagState state{};
    EXPECT_EQ(table_->GetState(handle_, &state), 0);
    return state;
}

int32_t Host::fixed(const JSC_JtagCommand& command, uint32_t bits, bool ones, uint32_t repeats) {
    const JSC_JtagParam01 param{repeats, 0, bits, ones};
    return table_->ScanFixed01(handle_, &command, &param);
}

int32_t Host::send(const JSC_JtagCommand& command, uint32_t bits, const Words& out,
                   uint32_t repeats) {
    if (!long_enough(command, bits, out.size(), repeats,
                     command.jtagUsage != eJSC_JTAG_USAGE_REUSE)) {
        return eJTI_ERROR_BAD_ARGUMENT;
    }
    const JSC_JtagParam16 param{repeats, 0, bits, const_cast<uint16_t*>(out.data()), nullptr};
    return table_->ScanSend16(handle_, &command, &param);
}

int32_t Host::both(const JSC_JtagCommand& command, uint32_t bits, const Words& out, Words& in,
                   uint32_t repeats) {
    if (!long_enough(command, bits, out.size(), repeats,
                     command.jtagUsage != eJSC_JTAG_USAGE_REUSE) ||
        !long_enough(command, bits, in.size(), repeats, true)) {
        return eJTI_ERROR_BAD_ARGUMENT;
    }
    const JSC_JtagParam16 param{repeats, 0, bits, const_cast<uint16_t*>(out.data()), in.data()};
    return table_->ScanBoth16(handle_, &command, &param);
}

int32_t Host::receive(const JSC_JtagCommand& command, uint32_t bits, Words& in, uint32_t repeats) {
    if (!long_enough(command, bits, in.size(), repeats, true)) {
        return eJTI_ERROR_BAD_ARGUMENT;
    }
    const JSC_JtagParam16 param{repeats, 0, bits, nullptr, in.data()};
    return table_->ScanRecv16(handle_, &command, &param);
}

Words Host::exchange(JSC_JtagShift path, uint32_t bits, const Words& out) {
    Words in(words_of(bits));
    EXPECT_EQ(both(scan_command(path), bits, out, in), 0);
    return in;
}

Words Host::capture(JSC_JtagShift path, uint32_t bits) {
    Words in(words_of(bits));
    EXPECT_EQ(receive(scan_command(path), bits, in), 0);
    return in;
}

} // namespace endtoend
