#include "api/benchmark.h"

#include "controller/utility.h"
#include "sys/check.h"
#include "transport/attached.h"

namespace {

constexpr uint32_t kLastPin = 1;

} // namespace

int32_t jsc_Benchmark(JSC_Inform* pJscInform, uint32_t eventPinIndex, bool eventPinRise,
                      uint32_t* pEventPinCount) {
    RETURN_IF(pJscInform == nullptr || pEventPinCount == nullptr || eventPinIndex > kLastPin,
              eJTI_ERROR_BAD_ARGUMENT);
    *pEventPinCount = 0;
    uint32_t count = 0;
    RETURN_ON_ERROR(tbc_BenchMark(pJscInform, eventPinIndex != 0, eventPinRise, &count));
    *pEventPinCount = count;
    return eJTI_ERROR_NONE;
}

int32_t tbc_BenchMark(JSC_Inform* pJscInform, bool eventPinIndex, bool eventPinRise,
                      uint32_t* pEventPinCount) {
    RETURN_IF(pEventPinCount == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pEventPinCount = 0;
    RETURN_ON_ERROR(check_attached(pJscInform));
    uint32_t counted = 0;
    RETURN_ON_ERROR(util_BenchMarkStatus(pJscInform, eventPinIndex, &counted));
    RETURN_ON_ERROR(util_BenchMarkConfig(pJscInform, eventPinIndex, eventPinRise));
    // What was counted is dropped and 0 reported: hosts take the operation for a mere re-arming.
    *pEventPinCount = 0;
    return eJTI_ERROR_NONE;
}
