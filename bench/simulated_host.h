// A host of the benchmarks: a connected driver, and the simulated pod that it is connected to.
#pragma once

#include "common/temporary.h"
#include "host/board/configuration.h"
#include "host/simulator/simulator.h"
#include "jsc_export.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace talvor::bench {

inline constexpr const char* kDescription = R"(
[[pod]]
serial = 1
revision = 0x0200
[[pod.tap]]
name = "short"
ir_length = 4
[[pod]]
serial = 2
revision = 0x0200
[[pod.tap]]
name = "long"
ir_length = 4
[[pod.tap.register]]
name = "long"
kind = "scratch"
instruction = 8
length = 524288
)";

[[noreturn]] inline void give_up(const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(1);
}

// Starts the simulator in a /dev/shm of both. It ends with this program.
inline Simulator start_simulator() {
    const Result<TemporaryFile> file = TemporaryFile::create();
    if (!file) {
        give_up(headline(file.error()));
    }
    std::ofstream(file->path()) << kDescription;
    SimulatorOptions options;
    options.description = file->path();
    Result<Simulator> simulator = Simulator::start(options);
    if (!simulator) {
        give_up(headline(simulator.error()));
    }
    return std::move(*simulator);
}

// Starts it before the first host. From the main thread: the private /dev/shm is that of the
// threads to come.
inline void ensure_simulator() {
    static const Simulator simulator = start_simulator();
}

inline KeyStore keys_of(const char* serial, bool waits_by_itself) {
    KeyStore keys;
    keys.set("VEXIL.ECOM_DRVR", "bench");
    keys.set("KELM.POD_EMUVERSION", "2");
    keys.set("KELM.POD_SN", serial);
    keys.set("KELM.POD_AW_EN", waits_by_itself ? "true" : "false");
    return keys;
}

inline void check(JTI_Error error, const char* what) {
    if (error != 0) {
        std::fprintf(stderr, "%s: %d\n", what, static_cast<int>(error));
        std::exit(1);
    }
}

inline constexpr const char* kShortChain = "1"; // one TAP in BYPASS
inline constexpr const char* kLongChain = "2";

// A connected scan controller.
class Host {
public:
    Host(const char* serial, bool waits_by_itself)
        : configuration_(keys_of(serial, waits_by_itself)) {
        ensure_simulator();
        check(JSC_CreateInterface(&table_), "JSC_CreateInterface");
        JSC_Parameter parameter{true, JSC_RECIPE_LONG_INIT, eJTI_CLIENT_ANONYMOUS,
                                configuration_.table(), configuration_.handle()};
        check(JSC_CreateHandle(&handle_, &parameter), "JSC_CreateHandle");
        bool first = false;
        check(table_->Connect(handle_, &first), "Connect");
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host() {
        bool last = false;
        table_->Disconnect(handle_, &last);
        JSC_DeleteHandle(&handle_);
        JSC_DeleteInterface(&table_);
    }

    JSC_Interface& operator*() { return *table_; }
    JSC_Interface* operator->() { return table_; }
    JSC_Inform* handle() { return handle_; }

    JTI_Error scan(JSC_JtagShift path, uint32_t bits, std::vector<uint16_t>& out,
                   std::vector<uint16_t>& in) {
        const JSC_JtagCommand command{eJSC_JTAG_TRANSIT_QUICKEST, path,
                                      eJSC_JTAG_TRANSIT_QUICKEST, eJSC_JTAG_STATE_IDLE,
                                      eJSC_JTAG_DELAY_USE_END,    eJSC_JTAG_AMBLE_NEITHER,
                                      eJSC_JTAG_USAGE_FRESH,      eJSC_JTAG_WIDTH_16,
                                      eJSC_JTAG_ADJUST_AUTO};
        const JSC_JtagParam16 parameter{1, 0, bits, out.data(), in.data()};
        return table_->ScanBoth16(handle_, &command, &parameter);
    }

private:
    Configuration configuration_;
    JSC_Interface* table_ = nullptr;
    JSC_Inform* handle_ = nullptr;
};

} // namespace talvor::bench
