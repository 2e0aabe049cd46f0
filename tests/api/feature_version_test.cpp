#include "api/feature_version.h"
#include "support/instant_pod.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;

struct Row {
    int feature;
    bool known;
    uint32_t value;
};

TEST(MultipleVersionTest, KnowsControllerLengthAndPod) {
    InstantPod pod;
    pod.control.ctlrRevise = eJTI_CONTROL_ID_DPM;
    pod.control.StatusCache = 0xFF1F; // revision bits 0, inverted 7
    for (const Row& row : {Row{-1, false, 0}, Row{0, false, 0}, Row{1, true, 3}, Row{2, true, 16},
                           Row{3, true, 8}, Row{4, false, 0}, Row{5, false, 0}}) {
        bool known = !row.known;
        uint32_t value = 99;
        const auto feature = static_cast<JSC_FeatureId>(row.feature);
        EXPECT_EQ(jsc_MultipleVersion(pod.get(), feature, &known, &value), 0);
        EXPECT_EQ(known, row.known) << row.feature;
        EXPECT_EQ(value, row.value) << row.feature;
    }
}

TEST(MultipleVersionTest, ChecksItsArguments) {
    InstantPod pod;
    bool known = true;
    uint32_t value = 99;
    constexpr JSC_FeatureId kFeature = eJSC_FEATURE_ID_TBC_VERSION;
    EXPECT_EQ(jsc_MultipleVersion(nullptr, kFeature, &known, &value), -122);
    EXPECT_EQ(jsc_MultipleVersion(pod.get(), kFeature, nullptr, &value), -122);
    EXPECT_EQ(jsc_MultipleVersion(pod.get(), kFeature, &known, nullptr), -122);
    EXPECT_EQ(tbc_MultipleVersion(pod.get(), kFeature, nullptr, &value), -122);
    EXPECT_EQ(tbc_MultipleVersion(pod.get(), kFeature, &known, nullptr), -122);
    EXPECT_EQ(tbc_MultipleVersion(nullptr, kFeature, &known, &value), -122);
    EXPECT_TRUE(known);
    EXPECT_EQ(value, 99U);
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_MultipleVersion(pod.get(), kFeature, &known, &value), -116);
    EXPECT_FALSE(known);
    EXPECT_EQ(value, 0U);
}

} // namespace
