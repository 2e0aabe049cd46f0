// How much memory code takes. Where a sanitizer has the heap, it is asked; else operator new and
// delete of the program are counted.
#pragma once

#include <cstddef>
#include <cstdint>

namespace talvor::fuzz {

// Counts from its making on, all threads together. One at a time.
class HeapMeter {
public:
    HeapMeter();

    // The most bytes that were taken at once, beyond what was taken when it was made.
    [[nodiscard]] size_t peak_bytes() const;

private:
    int64_t before_;
};

} // namespace talvor::fuzz
