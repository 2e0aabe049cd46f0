// Fields of shared memory. Another process may change them at any time, so each is read exactly
// once into a local, bounded there, and only then used.
#pragma once

#include <atomic>
#include <cstdint>

template <typename T>
inline T shared_read(T& field) {
    return std::atomic_ref<T>(field).load(std::memory_order_relaxed);
}

inline void shared_write(uint32_t& field, uint32_t value) {
    std::atomic_ref<uint32_t>(field).store(value, std::memory_order_relaxed);
}
