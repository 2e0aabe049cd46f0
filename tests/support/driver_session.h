// A driver's handle on a recorded pod: host configuration, proxy and handle, from initialisation to
// the release of whatever a failure left behind. Sleeps take no time.
#pragma once

#include "api/connect.h"
#include "api/handle.h"
#include "common/notation.h"
#include "support/leak_guard.h"
#include "support/recorded_sleeps.h"
#include "support/recording_config.h"
#include "support/recording_proxy.h"
#include "transport/batch.h"
#include "transport/proxy_channel.h"
#include "transport/share.h"

#include <span>
#include <string>

namespace test_support {

// A handle on whichever proxy runs.
class DriverHandle {
public:
    // Keys besides the driver name and port, which every board has.
    explicit DriverHandle(const RecordingConfig::Keys& keys = {}) {
        config.set("KELM.POD_DRVR", "jscpod.so");
        config.set("KELM.POD_PORT", "0");
        for (const auto& [key, text] : keys) {
            config.set(key, text);
        }
        jsc_CreateHandle(&inform);
    }
    DriverHandle(const DriverHandle&) = delete;
    DriverHandle& operator=(const DriverHandle&) = delete;

    // Releases what a handle may still hold, the way that a host with a failed handle does.
    ~DriverHandle() {
        if (inform != nullptr) {
            CloseUsbDevice(inform);
            batch_drop_reads(inform);
            sys_ShareFree(&inform->tbcShare);
            jsc_DeleteHandle(&inform);
        }
    }

    int32_t init(uint32_t recipe = 0) {
        return jsc_InitHandle(inform, recipe, eJTI_CLIENT_ANONYMOUS, config.table(),
                              config.handle());
    }

    int32_t connect() { return jsc_Connect(inform, &first); }
    int32_t disconnect() { return jsc_Disconnect(inform, &last); }

    JSC_Inform* get() { return inform; }
    JSC_Control& control() { return *inform->pJscControl; }

    RecordingConfig config;
    JSC_Inform* inform = nullptr;
    bool first = false;
    bool last = false;
};

// A proxy with one pod, and a handle on it.
class DriverSession {
public:
    explicit DriverSession(uint16_t revision = POD_REVISION_1,
                           const RecordingConfig::Keys& keys = {}, uint32_t recipe = 0)
        : proxy({pod_of(revision)}), handle(keys), init_code(handle.init(recipe)) {}

    // An initialised and connected handle; what that sent is forgotten.
    int32_t connect() {
        const int32_t code = handle.connect();
        qel_PerformIo(handle.get());
        pod().forget();
        sleeps.forget();
        return code;
    }

    RecordedPod& pod() { return proxy.pod(); }
    JSC_Inform* get() { return handle.inform; }
    JSC_Control& control() { return handle.control(); }

    // What is queued and not flushed, in the batch notation.
    std::string queued() {
        const lcl_shm& block = *pod().block();
        return talvor::notation::text(
            std::span(block.tbcOMblock, block.tbcMblockPtr).subspan(SHM_EMPTY_BATCH_WORDS));
    }

private:
    static PodSpec pod_of(uint16_t revision) {
        PodSpec spec;
        spec.revision = revision;
        return spec;
    }

public:
    LeakGuard leaks;
    RecordedSleeps sleeps;
    RecordingProxy proxy;
    DriverHandle handle;
    int32_t init_code;
};

} // namespace test_support
