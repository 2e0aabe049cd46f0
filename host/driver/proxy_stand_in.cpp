#include "host/driver/proxy_stand_in.h"

#include "common/file_descriptor.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>

namespace talvor {
namespace {

constexpr int32_t kFailed = -1;

std::string semaphore_name(bool start, uint32_t serial) {
    std::array<char, SHM_SEM_NAME_SIZE> name{};
    const auto number = static_cast<unsigned long>(serial);
    start ? std::snprintf(name.data(), name.size(), SHM_START_SEM_FORMAT, number)
          : std::snprintf(name.data(), name.size(), SHM_COMPLETE_SEM_FORMAT, number);
    return name.data();
}

} // namespace

void ProxyStandIn::Unmap::operator()(lcl_shm* block) const noexcept {
    munmap(block, sizeof(lcl_shm));
}

ProxyStandIn::Semaphore ProxyStandIn::open_semaphore(const std::string& name) {
    sem_t* const semaphore = sem_open(name.c_str(), 0);
    return Semaphore(semaphore == SEM_FAILED ? nullptr : semaphore);
}

std::optional<ProxyStandIn> ProxyStandIn::open(const PodRecord& record) {
    ProxyStandIn channel;
    const FileDescriptor block(shm_open(record.block_name.c_str(), O_RDWR | O_CLOEXEC, 0));
    if (!record.block_good || !block.is_open()) {
        return std::nullopt;
    }
    void* const memory =
        mmap(nullptr, sizeof(lcl_shm), PROT_READ | PROT_WRITE, MAP_SHARED, block.get(), 0);
    if (memory == MAP_FAILED) {
        return std::nullopt;
    }
    channel.block_.reset(static_cast<lcl_shm*>(memory));
    channel.start_ = open_semaphore(semaphore_name(true, record.serial));
    channel.complete_ = open_semaphore(semaphore_name(false, record.serial));
    if (!channel.start_ || !channel.complete_) {
        return std::nullopt;
    }
    return channel;
}

void ProxyStandIn::fail_pending() {
    while (sem_trywait(start_.get()) == 0) {
    }
    fail();
}

void ProxyStandIn::fail_new() {
    while (sem_trywait(start_.get()) == 0) {
        fail();
    }
}

void ProxyStandIn::fail() {
    __atomic_store_n(&block_->status, kFailed, __ATOMIC_RELEASE);
    sem_post(complete_.get());
}

} // namespace talvor
