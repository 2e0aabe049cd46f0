#include "host/stapl/slice.h"

#include "host/stapl/bit_range.h"

namespace talvor::stapl {

Bits Slice::read() const {
    Bits all = bits == nullptr ? Bits::from_uint(number, count) : bits->slice(first, count);
    return reversed ? stapl::reversed(all) : all;
}

} // namespace talvor::stapl
