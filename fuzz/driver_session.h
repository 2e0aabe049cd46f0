// A host with the driver and a simulated pod behind it, all in one thread and in memory: what both
// targets of the driver stand on.
#pragma once

#include "fuzz/base/input.h"
#include "fuzz/base/memory_os.h"
#include "include/jsc_internal.h"
#include "podsim/batch/decoder.h"
#include "podsim/model/chain.h"
#include "podsim/model/controller.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace talvor::fuzz {

// A proxy with one pod, whose other side is the operating system in memory.
class MemoryProxy {
public:
    static constexpr const char* kBlockName = "/fuzz_pod";
    static constexpr uint32_t kSerial = 7;

    // Pod revision and controller kind as the table and the pod have them.
    MemoryProxy(MemoryOs& os, uint16_t revision, uint16_t kind);

    gbl_shm& table() { return *table_; }
    lcl_shm& block() { return *block_; }
    const podsim::Controller& controller() const { return controller_; }

    // Is called behind each exchange, before the driver is told of it: what a hostile proxy does.
    std::function<void(lcl_shm& block)> spoil;
    // From so many exchanges on every one fails, so that whatever repeats itself comes to an end.
    unsigned most_exchanges = 4000;

private:
    void serve();
    int32_t execute();

    MemoryOs& os_;
    gbl_shm* table_;
    lcl_shm* block_;
    podsim::Chain chain_;
    podsim::Controller controller_;
    std::vector<uint16_t> storage_;
    std::atomic<bool> stop_{false};
    unsigned exchanges_ = 0;
};

// A host's handle, and operations of the table that an input chooses.
class DriverHost {
public:
    DriverHost();
    DriverHost(const DriverHost&) = delete;
    DriverHost& operator=(const DriverHost&) = delete;
    // Deletes the handle as a host must, also a handle that has failed.
    ~DriverHost();

    // Each answers the driver's code, which is one that the driver has or one of the host's own.
    JTI_Error create(JSC_Parameter& parameter);
    JTI_Error connect();
    JTI_Error disconnect();
    // One operation with arguments from the input. Buffers are as large as they must be, and stay.
    JTI_Error operate(Input& input);
    // A scan whose answer is known: the devices of the chain.
    void check_chain();

    [[nodiscard]] bool connected() const { return connected_; }
    JSC_Inform* handle() { return handle_; }
    // What the host's own table may have answered.
    JTI_Error host_error = 0;

private:
    JTI_Error checked(JTI_Error code) const;
    JTI_Error scan(Input& input, uint8_t slot);
    JTI_Error move(Input& input);
    JTI_Error use_ambles(Input& input, uint8_t slot);
    JTI_Error use_pins(Input& input, uint8_t slot);
    JTI_Error reset(uint8_t bits);
    JTI_Error ask(Input& input, uint8_t slot);
    JTI_Error access_register(Input& input, uint8_t slot);
    JTI_Error use_log(Input& input, uint8_t slot);
    uint16_t* buffer(size_t words, Input& input);

    JSC_Interface* table_ = nullptr;
    JSC_Inform* handle_ = nullptr;
    bool connected_ = false;
    std::vector<std::unique_ptr<uint16_t[]>> buffers_;
};

} // namespace talvor::fuzz
