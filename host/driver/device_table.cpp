#include "host/driver/device_table.h"

#include "common/file_descriptor.h"
#include "shm_structs.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace talvor {
namespace {

constexpr const char* kNoProxyStep =
    "start a pod proxy, or use --simulate for a simulated pod; 'talvor doctor' checks step by step";

bool block_is_good(const char* name) {
    const FileDescriptor block(shm_open(name, O_RDONLY | O_CLOEXEC, 0));
    struct stat status {};
    return block.is_open() && fstat(block.get(), &status) == 0 &&
           status.st_size == static_cast<off_t>(sizeof(lcl_shm));
}

PodRecord pod_record(uint32_t index, const gbl_shm_record& record) {
    // Another process wrote it: the name may lack its end.
    std::string name(record.lcl_shm_name, strnlen(record.lcl_shm_name, SHM_POD_NAME_SIZE - 1));
    const bool good = block_is_good(name.c_str());
    return PodRecord{index,       record.devSN,    record.devRev, record.nBus,
                     record.nDev, std::move(name), good};
}

Failure proxy_error(std::string reason, std::string next_step) {
    return pod_error("pod proxy", std::move(reason), std::move(next_step));
}

// The table as it stands there, copied once.
Result<std::unique_ptr<gbl_shm>> copy_table() {
    const FileDescriptor object(shm_open(SHM_DEVICE_TABLE_NAME, O_RDONLY | O_CLOEXEC, 0));
    if (!object.is_open() && errno == ENOENT) {
        return proxy_error("no pod proxy is running on this machine", kNoProxyStep);
    }
    if (!object.is_open()) {
        return proxy_error(
            fmt::format("its device table cannot be opened: {}", std::strerror(errno)),
            "run this as a user who may open " SHM_DEVICE_TABLE_NAME);
    }
    struct stat status {};
    auto table = std::make_unique<gbl_shm>();
    if (fstat(object.get(), &status) != 0 ||
        status.st_size != static_cast<off_t>(sizeof(gbl_shm)) ||
        pread(object.get(), table.get(), sizeof(gbl_shm), 0) !=
            static_cast<ssize_t>(sizeof(gbl_shm))) {
        return proxy_error(fmt::format("its device table has {} bytes instead of {}",
                                       status.st_size, sizeof(gbl_shm)),
                           "stop that proxy and start one of this version");
    }
    return table;
}

} // namespace

Result<DeviceTable> read_device_table() {
    const auto table = TRY(copy_table());
    DeviceTable result;
    result.claimed_records = table->max_instances;
    const uint32_t count = std::min<uint32_t>(table->max_instances, SHM_DEVICE_RECORDS);
    for (uint32_t index = 0; index < count; ++index) {
        if (table->devs[index].recUsed != 0) {
            result.pods.push_back(pod_record(index, table->devs[index]));
        }
    }
    return result;
}

Result<PodRecord> choose_pod(const DeviceTable& table, uint32_t serial) {
    if (table.pods.empty()) {
        return proxy_error("it runs, but no pod is attached",
                           "plug a pod in, or look at the proxy's log");
    }
    if (serial == 0) {
        return table.pods.front();
    }
    std::vector<uint32_t> serials;
    for (const PodRecord& pod : table.pods) {
        if (pod.serial == serial) {
            return pod;
        }
        serials.push_back(pod.serial);
    }
    return pod_error(fmt::format("pod {}", serial), "the proxy has no pod with this serial number",
                     fmt::format("choose one of these: {}", fmt::join(serials, ", ")));
}

} // namespace talvor
