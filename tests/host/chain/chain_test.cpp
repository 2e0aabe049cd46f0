#include "host/chain/chain.h"
#include "tests/host/support/chain_port.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

std::vector<ChainTap> five() {
    return {{0x2C0DE7E3, 6, 1},
            {0x1A2B3C4D, 4, 1},
            {std::nullopt, 5, 1},
            {0x3D5A07E3, 8, 1},
            {0x05707E35, 10, 1}};
}

std::vector<uint32_t> lengths_of(const Chain& chain) {
    std::vector<uint32_t> lengths;
    for (const ChainDevice& device : chain.devices) {
        lengths.push_back(device.instruction_bits);
    }
    return lengths;
}

TEST(DiscoverChainTest, FindsDevicesFromTdiToTdo) {
    ChainPort port(five());
    const Result<Chain> chain = discover_chain(port);
    ASSERT_TRUE(chain) << headline(chain.error());
    ASSERT_EQ(chain->devices.size(), 5U);
    EXPECT_EQ(chain->devices[0].idcode, IdCode{0x2C0DE7E3});
    EXPECT_EQ(chain->devices[1].idcode, IdCode{0x1A2B3C4D});
    EXPECT_EQ(chain->devices[2].idcode, std::nullopt);
    EXPECT_EQ(chain->devices[3].idcode, IdCode{0x3D5A07E3});
    EXPECT_EQ(chain->devices[4].idcode, IdCode{0x05707E35});
    EXPECT_TRUE(chain->lengths_known);
    EXPECT_EQ(lengths_of(*chain), (std::vector<uint32_t>{6, 4, 5, 8, 10}));
    EXPECT_EQ(chain->instruction_bits(), 33U);
    EXPECT_EQ(chain->data_capture.size(), 4 * 32 + 1U);
    EXPECT_TRUE(port.all_bypassed());
}

TEST(DiscoverChainTest, LongChainsNeedALongerScan) {
    for (const size_t count : {63U, 64U, 200U, 1100U}) {
        std::vector<ChainTap> devices(count, ChainTap{0x10000001, 5, 1});
        ChainPort port(devices);
        const Result<Chain> chain = discover_chain(port);
        ASSERT_TRUE(chain) << headline(chain.error());
        EXPECT_EQ(chain->devices.size(), count);
        EXPECT_EQ(chain->instruction_bits(), 5 * count);
    }
}

TEST(DiscoverChainTest, AmbiguousLengthsAreNotGuessed) {
    // The second capture begins with 1, 0 within a device once more.
    ChainPort port({{0x10000001, 4, 1}, {0x20000001, 6, 0b110101}});
    const Result<Chain> chain = discover_chain(port);
    ASSERT_TRUE(chain) << headline(chain.error());
    EXPECT_FALSE(chain->lengths_known);
    EXPECT_EQ(lengths_of(*chain), (std::vector<uint32_t>{0, 0}));
    EXPECT_EQ(possible_starts(chain->instruction_capture).size(), 3U);
}

TEST(DiscoverChainTest, OneDeviceIsAsLongAsThePath) {
    // More starts than devices, but there is only one way to share the path out.
    ChainPort port({{0x10000001, 8, 0b01010101}});
    const Result<Chain> chain = discover_chain(port);
    ASSERT_TRUE(chain) << headline(chain.error());
    EXPECT_EQ(possible_starts(chain->instruction_capture).size(), 4U);
    EXPECT_TRUE(chain->lengths_known);
    EXPECT_EQ(lengths_of(*chain), (std::vector<uint32_t>{8}));
}

TEST(DiscoverChainTest, TakesLengthsThatAreGiven) {
    ChainPort port({{0x10000001, 4, 1}, {0x20000001, 6, 0b110101}});
    const std::vector<uint32_t> given{4, 6};
    const Result<Chain> chain = discover_chain(port, given);
    ASSERT_TRUE(chain) << headline(chain.error());
    EXPECT_TRUE(chain->lengths_known);
    EXPECT_EQ(lengths_of(*chain), given);
}

