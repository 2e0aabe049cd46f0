// The library as its loader gets it: entry points, table, description record.
#include "driver_library.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace endtoend {
namespace {

constexpr size_t kSlots = sizeof(JSC_Interface) / sizeof(void*);

std::array<void*, kSlots> slots_of(const JSC_Interface& table) {
    std::array<void*, kSlots> all{};
    std::memcpy(all.data(), &table, sizeof table);
    return all;
}

TEST(TableTest, HoldsFiftyFourOperations) {
    ASSERT_EQ(kSlots, 54U);
    JSC_Interface* table = nullptr;
    ASSERT_EQ(driver_library().CreateInterface(&table), 0);
    for (size_t slot = 0; slot < kSlots; ++slot) {
        EXPECT_NE(slots_of(*table)[slot], nullptr) << slot;
    }
    EXPECT_EQ(driver_library().DeleteInterface(&table), 0);
    EXPECT_EQ(table, nullptr);
    EXPECT_EQ(driver_library().DeleteInterface(&table), eJTI_ERROR_BAD_ARGUMENT);
}

TEST(TableTest, ServesAllWidthsByTheSixteenBitScans) {
    JSC_Interface* table = nullptr;
    ASSERT_EQ(driver_library().CreateInterface(&table), 0);
    const auto all = slots_of(*table);
    for (const size_t send : {14U, 16U, 17U}) {
        EXPECT_EQ(all[send], all[15]);
        EXPECT_EQ(all[send + 4], all[19]);
        EXPECT_EQ(all[send + 8], all[23]);
    }
    driver_library().DeleteInterface(&table);
}

TEST(TableTest, DeclinesSerialWire) {
    JSC_Interface* table = nullptr;
    ASSERT_EQ(driver_library().CreateInterface(&table), 0);
    uint32_t data = 7;
    EXPECT_EQ(table->SwdRegRead(nullptr, 0, 0, &data), eJTI_ERROR_NOT_OFFERED);
    EXPECT_EQ(table->SwdRegWrite(nullptr, 0, 0, &data, true), eJTI_ERROR_NOT_OFFERED);
    EXPECT_EQ(data, 7U);
    driver_library().DeleteInterface(&table);
}

TEST(TableTest, ComesWithADescriptionOfTheLibrary) {
    JTI_Property* property = nullptr;
    ASSERT_EQ(driver_library().CreateProperty(&property), 0);
    EXPECT_EQ(property->propertyVersion, 2U);
    EXPECT_EQ(property->propertyCount, 18U);
    EXPECT_STREQ(property->libraryInterface, "JSC");
    EXPECT_STREQ(property->libraryName, "libjsctalvor.so");
    EXPECT_EQ(driver_library().DeleteProperty(&property), 0);
    EXPECT_EQ(property, nullptr);
}

} // namespace
} // namespace endtoend
