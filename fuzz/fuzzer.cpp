// The program of one target: libFuzzer calls this with each input. TALVOR_FUZZ_RUN is the function
// of the target.
#include "fuzz/targets.h"

// The name is libFuzzer's.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    talvor::fuzz::TALVOR_FUZZ_RUN({data, size});
    return 0;
}
