#include "api/feature_version.h"

#include "controller/utility.h"
#include "sys/check.h"
#include "transport/attached.h"

namespace {

constexpr uint32_t kDataWordBits = 16;

} // namespace

int32_t jsc_MultipleVersion(JSC_Inform* pJscInform, JSC_FeatureId featureId, bool* pFeatureKnown,
                            uint32_t* pFeatureValue) {
    RETURN_IF(pJscInform == nullptr || pFeatureKnown == nullptr || pFeatureValue == nullptr,
              eJTI_ERROR_BAD_ARGUMENT);
    *pFeatureKnown = false;
    *pFeatureValue = 0;
    bool known = false;
    uint32_t value = 0;
    RETURN_ON_ERROR(tbc_MultipleVersion(pJscInform, featureId, &known, &value));
    *pFeatureKnown = known;
    *pFeatureValue = value;
    return eJTI_ERROR_NONE;
}

int32_t tbc_MultipleVersion(JSC_Inform* pJscInform, JSC_FeatureId featureId, bool* pFeatureKnown,
                            uint32_t* pFeatureValue) {
    RETURN_IF(pFeatureKnown == nullptr || pFeatureValue == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(check_attached(pJscInform));
    *pFeatureKnown = true;
    switch (featureId) {
    case eJSC_FEATURE_ID_TBC_VERSION:
        *pFeatureValue = static_cast<uint32_t>(pJscInform->pJscControl->ctlrRevise);
        return eJTI_ERROR_NONE;
    case eJSC_FEATURE_ID_TBC_LENGTH:
        *pFeatureValue = kDataWordBits;
        return eJTI_ERROR_NONE;
    case eJSC_FEATURE_ID_POD_VERSION:
        return util_UtilityRevise(pJscInform, pFeatureValue);
    default:
        *pFeatureKnown = false;
        *pFeatureValue = 0;
        return eJTI_ERROR_NONE;
    }
}
