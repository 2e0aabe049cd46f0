// Answers the driver in the place of a proxy that is gone, so that its wait, which has no end of
// its own, comes to one: every exchange fails, the driver gives each operation up, and the handle
// can be closed as always.
#pragma once

#include "host/driver/device_table.h"
#include "shm_structs.h"

#include <memory>
#include <optional>
#include <semaphore.h>
#include <string>

namespace talvor {

class ProxyStandIn {
public:
    // Opens the channel of a pod, to be ready; nothing when that cannot be done. Until the first
    // answer it touches nothing.
    [[nodiscard]] static std::optional<ProxyStandIn> open(const PodRecord& record);

    // Fails the exchange that the proxy left unanswered. Only when the proxy is gone for certain.
    void fail_pending();
    // Fails the exchanges that the driver has begun since.
    void fail_new();

private:
    struct Unmap {
        void operator()(lcl_shm* block) const noexcept;
    };
    struct Close {
        void operator()(sem_t* semaphore) const noexcept { sem_close(semaphore); }
    };
    using Semaphore = std::unique_ptr<sem_t, Close>;

    static Semaphore open_semaphore(const std::string& name);
    void fail();

    std::unique_ptr<lcl_shm, Unmap> block_;
    Semaphore start_;
    Semaphore complete_;
};

} // namespace talvor
