#include "common/notation.h"
#include "controller/pod_setup.h"
#include "support/instant_pod.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;

TEST(PodGenerationTest, AgreesWithTheRevisionOrIsNone) {
    for (uint32_t version = 0; version <= 6; ++version) {
        for (const uint32_t revision :
             {0x0000U, 0x0100U, 0x01FFU, 0x0200U, 0x0302U, 0x0400U, 0x0500U}) {
            InstantPod pod;
            pod.inform.qelVariable.version = version;
            pod.inform.emuRevision = revision;
            const bool agrees = version < 1 || version > 4 || revision >> 8 == version;
            EXPECT_EQ(check_pod_generation(pod.get()), agrees ? 0 : -203)
                << version << ' ' << std::hex << revision;
        }
    }
}

TEST(PodClockTest, HasABitForEachOption) {
    constexpr uint32_t kLater = 0x0200;
    QEL_Variable pod{};
    pod.version = 2;
    EXPECT_EQ(pod_clock_word(pod, kLater), 0x0000);
    struct Row {
        bool QEL_Variable::*option;
        uint16_t word;
    };
    for (const Row& row : {Row{&QEL_Variable::tckload, 0x0010}, Row{&QEL_Variable::tdiload, 0x0020},
                           Row{&QEL_Variable::shortdly, 0x0040}, Row{&QEL_Variable::prediv, 0x0080},
                           Row{&QEL_Variable::aclken, 0x0800}}) {
        QEL_Variable one = pod;
        one.*row.option = true;
        EXPECT_EQ(pod_clock_word(one, kLater), row.word);
    }
}

TEST(PodClockTest, TheDividerIsOneMoreOnTheFirstGeneration) {
    struct Row {
        uint32_t version;
        uint32_t revision;
        uint16_t word;
    };
    for (const Row& row :
         {Row{1, 0x0100, 6}, Row{1, 0x0200, 6}, Row{2, 0x0100, 5}, Row{2, 0x0200, 5},
          Row{3, 0x0300, 5}, Row{4, 0x0400, 5}, Row{0, 0x0100, 6}, Row{0, 0x01FF, 6},
          Row{0, 0x0200, 5}, Row{5, 0x0000, 6}, Row{5, 0x0400, 5}}) {
        QEL_Variable pod{};
        pod.version = row.version;
        pod.tckdiv = 5;
        EXPECT_EQ(pod_clock_word(pod, row.revision), row.word)
            << row.version << ' ' << row.revision;
    }
    QEL_Variable pod{};
    pod.version = 1;
    pod.tckdiv = 15;
    EXPECT_EQ(pod_clock_word(pod, 0x0100), 0) << "four bits of it";
    pod.tckdiv = 0x1C;
    EXPECT_EQ(pod_clock_word(pod, 0x0100), 0x000D);
}

TEST(PodClockTest, TheRevisionSaysWhichRateFieldThereIs) {
    QEL_Variable pod{};
    pod.version = 2;
    pod.aclkdly = 0xFF;
    pod.tckexp = 0xFD;
    EXPECT_EQ(pod_clock_word(pod, 0x0100), 0x0700);
    EXPECT_EQ(pod_clock_word(pod, 0x01FF), 0x0700);
    EXPECT_EQ(pod_clock_word(pod, 0x0200), 0x5000);
}

TEST(PodTimingTest, HasAFieldForEachOption) {
    constexpr uint32_t kRevision = 0x0300;
    QEL_Variable pod{};
    EXPECT_EQ(pod_timing_word(pod, kRevision), 0x0001) << "the host waits";
    pod.aw = true;
    EXPECT_EQ(pod_timing_word(pod, kRevision), 0x0000);
    QEL_Variable one = pod;
    one.tckb = true;
    EXPECT_EQ(pod_timing_word(one, kRevision), 0x0002);
    one = pod;
    one.tmsofs = 0xD;
    EXPECT_EQ(pod_timing_word(one, kRevision), 5 << 2);
    one = pod;
    one.tdoofs = 0xE;
    EXPECT_EQ(pod_timing_word(one, kRevision), 6 << 5);
    one = pod;
    one.tckdly = 7;
    EXPECT_EQ(pod_timing_word(one, kRevision), 3 << 10);
    one = pod;
    one.loopb = true;
    EXPECT_EQ(pod_timing_word(one, kRevision), 0x1000);
}

TEST(PodTimingTest, EmuModesAreThereFromTheThirdGenerationOn) {
    for (const uint32_t mode : {0U, 1U, 2U}) {
        QEL_Variable pod{};
        pod.aw = true;
        pod.e0mode = mode;
        EXPECT_EQ(pod_timing_word(pod, 0x02FF), 0);
        EXPECT_EQ(pod_timing_word(pod, 0x0300), mode != 0 ? 0x0100 : 0);
        pod.e0mode = 0;
        pod.e1mode = mode;
        EXPECT_EQ(pod_timing_word(pod, 0x02FF), 0);
        EXPECT_EQ(pod_timing_word(pod, 0x0400), mode != 0 ? 0x0200 : 0);
    }
}

TEST(PodPinsTest, TheHighClampBitIsThereFromRevision302On) {
    QEL_Variable pod{};
    pod.vclamp = 0x1A;
    EXPECT_EQ(pod_pins_word(pod, 0x0300), 0x000A);
    EXPECT_EQ(pod_pins_word(pod, 0x0301), 0x000A);
    EXPECT_EQ(pod_pins_word(pod, 0x0302), 0x008A);
    EXPECT_EQ(pod_pins_word(pod, 0x03FF), 0x008A);
    EXPECT_EQ(pod_pins_word(pod, 0x0400), 0x008A);
    pod.vclamp = 0x0F;
    EXPECT_EQ(pod_pins_word(pod, 0x0302), 0x000F);
}

TEST(PodPinsTest, EmuModesOf2AreMarked) {
    QEL_Variable pod{};
    for (const uint32_t mode : {0U, 1U, 2U}) {
        pod.e0mode = mode;
        pod.e1mode = 0;
        EXPECT_EQ(pod_pins_word(pod, 0x0300), mode == 2 ? 0x0020 : 0);
        pod.e0mode = 0;
        pod.e1mode = mode;
        EXPECT_EQ(pod_pins_word(pod, 0x0300), mode == 2 ? 0x0040 : 0);
    }
}

TEST(PodRegistersTest, LaterPodsHaveMoreOfThem) {
    struct Row {
        uint32_t revision;
        const char* text;
    };
    for (const Row& row :
         {Row{0x0100, "write 26 0001\n"}, Row{0x0200, "write 26 0001\nwrite 27 0001\n"},
          Row{0x0300, "write 26 0001\nwrite 27 0001\nwrite 25 0000\n"}}) {
        InstantPod pod;
        pod.inform.qelVariable.tckdiv = row.revision == 0x0100 ? 0 : 1;
        pod.inform.emuRevision = row.revision;
        write_pod_registers(pod.get());
        EXPECT_EQ(talvor::notation::text(pod.queued()), row.text);
    }
}

} // namespace
