// The bytes of a file, taken in order and counted.
#pragma once

#include "common/result.h"
#include "host/jtag/bits.h"
#include "host/play/source.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace talvor::xsvf {

// Errors (ErrorKind::BadFile) name the file and the offset: it cannot be read, or ends where more
// is needed. After an error there is no going on.
class ByteReader {
public:
    explicit ByteReader(play::ByteSource& source) : source_(source) {}

    // Whether there is no further byte.
    [[nodiscard]] Result<bool> at_end();
    // A number of `bytes` bytes, at most four, the most significant first. `what` names it in
    // messages.
    [[nodiscard]] Result<uint32_t> number(size_t bytes, const char* what);
    // A value of `length_bits` bits in as many whole bytes as it takes, the most significant first;
    // bits above the length are dropped.
    [[nodiscard]] Status value(uint64_t length_bits, const char* what, Bits& bits);

    [[nodiscard]] uint64_t offset() const noexcept { return taken_; }
    // An error of this file at `offset`.
    [[nodiscard]] Failure error(uint64_t offset, std::string reason,
                                std::string next_step = "") const;
    // Called before each further chunk is read; false ends the reading with an error.
    void on_chunk(std::function<bool()> hook) { hook_ = std::move(hook); }

private:
    [[nodiscard]] Result<bool> refill();

    play::ByteSource& source_;
    std::function<bool()> hook_;
    std::span<const char> chunk_; // what is left of it
    uint64_t taken_ = 0;
    bool begun_ = false;
};

} // namespace talvor::xsvf
