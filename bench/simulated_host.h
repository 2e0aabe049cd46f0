// A host of the benchmarks: a connected driver, and the simulated pod that it is connected to.
#pragma once

#include "common/child_process.h"
#include "common/file_descriptor.h"
#include "common/private_shm.h"
#include "jsc_export.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>
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

[[noreturn]] inline void give_up(const char* what) {
    std::perror(what);
    std::exit(1);
}

// Starts the simulator beside this program, in a /dev/shm of both, and waits until it serves. It
// ends with this program.
inline void start_simulator() {
    if (!enter_private_shm()) {
        give_up("a private /dev/shm");
    }
    const std::string program =
        std::filesystem::read_symlink("/proc/self/exe").parent_path() / "talvor-podsim";
    const std::string file = "/dev/shm/bench.toml"; // nobody else sees it
    std::ofstream(file) << kDescription;
    std::array<int, 2> ready{};
    const FileDescriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (pipe2(ready.data(), O_CLOEXEC) != 0 || fcntl(ready[1], F_SETFD, 0) != 0) {
        give_up("pipe");
    }
    const auto simulator =
        ChildProcess::spawn({.arguments = {program, "--ready-fd", std::to_string(ready[1]),
                                           "--end-with", std::to_string(getpid()), file},
                             .output = nowhere.get()});
    close(ready[1]);
    char byte = 0;
    if (!simulator || read(ready[0], &byte, 1) != 1) {
        give_up(program.c_str());
    }
    close(ready[0]);
}

// Starts it before the first host. From the main thread: the private /dev/shm is that of the
// threads to come.
inline void ensure_simulator() {
    static const bool started = (start_simulator(), true);
    static_cast<void>(started);
}

// A configuration with a few keys in it.
struct Key {
    std::string_view name;
    const char* text;
};
inline std::array<Key, 4> g_keys{{{"VEXIL.ECOM_DRVR", "bench"},
                                  {"KELM.POD_EMUVERSION", "2"},
                                  {"KELM.POD_SN", "1"},
                                  {"KELM.POD_AW_EN", "true"}}};

inline JTI_Error invalid_id(CFG_Handle, uint32_t* id) {
    *id = UINT32_MAX;
    return 0;
}
inline JTI_Error global_id(CFG_Handle, uint32_t* id, bool* found) {
    *id = 1;
    *found = true;
    return 0;
}
inline JTI_Error find_key(CFG_Handle, uint32_t, const char* name, JBD_Context* entry, bool* found) {
    const auto key = std::find_if(g_keys.begin(), g_keys.end(),
                                  [=](const Key& one) { return one.name == name; });
    *found = key != g_keys.end();
    *entry = const_cast<char*>(*found ? key->text : "");
    return 0;
}
inline JTI_Error text_of(CFG_Handle, JBD_Context entry, uint32_t* length, const char** text) {
    *text = static_cast<const char*>(entry);
    *length = static_cast<uint32_t>(std::strlen(*text));
    return 0;
}
inline JTI_Error truth_of(CFG_Handle, JBD_Context entry, bool* value) {
    *value = std::strcmp(static_cast<const char*>(entry), "true") == 0;
    return 0;
}
inline JTI_Error unsigned_of(CFG_Handle, JBD_Context entry, uint32_t* value) {
    *value = static_cast<uint32_t>(std::strtoul(static_cast<const char*>(entry), nullptr, 0));
    return 0;
}
inline JTI_Error signed_of(CFG_Handle, JBD_Context entry, int32_t* value) {
    *value = static_cast<int32_t>(std::strtol(static_cast<const char*>(entry), nullptr, 0));
    return 0;
}

inline CFG_Interface* configuration() {
    static CFG_Interface table{};
    table.GetContextIdInvalid = invalid_id;
    table.GetContextIdGlobal = global_id;
    table.GetContextHandle = find_key;
    table.GetContextString = text_of;
    table.GetContextBoolean = truth_of;
    table.GetContextUnsign32 = unsigned_of;
    table.GetContextSigned32 = signed_of;
    return &table;
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
    Host(const char* serial, bool waits_by_itself) {
        ensure_simulator();
        g_keys[2].text = serial;
        g_keys[3].text = waits_by_itself ? "true" : "false";
        check(JSC_CreateInterface(&table_), "JSC_CreateInterface");
        JSC_Parameter parameter{true, JSC_RECIPE_LONG_INIT, eJTI_CLIENT_ANONYMOUS, configuration(),
                                this};
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
    JSC_Interface* table_ = nullptr;
    JSC_Inform* handle_ = nullptr;
};

} // namespace talvor::bench
