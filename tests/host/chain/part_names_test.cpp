#include "common/temporary.h"
#include "host/chain/part_names.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace talvor {
namespace {

namespace fs = std::filesystem;

// Manufacturer 0x123, part 0xA5B6, version 3.
constexpr IdCode kKnown{0x3A5B6247};

class PartNamesTest : public testing::Test {
protected:
    PartNamesTest() {
        put("MANUFACTURERS", "# a comment\n\n00100100011\tacme\t\tAcme Devices, Inc. # or so\n");
        put("acme/PARTS", "1010010110110110 gate-1 GATE-1\n1010010110110111\t.\tGATE-2\n");
        put("acme/gate-1/STEPPINGS", "0010 gate-1 A0\n0011\tgate-1\t\tB1\n");
    }

    void put(const std::string& name, const std::string& text) const {
        const fs::path path = fs::path(folder_.path()) / name;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }
    [[nodiscard]] PartName find(uint32_t code) const {
        return PartNames::open(folder_.path()).value().find(IdCode{code});
    }

    TemporaryFolder folder_ = TemporaryFolder::create().value();
};

TEST_F(PartNamesTest, FindsManufacturerPartAndStepping) {
    EXPECT_EQ(find(kKnown.value), (PartName{"Acme Devices, Inc.", "GATE-1", "B1"}));
}

TEST_F(PartNamesTest, KnowsAsMuchAsTheListsSay) {
    EXPECT_EQ(find(0x4A5B6247), (PartName{"Acme Devices, Inc.", "GATE-1", ""}));
    EXPECT_EQ(find(0x3A5B7247), (PartName{"Acme Devices, Inc.", "GATE-2", ""}));
    EXPECT_EQ(find(0x30000247), (PartName{"Acme Devices, Inc.", "", ""}));
    EXPECT_EQ(find(0x3A5B6001), PartName{});
    EXPECT_EQ(PartNames().find(kKnown), PartName{});
}

TEST_F(PartNamesTest, TakesMissingListsAndBrokenLinesForUnknown) {
    fs::remove(fs::path(folder_.path()) / "acme/PARTS");
    EXPECT_EQ(find(kKnown.value), (PartName{"Acme Devices, Inc.", "", ""}));
    put("acme/PARTS", "1010010110110110\nxyz\n\x01\x02\n");
    EXPECT_EQ(find(kKnown.value), (PartName{"Acme Devices, Inc.", "", ""}));
}

TEST_F(PartNamesTest, AFolderWithoutAListIsAnError) {
    const auto names = PartNames::open(folder_.path() + "/acme");
    ASSERT_FALSE(names);
    EXPECT_EQ(names.error().kind, ErrorKind::BadFile);
    EXPECT_EQ(names.error().thing, folder_.path() + "/acme");
}

// Where the package is installed, its lists are what this reads.
TEST(InstalledPartNamesTest, AreRead) {
    const auto names = PartNames::open(PartNames::kUsualFolder);
    if (!names) {
        GTEST_SKIP() << "the package urjtag is not installed";
    }
    EXPECT_EQ(names->find(IdCode{0x06D4C093}), (PartName{"Xilinx", "XC2C256-TQ144", "0"}));
}

} // namespace
} // namespace talvor
