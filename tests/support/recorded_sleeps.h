// Sleeps that take no time and are written down. For test programs that link the driver's objects.
#pragma once

#include "support/failing_os.h"

#include <cstdint>
#include <vector>

namespace test_support {

class RecordedSleeps {
public:
    RecordedSleeps() {
        slept.clear();
        os_calls.usleep = record;
    }

    // Microseconds of each sleep, oldest first.
    const std::vector<uint32_t>& delays_us() const { return slept; }
    void forget() { slept.clear(); }

private:
    static inline std::vector<uint32_t> slept;

    static int record(useconds_t delay_us) {
        slept.push_back(delay_us);
        return 0;
    }

    RestoredOs restored_;
};

} // namespace test_support
