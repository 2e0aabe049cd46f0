#include "host/chain/descriptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace talvor {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// A folder that is gone after the test.
class DescriptionsTest : public testing::Test {
protected:
    void SetUp() override {
        folder_ = testing::TempDir() + "descriptions_" + std::to_string(getpid());
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directory(folder_);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    // A file of a device with this code and five instruction bits.
    void write(const std::string& name, const std::string& codes) const {
        std::ofstream(folder_ + "/" + name)
            << "entity D is\nattribute INSTRUCTION_LENGTH of D : entity is 5;\n"
            << "attribute INSTRUCTION_CAPTURE of D : entity is \"XXX01\";\n"
            << "attribute INSTRUCTION_OPCODE of D : entity is \"IDCODE (00001)\";\n"
            << (codes.empty() ? ""
                              : "attribute IDCODE_REGISTER of D : entity is \"" + codes + "\";\n")
            << "end D;\n";
    }
    [[nodiscard]] std::vector<std::string> found(uint32_t code) const {
        const Result<DescriptionFolder> folder = DescriptionFolder::open(folder_);
        EXPECT_TRUE(folder) << headline(folder.error());
        std::vector<std::string> names;
        for (const DescriptionFile& file : folder->find(IdCode{code})) {
            names.push_back(std::filesystem::path(file.path).filename());
        }
        return names;
    }

    std::string folder_;
};

const std::string kAnyVersion = "XXXX0100000100000000010100000001";
const std::string kVersion2 = "00100100000100000000010100000001";

TEST_F(DescriptionsTest, FindsTheFileOfACodeUnderItsX) {
    write("a.bsd", kAnyVersion);
    write("b.BSDL", "00010000000001000100010100000001");
    write("c.txt", kAnyVersion);
    write("d.bsd", "");
    EXPECT_THAT(found(0x94100501), ElementsAre("a.bsd"));
    EXPECT_THAT(found(0x10044501), ElementsAre("b.BSDL"));
    EXPECT_THAT(found(0x94100503), IsEmpty());
}

TEST_F(DescriptionsTest, PrefersTheFileThatNamesTheVersionAndThenTheFirst) {
    write("a.bsd", kAnyVersion);
    write("b.bsd", "XXX00100000100000000010100000001");
    write("c.bsd", kVersion2);
    write("d.bsd", "11110000000000000000000000000001," + kAnyVersion);
    EXPECT_THAT(found(0x24100501), ElementsAre("c.bsd", "b.bsd", "a.bsd", "d.bsd"));
    EXPECT_THAT(found(0x34100501), ElementsAre("a.bsd", "d.bsd"));
}

TEST_F(DescriptionsTest, LeavesOutFilesThatCannotBeRead) {
    write("a.bsd", kVersion2);
    std::ofstream(folder_ + "/b.bsd") << "entity\n";
    const Result<DescriptionFolder> folder = DescriptionFolder::open(folder_);
    ASSERT_TRUE(folder) << headline(folder.error());
    EXPECT_EQ(folder->size(), 1U);
    ASSERT_THAT(folder->faults(), SizeIs(1));
    EXPECT_EQ(folder->faults()[0].thing, folder_ + "/b.bsd:2:1");
}

TEST_F(DescriptionsTest, AFolderWithoutFilesIsAnError) {
    EXPECT_EQ(headline(DescriptionFolder::open(folder_).error()),
              folder_ + ": there is no BSDL file in it");
    EXPECT_EQ(DescriptionFolder::open("/dev/null/none").error().kind, ErrorKind::BadFile);
}

TEST_F(DescriptionsTest, OneFileIsAFolderOfOne) {
    write("a.bsd", kVersion2);
    const Result<DescriptionFolder> folder = DescriptionFolder::open(folder_ + "/a.bsd");
    ASSERT_TRUE(folder) << headline(folder.error());
    EXPECT_EQ(folder->size(), 1U);
}

// ---- what matches -----------------------------------------------------------------------------

Chain described(const std::vector<std::string>& codes, std::optional<IdCode> code,
                uint32_t bits = 5, const std::string& capture = "XXX01") {
    bsdl::Device device;
    device.instruction_bits = 5;
    device.instruction_capture = {capture};
    for (const std::string& one : codes) {
        device.idcodes.push_back({one});
    }
    Chain chain;
    chain.instruction_capture = Bits::from_uint(0b0001'01101, 4 + 5);
    chain.devices.push_back({"", code, 4});
    chain.devices.push_back({"", code, bits});
    chain.devices[1].description = std::make_shared<const bsdl::Device>(device);
    return chain;
}

TEST(CheckDescriptionTest, NamesWhatMatches) {
    const DescriptionCheck check =
        check_description(described({kVersion2, kAnyVersion}, IdCode{0x94100501}), 1);
    EXPECT_THAT(check.matches, ElementsAre("IDCODE", "instruction length", "capture"));
    EXPECT_THAT(check.contradictions, IsEmpty());
    EXPECT_THAT(check_description(described({}, std::nullopt), 1).matches,
                ElementsAre("no IDCODE", "instruction length", "capture"));
}

TEST(CheckDescriptionTest, NamesWhatContradicts) {
    EXPECT_THAT(check_description(described({kAnyVersion}, IdCode{0x10044501}), 1).contradictions,
                ElementsAre("its IDCODE is 0x10044501, the file says 0xX4100501"));
    EXPECT_THAT(
        check_description(described({kAnyVersion, kVersion2}, std::nullopt), 1).contradictions,
        ElementsAre("it has no IDCODE, the file says 0xX4100501 or 0x24100501"));
    EXPECT_THAT(check_description(described({}, IdCode{0x10044501}), 1).contradictions,
                ElementsAre("its IDCODE is 0x10044501, the file says that it has none"));
    EXPECT_THAT(check_description(described({}, std::nullopt, 6), 1).contradictions,
                ElementsAre("its instruction register has 6 bits, the file says 5"));
    EXPECT_THAT(check_description(described({}, std::nullopt, 5, "X0X01"), 1).contradictions,
                ElementsAre("its instruction register captures 01101, the file says X0X01"));
}

TEST(CheckDescriptionTest, TellsAnotherVersionFromAnotherPart) {
    const auto same_part = [](const std::vector<std::string>& codes, std::optional<IdCode> code,
                              uint32_t bits = 5, const std::string& capture = "XXX01") {
        return check_description(described(codes, code, bits, capture), 1).same_part;
    };
    EXPECT_TRUE(same_part({kVersion2}, IdCode{0x24100501}));
    EXPECT_TRUE(same_part({kVersion2}, IdCode{0x94100501}));
    EXPECT_TRUE(same_part({}, std::nullopt));
    EXPECT_FALSE(same_part({kVersion2}, IdCode{0x25100501})); // next to the version
    EXPECT_FALSE(same_part({kVersion2}, IdCode{0x24100503}));
    EXPECT_FALSE(same_part({kVersion2}, std::nullopt));
    EXPECT_FALSE(same_part({}, IdCode{0x24100501}));
    EXPECT_FALSE(same_part({kVersion2}, IdCode{0x24100501}, 6));
    EXPECT_FALSE(same_part({kVersion2}, IdCode{0x24100501}, 5, "X0X01"));
}

TEST(CheckDescriptionTest, SaysNothingOfWhatNobodyKnows) {
    const DescriptionCheck check =
        check_description(described({kAnyVersion}, IdCode{0x94100501}, 0), 1);
    EXPECT_THAT(check.matches, ElementsAre("IDCODE"));
    EXPECT_THAT(check.contradictions, IsEmpty());
}

TEST(CodeTextTest, IsHexadecimalWhereXCoversWholeDigits) {
    EXPECT_EQ(code_text({kAnyVersion}), "0xX4100501");
    EXPECT_EQ(code_text({"XX010001"}), "0bXX010001");
}

} // namespace
} // namespace talvor
