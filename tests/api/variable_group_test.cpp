#include "api/variable_group.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Variable {
    int value;
};

std::string calls;
Variable record;
bool create_fails;
bool remove_fails;
int32_t read_code;

bool create(Variable** variable) {
    calls += "create ";
    *variable = create_fails ? nullptr : &record;
    return create_fails;
}

void initial(Variable* variable) {
    calls += "initial ";
    variable->value = 1;
}

int32_t read(CFG_Handle, CFG_Interface*, Variable* variable) {
    calls += "read ";
    variable->value += 10;
    return read_code;
}

bool remove_record(Variable** variable) {
    calls += "remove ";
    *variable = nullptr;
    return remove_fails;
}

constexpr VariableGroup kGroup{create, initial, read, remove_record};

class VariableGroupTest : public testing::Test {
protected:
    void SetUp() override {
        calls.clear();
        create_fails = remove_fails = false;
        read_code = 0;
    }
    int32_t run() { return read_group(kGroup, nullptr, nullptr, &kept); }
    Variable kept{5};
};

TEST_F(VariableGroupTest, ReadsIntoAScratchRecordAndKeepsACopy) {
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(calls, "create initial read remove ");
    EXPECT_EQ(kept.value, 11);
}

TEST_F(VariableGroupTest, ReportsAScratchRecordThatCannotBeMade) {
    create_fails = true;
    EXPECT_EQ(run(), -131);
    EXPECT_EQ(calls, "create ");
    EXPECT_EQ(kept.value, 5);
}

TEST_F(VariableGroupTest, ReportsAScratchRecordThatCannotBeReleased) {
    remove_fails = true;
    EXPECT_EQ(run(), -132);
    EXPECT_EQ(kept.value, 11);
}

TEST_F(VariableGroupTest, PassesTheReadersCodeOnAndReleasesTheScratchRecord) {
    read_code = -448;
    remove_fails = true;
    EXPECT_EQ(run(), -448);
    EXPECT_EQ(calls, "create initial read remove ");
    EXPECT_EQ(kept.value, 5);
}

} // namespace