TEST(DiscoverChainTest, LengthsThatDoNotFitAreRefused) {
    for (const std::vector<uint32_t>& given :
         {std::vector<uint32_t>{4, 5}, std::vector<uint32_t>{10}, std::vector<uint32_t>{4, 4, 2}}) {
        ChainPort port({{0x10000001, 4, 1}, {0x20000001, 6, 1}});
        const Result<Chain> chain = discover_chain(port, given);
        ASSERT_FALSE(chain);
        EXPECT_EQ(chain.error().thing, "instruction lengths");
        EXPECT_EQ(chain.error().kind, ErrorKind::Target);
    }
}

TEST(DiscoverChainTest, StuckLinesAreSaidNotReportedAsDevices) {
    ChainPort high(five());
    high.stuck = true;
    const Result<Chain> ones = discover_chain(high);
    ASSERT_FALSE(ones);
    EXPECT_EQ(headline(ones.error()),
              "TDO: reads ones only: the line is open, stuck high, or no device drives it");
    ChainPort low(five());
    low.stuck = false;
    const Result<Chain> zeros = discover_chain(low);
    ASSERT_FALSE(zeros);
    EXPECT_EQ(headline(zeros.error()),
              "TDO: reads zeros only: the line is shorted to ground or stuck low");
    EXPECT_EQ(zeros.error().exit_status(), 1);
}

TEST(DiscoverChainTest, ABreakWithinTheChainIsLocated) {
    ChainPort port(five());
    port.broken_before = 3;
    const Result<Chain> chain = discover_chain(port);
    ASSERT_FALSE(chain);
    EXPECT_EQ(headline(chain.error()),
              "chain: the data path is broken: after 64 bits TDO reads ones only, and nothing that "
              "goes in at TDI comes out");
}

TEST(DiscoverChainTest, AWireIsNoChain) {
    ChainPort port({});
    const Result<Chain> chain = discover_chain(port);
    ASSERT_FALSE(chain);
    EXPECT_EQ(chain.error().reason, "there is no device: TDI is connected straight to TDO");
}

TEST(DiscoverChainTest, AShiftedAnswerIsFoundOut) {
    for (size_t bits = 1; bits <= 8; ++bits) {
        ChainPort late(five());
        late.late_bits = bits;
        EXPECT_FALSE(discover_chain(late)) << bits << " late";
        ChainPort early(five());
        early.lost_bits = bits;
        EXPECT_FALSE(discover_chain(early)) << bits << " early";
    }
}

TEST(CheckChainTest, PassesOnTheChainThatWasFound) {
    ChainPort port(five());
    const Result<Chain> chain = discover_chain(port);
    ASSERT_TRUE(chain);
    for (const size_t bits : {1U, 16U, 1000U, 20000U}) {
        const Status status = check_chain(port, *chain, bits, bits);
        EXPECT_TRUE(status) << headline(status.error());
    }
    EXPECT_TRUE(port.all_bypassed());
}

TEST(CheckChainTest, FindsASingleWrongBit) {
    ChainPort port(five());
    const Result<Chain> chain = discover_chain(port);
    ASSERT_TRUE(chain);
    port.flip = 777;
    const Status status = check_chain(port, *chain, 1000, 1);
    ASSERT_FALSE(status);
    EXPECT_EQ(status.error().reason, "1 of 1005 bits came back wrong through BYPASS");
}

TEST(CheckChainTest, FindsAnotherChain) {
    ChainPort port(five());
    const Result<Chain> chain = discover_chain(port);
    ASSERT_TRUE(chain);
    std::vector<ChainTap> others = five();
    others[1].idcode = 0x1A2B3C4F;
    ChainPort other(others);
    const Status status = check_chain(other, *chain, 100, 1);
    ASSERT_FALSE(status);
    EXPECT_TRUE(status.error().reason.starts_with("IDCODEs read ")) << status.error().reason;
    EXPECT_TRUE(status.error().next_step.starts_with("it is another device"))
        << status.error().next_step;
}

