// The last part of a trace that may get longer than there is room for.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"
#include "podsim/trace/moment.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace talvor::podsim::trace {

// Two temporary files without names that take turns: the one that is full stays until the other is
// full too, and is then emptied and written anew. So about half of what is allowed is there at
// least.
class LastPart {
public:
    // What both files together may hold; 0: no bound. Errors: no temporary file can be made.
    [[nodiscard]] static Result<LastPart> create(uint64_t bytes, uint64_t clocks);

    // Adds a piece of whole lines, which stands between two moments. False, with errno as the
    // reason, when it cannot be kept.
    [[nodiscard]] bool add(std::string_view piece, const Moment& begin, const Moment& end);
    // Where what is there begins: where the trace does, unless something was let go.
    [[nodiscard]] const Moment& beginning() const noexcept { return older().beginning; }
    // Writes what is there to an open file; false, with errno as the reason, on failure.
    [[nodiscard]] bool copy_to(int fd) const;

private:
    struct Part {
        FileDescriptor file;
        uint64_t bytes = 0;
        Moment beginning;
    };

    LastPart(FileDescriptor one, FileDescriptor other, uint64_t bytes, uint64_t clocks) noexcept
        : parts_{Part{std::move(one), 0, {}}, Part{std::move(other), 0, {}}}, bytes_(bytes),
          clocks_(clocks) {}

    // Whether a part has no room for a piece of a size that ends with that many clocks.
    [[nodiscard]] bool is_full(const Part& part, size_t bytes, uint64_t clocks) const noexcept;
    [[nodiscard]] bool turn();
    [[nodiscard]] const Part& older() const noexcept;

    std::array<Part, 2> parts_;
    size_t current_ = 0; // that is written
    uint64_t bytes_;
    uint64_t clocks_;
};

} // namespace talvor::podsim::trace
