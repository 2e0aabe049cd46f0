// The pods that a proxy has published, looked at from outside: nothing is written, no lock is
// taken, and no proxy is woken.
#pragma once

#include "common/proxy_state.h"
#include "common/result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

struct PodRecord {
    uint32_t index = 0; // in the table
    uint32_t serial = 0;
    uint16_t revision = 0; // major in the high byte
    uint32_t bus = 0;
    uint32_t device = 0;
    std::string block_name;
    bool block_good = false; // the block stands there with the right size

    [[nodiscard]] uint32_t generation() const noexcept { return revision >> 8U; }
};

struct DeviceTable {
    uint32_t claimed_records = 0; // what the table says; at most 128 are looked at
    std::vector<PodRecord> pods;  // those in use, in table order
};

// Reads the table once, as it is. Errors (ErrorKind::Pod): no proxy has published one, it has the
// wrong size, or this user may not read it.
[[nodiscard]] Result<DeviceTable> read_device_table();

// The pod that the driver will choose: the one with that serial number, or the first for 0. The
// error says which pods there are.
[[nodiscard]] Result<PodRecord> choose_pod(const DeviceTable& table, uint32_t serial);

} // namespace talvor
