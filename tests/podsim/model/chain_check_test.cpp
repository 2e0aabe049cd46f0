#include "podsim/model/chain_check.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace talvor::podsim {
namespace {

ChainDescription good() {
    DeviceDescription a;
    a.name = "a";
    a.instruction_bits = 4;
    a.idcode = 0x1001;
    a.idcode_instruction = 2;
    a.registers = {
        {"constant", {3}, ConstantRegister{5, {0x1F}}},
        {"scratch", {4}, ScratchRegister{64, {~uint64_t{0}}}},
        {"counter", {5}, CounterRegister{1}},
        {"memory", {6}, MemoryRegister{2, 64, 4}},
        {"boundary", {}, BoundaryRegister{0, 1, {{"o", true, false}, {"i", false, false}}}},
    };
    a.rows = {{"rows", 4, 8, 16, 9, 10, 11, 12, 13}};
    return {{a, a}, {{0, 0, 1, 1}}};
}

struct Case {
    std::function<void(ChainDescription&)> change;
    std::string key; // empty: still good
};

template <class T>
T& kind(ChainDescription& chain, size_t index) {
    return std::get<T>(chain.devices[1].registers[index].kind);
}

const std::vector<Case> kCases{
    {[](auto&) {}, ""},
    {[](auto& c) { c.devices.clear(), c.nets.clear(); }, ""},
    {[](auto& c) { c.devices[1].instruction_bits = 1; }, "instruction_bits"},
    {[](auto& c) { c.devices[1].instruction_bits = 65; }, "instruction_bits"},
    {[](auto& c) { c.devices[1].instruction_bits = 64; }, ""},
    {[](auto& c) { c.devices[1].instruction_capture = 3; }, "instruction_capture"},
    {[](auto& c) { c.devices[1].instruction_capture = 2; }, "instruction_capture"},
    {[](auto& c) { c.devices[1].instruction_capture = 0x11; }, "instruction_capture"},
    {[](auto& c) { c.devices[1].instruction_capture = 0xD; }, ""},
    {[](auto& c) { c.devices[1].idcode = 0x1000; }, "idcode"},
    {[](auto& c) { c.devices[1].idcode_instruction = 15; }, "idcode_instruction"},
    {[](auto& c) { c.devices[1].idcode_instruction = 16; }, "idcode_instruction"},
    {[](auto& c) { c.devices[1].idcode_instruction = 14; }, ""},
    {[](auto& c) { c.devices[1].idcode_instruction = 3; }, "instructions"},
    {[](auto& c) { kind<ConstantRegister>(c, 0).bits = 0; }, "bits"},
    {[](auto& c) { kind<ConstantRegister>(c, 0).bits = 4; }, "value"},
    {[](auto& c) {
         kind<ConstantRegister>(c, 0).value = {1, 0};
     },
     "value"},
    {[](auto& c) { kind<ConstantRegister>(c, 0).value = {}; }, ""},
    {[](auto& c) { kind<ScratchRegister>(c, 1).bits = kMaxRegisterBits + 1; }, "bits"},
    {[](auto& c) { kind<ScratchRegister>(c, 1).bits = kMaxRegisterBits; }, ""},
    {[](auto& c) { kind<ScratchRegister>(c, 1).bits = 63; }, "value"},
    {[](auto& c) { kind<CounterRegister>(c, 2).bits = 0; }, "bits"},
    {[](auto& c) { kind<MemoryRegister>(c, 3).address_bits = 0; }, "address_bits"},
    {[](auto& c) { kind<MemoryRegister>(c, 3).address_bits = kMaxAddressBits + 1; },
     "address_bits"},
    {[](auto& c) { kind<MemoryRegister>(c, 3).data_bits = 0; }, "data_bits"},
    {[](auto& c) { kind<MemoryRegister>(c, 3).data_bits = 65; }, "data_bits"},
    {[](auto& c) { kind<MemoryRegister>(c, 3).words = 0; }, "words"},
    {[](auto& c) { kind<MemoryRegister>(c, 3).words = 5; }, "words"},
    {[](auto& c) { kind<BoundaryRegister>(c, 4).pins.clear(), c.nets.clear(); }, "pins"},
    {[](auto& c) { kind<BoundaryRegister>(c, 4).extest = 15; }, "extest"},
    {[](auto& c) { kind<BoundaryRegister>(c, 4).sample = 0; }, "sample"},
    {[](auto& c) { c.devices[1].registers[0].instructions.clear(); }, "instructions"},
    {[](auto& c) {
         c.devices[1].registers[0].instructions = {7, 7};
     },
     "instructions"},
    {[](auto& c) {
         c.devices[1].registers[0].instructions = {7, 8};
     },
     ""},
    {[](auto& c) {
         c.devices[1].registers.push_back({"b", {}, BoundaryRegister{8, 14, {{}}}});
     },
     "registers"},
    {[](auto& c) { c.devices[1].rows[0].address_bits = 0; }, "address_bits"},
    {[](auto& c) { c.devices[1].rows[0].address_bits = kMaxAddressBits + 1; }, "address_bits"},
    {[](auto& c) { c.devices[1].rows[0].rows = 0; }, "rows"},
    {[](auto& c) { c.devices[1].rows[0].rows = 17; }, "rows"},
    {[](auto& c) { c.devices[1].rows[0].row_bits = 0; }, "row_bits"},
    {[](auto& c) { c.devices[1].rows[0].row_bits = kMaxRowsBits / 16; }, ""},
    {[](auto& c) { c.devices[1].rows[0].row_bits = kMaxRowsBits / 16 + 1; }, "row_bits"},
    {[](auto& c) { c.devices[1].rows[0].address = 15; }, "address"},
    {[](auto& c) { c.devices[1].rows[0].program = 9; }, "program"},
    {[](auto& c) { c.devices[1].rows[0].verify = 6; }, "verify"},
    {[](auto& c) { c.devices[1].rows[0].erase = 16; }, "erase"},
    {[](auto& c) { c.devices[1].rows[0].status = 12; }, "status"},
    {[](auto& c) { c.nets[0].from_pin = 1; }, "from"},
    {[](auto& c) { c.nets[0].from_device = 2; }, "from"},
    {[](auto& c) { c.nets[0].to_pin = 0; }, "to"},
    {[](auto& c) { c.nets[0].to_pin = 2; }, "to"},
    {[](auto& c) { c.nets.push_back(c.nets[0]); }, "to"},
};

TEST(ChainCheckTest, NamesTheFieldThatIsWrong) {
    for (size_t i = 0; i < kCases.size(); ++i) {
        ChainDescription chain = good();
        kCases[i].change(chain);
        const auto error = check(chain);
        EXPECT_EQ(error ? error->key : "", kCases[i].key) << "case " << i;
        EXPECT_TRUE(!error || !error->expected.empty());
    }
}

TEST(ChainCheckTest, SaysWhereTheErrorIs) {
    ChainDescription chain = good();
    kind<MemoryRegister>(chain, 3).words = 5;
    const auto error = check(chain);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->where, DescriptionError::Where::Register);
    EXPECT_EQ(error->device, 1U);
    EXPECT_EQ(error->index, 3U);
    EXPECT_EQ(error->expected, "from 1 to 4");
    chain = good();
    chain.devices[1].rows[0].rows = 17;
    const auto rows = check(chain);
    ASSERT_TRUE(rows);
    EXPECT_EQ(rows->where, DescriptionError::Where::Rows);
    EXPECT_EQ(rows->expected, "from 1 to 16");
}

} // namespace
} // namespace talvor::podsim
