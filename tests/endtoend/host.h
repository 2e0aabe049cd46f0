// A host with one scan controller: its configuration, its table of operations, its handle.
#pragma once

#include "jsc_export.h"
#include "support/recording_config.h"

#include <cstdint>
#include <vector>

namespace endtoend {

using Words = std::vector<uint16_t>; // a scan's data, word 0 and bit 0 first
using Keys = test_support::RecordingConfig::Keys;

// Words that hold so many bits.
constexpr uint32_t words_of(uint32_t bits) {
    return (bits + 15) / 16;
}

// A scan by the shortest ways, adjusted, without ambles, into a 16-bit buffer.
JSC_JtagCommand scan_command(JSC_JtagShift path, JSC_JtagState end = eJSC_JTAG_STATE_IDLE);

// The keys of a pod: its generation, and its serial number where that matters, which is then also
// the port that tells controller blocks apart.
Keys pod_keys(uint32_t generation, uint32_t serial = 0);

class Host {
public:
    // Makes the table and the handle. Keys are added to those that every board here has: driver
    // name, port 0, pod generation 2.
    explicit Host(const Keys& keys = {}, uint32_t recipe = JSC_RECIPE_LONG_INIT);
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    // Disconnects where that is due, and deletes handle and table, whatever state they are in.
    ~Host();

    // What JSC_CreateHandle answered.
    int32_t created() const { return created_; }
    int32_t connect() { return table_->Connect(handle_, &first_); }
    int32_t disconnect() { return table_->Disconnect(handle_, &last_); }
    // JSC_DeleteHandle.
    int32_t remove();
    bool first() const { return first_; } // what the last connect said
    bool last() const { return last_; }   // what the last disconnect said

    JSC_Interface* operator->() { return table_; }
    JSC_Inform* handle() { return handle_; }
    const test_support::RecordingConfig& config() const { return config_; }

    // A state move without a shift.
    int32_t move(JSC_JtagState end, JSC_JtagTransit transit = eJSC_JTAG_TRANSIT_QUICKEST);
    // The TAP's state; the test fails when it cannot be read.
    JSC_JtagState state();

    // Scans. A buffer that is too short for all repeats fails the test.
    int32_t fixed(const JSC_JtagCommand& command, uint32_t bits, bool ones, uint32_t repeats = 1);
    int32_t send(const JSC_JtagCommand& command, uint32_t bits, const Words& out,
                 uint32_t repeats = 1);
    int32_t both(const JSC_JtagCommand& command, uint32_t bits, const Words& out, Words& in,
                 uint32_t repeats = 1);
    int32_t receive(const JSC_JtagCommand& command, uint32_t bits, Words& in, uint32_t repeats = 1);

    // Adjusted scans that end in Run-Test/Idle and must succeed; what came back.
    Words exchange(JSC_JtagShift path, uint32_t bits, const Words& out);
    Words capture(JSC_JtagShift path, uint32_t bits);

private:
    test_support::RecordingConfig config_;
    JSC_Interface* table_ = nullptr;
    JSC_Inform* handle_ = nullptr;
    int32_t created_ = 0;
    bool first_ = false;
    bool last_ = false;
};

} // namespace endtoend