TEST(CheckChainTest, FindsALateAnswer) {
    ChainPort port(five());
    const Result<Chain> chain = discover_chain(port);
    ASSERT_TRUE(chain);
    port.late_bits = 1;
    const Status status = check_chain(port, *chain, 100, 1);
    ASSERT_FALSE(status);
    EXPECT_TRUE(status.error().next_step.starts_with("the answer comes 1 test clock late"))
        << status.error().next_step;
}

TEST(SurroundingsTest, CountWhatStandsBeforeAndAfterADevice) {
    Chain chain;
    for (const uint32_t length : {6U, 4U, 5U}) {
        chain.devices.push_back({"", std::nullopt, length});
    }
    const ScanSurroundings ir = surroundings(chain, 1, ScanPath::Ir);
    EXPECT_EQ(ir.before, 5U);
    EXPECT_EQ(ir.after, 6U);
    const ScanSurroundings dr = surroundings(chain, 0, ScanPath::Dr);
    EXPECT_EQ(dr.before, 2U);
    EXPECT_EQ(dr.after, 0U);
}

TEST(SplitDataCaptureTest, RefusesACodeThatIsCutShort) {
    const auto codes = split_data_capture(Bits::from_uint(0x3, 3));
    ASSERT_FALSE(codes);
    EXPECT_EQ(codes.error().reason,
              "device 1 from TDO begins like an IDCODE, but only 3 bits are left");
}

TEST(IdCodeTest, IsTakenApart) {
    const IdCode code{0x1A2B3C4D};
    EXPECT_EQ(code.version(), 0x1U);
    EXPECT_EQ(code.part(), 0xA2B3U);
    EXPECT_EQ(code.manufacturer(), 0x626U);
    EXPECT_EQ(code.bank(), 13U);
    EXPECT_EQ(code.bank_code(), 0x26U);
    EXPECT_TRUE(code.legal());
    EXPECT_FALSE(IdCode{0x1A2B3C4C}.legal());
    EXPECT_FALSE(IdCode{0x100000FF}.legal());
}

// The capture of taps, the first nearest TDI, written as it is shifted: the last bit first.
Bits capture_of(const std::string& bits) {
    Bits capture(bits.size());
    for (size_t i = 0; i < bits.size(); ++i) {
        capture.set(i, bits[bits.size() - 1 - i] == '1');
    }
    return capture;
}

TEST(FitLengthsTest, KnownLengthsLeaveOneAnswer) {
    // Six bits nearest TDI, that look like two devices; four bits nearest TDO.
    const Bits capture = capture_of("110101"
                                    "0001");
    EXPECT_EQ(fit_lengths(capture, std::vector<uint32_t>{6, 0}), (std::vector<uint32_t>{6, 4}));
    EXPECT_EQ(fit_lengths(capture, std::vector<uint32_t>{0, 4}), (std::vector<uint32_t>{6, 4}));
    EXPECT_EQ(fit_lengths(capture, std::vector<uint32_t>{6, 4}), (std::vector<uint32_t>{6, 4}));
    EXPECT_EQ(fit_lengths(capture, std::vector<uint32_t>{0, 0, 0}),
              (std::vector<uint32_t>{4, 2, 4}));
}

TEST(FitLengthsTest, NoneOrSeveralAnswersAreNone) {
    const Bits capture = capture_of("1101010001");
    for (const std::vector<uint32_t>& known :
         {std::vector<uint32_t>{0, 0}, {5, 0}, {6, 3}, {7, 4}, {0, 0, 0, 0}, {10, 1}}) {
        EXPECT_TRUE(fit_lengths(capture, known).empty()) << testing::PrintToString(known);
    }
    EXPECT_TRUE(fit_lengths(capture_of("0011"), std::vector<uint32_t>{0}).empty());
}

} // namespace
} // namespace talvor
