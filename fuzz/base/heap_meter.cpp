#include "fuzz/base/heap_meter.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TALVOR_SANITIZED_HEAP
#endif
#endif
#ifdef TALVOR_SANITIZED_HEAP
#include <sanitizer/allocator_interface.h>
#endif

namespace talvor::fuzz {
namespace {

// Below 0 when blocks go that came before anybody counted.
std::atomic<int64_t> taken{0};
std::atomic<int64_t> most{0};

void count_in(size_t bytes) {
    const int64_t now = taken.fetch_add(static_cast<int64_t>(bytes)) + static_cast<int64_t>(bytes);
    for (int64_t known = most.load(); now > known && !most.compare_exchange_weak(known, now);) {
    }
}

void count_out(size_t bytes) {
    taken.fetch_sub(static_cast<int64_t>(bytes));
}

} // namespace

#ifdef TALVOR_SANITIZED_HEAP
namespace {

void watch_heap() {
    static const int installed = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void*, size_t bytes) { count_in(bytes); },
        [](const volatile void* block) { count_out(__sanitizer_get_allocated_size(block)); });
    (void)installed;
}

} // namespace
#else
namespace {

void watch_heap() {}

} // namespace
#endif

HeapMeter::HeapMeter() {
    watch_heap();
    before_ = taken.load();
    most.store(before_);
}

size_t HeapMeter::peak_bytes() const {
    return static_cast<size_t>(std::max<int64_t>(most.load() - before_, 0));
}

} // namespace talvor::fuzz

#ifndef TALVOR_SANITIZED_HEAP

void* operator new(size_t bytes) {
    void* const block = std::malloc(bytes == 0 ? 1 : bytes);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    talvor::fuzz::count_in(malloc_usable_size(block));
    return block;
}

void operator delete(void* block) noexcept {
    talvor::fuzz::count_out(malloc_usable_size(block));
    std::free(block);
}

void operator delete(void* block, size_t /*bytes*/) noexcept {
    operator delete(block);
}

#endif
