#include "api/property.h"
#include "jsc_internal.h"
#include "support/failing_os.h"
#include "sys/version.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using test_support::FailingHeap;

struct Text {
    char* JTI_Property::*field;
    std::string text;
};

const Text kTexts[] = {
    {&JTI_Property::copyrightNotice, "Copyright (c) 2026 The Talvor Authors"},
    {&JTI_Property::authorCompany, "The Talvor Project"},
    {&JTI_Property::authorPerson, "Talvor tools group"},
    {&JTI_Property::packagePhrase, "Talvor emulation package"},
    {&JTI_Property::packageVersionMajor, "12"},
    {&JTI_Property::packageVersionMinor, "34"},
    {&JTI_Property::packagePatchMajor, "56"},
    {&JTI_Property::packagePatchMinor, "78"},
    {&JTI_Property::componentPhrase, "Talvor scan control framework"},
    {&JTI_Property::componentVersionMajor, "87"},
    {&JTI_Property::componentVersionMinor, "65"},
    {&JTI_Property::componentPatchMajor, "43"},
    {&JTI_Property::componentPatchMinor, "21"},
    {&JTI_Property::buildDate, sys_Str0FormatVersion()->date},
    {&JTI_Property::buildTime, sys_Str0FormatVersion()->time},
    {&JTI_Property::describePhrase, "the QEL300-TBC scan control library"},
    {&JTI_Property::describeSentence, "the VEXIL library for QEL300-TBC scan control"},
    {&JTI_Property::libraryInterface, "JSC"},
    {&JTI_Property::libraryImplement, "QEL300-TBC scan control"},
    {&JTI_Property::libraryName, "libjsctalvor.so"},
    {&JTI_Property::parentInterface, "SMG"},
    {&JTI_Property::parentImplement, "scan manager"},
    {&JTI_Property::parentName, "libzdlfast3.so"},
};

TEST(PropertyTest, HoldsAllTextsInOneBlockInOrder) {
    JTI_Property* property = nullptr;
    ASSERT_EQ(zdl_PropertyCreate(&property), 0);
    ASSERT_NE(property, nullptr);
    EXPECT_EQ(property->propertyVersion, 2u);
    EXPECT_EQ(property->propertyCount, 18u);
    const char* place = property->propertyString;
    for (const Text& item : kTexts) {
        EXPECT_EQ(property->*item.field, place);
        EXPECT_STREQ(property->*item.field, item.text.c_str());
        place += item.text.size() + 1;
    }
    EXPECT_EQ(property->propertyLength, place - property->propertyString);
    EXPECT_EQ(zdl_PropertyDelete(&property), 0);
}

TEST(PropertyTest, BuildStampIsInTheCompilersForm) {
    JTI_Property* property = nullptr;
    ASSERT_EQ(zdl_PropertyCreate(&property), 0);
    int day = 0;
    int year = 0;
    int hours = -1;
    int minutes = -1;
    int seconds = -1;
    char month[4] = "";
    EXPECT_EQ(sscanf(property->buildDate, "%3s %d %d", month, &day, &year), 3);
    EXPECT_EQ(std::strlen(property->buildDate), 11u);
    EXPECT_EQ(std::string("JanFebMarAprMayJunJulAugSepOctNovDec").find(month) % 3, 0u);
    EXPECT_TRUE(1 <= day && day <= 31);
    EXPECT_EQ(sscanf(property->buildTime, "%d:%d:%d", &hours, &minutes, &seconds), 3);
    EXPECT_EQ(std::strlen(property->buildTime), 8u);
    EXPECT_EQ(zdl_PropertyDelete(&property), 0);
}

TEST(PropertyTest, DeleteReleasesBothBlocksAndClearsThePointer) {
    FailingHeap heap;
    JTI_Property* property = nullptr;
    ASSERT_EQ(zdl_PropertyCreate(&property), 0);
    EXPECT_EQ(heap.blocks().size(), 2u);
    EXPECT_EQ(zdl_PropertyDelete(&property), 0);
    EXPECT_EQ(property, nullptr);
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_EQ(zdl_PropertyDelete(&property), eJTI_ERROR_BAD_ARGUMENT);
}

TEST(PropertyTest, NullPointersAreRefused) {
    EXPECT_EQ(zdl_PropertyCreate(nullptr), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(zdl_PropertyDelete(nullptr), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(PropertyLoad(true, nullptr), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(PropertyLoad(false, nullptr), eJTI_ERROR_BAD_ARGUMENT);
}

TEST(PropertyTest, NoMemoryForTheRecord) {
    FailingHeap heap(0);
    JTI_Property other = {};
    JTI_Property* property = &other;
    EXPECT_EQ(zdl_PropertyCreate(&property), eJTI_ERROR_NO_MEMORY);
    EXPECT_EQ(property, nullptr);
    EXPECT_TRUE(heap.blocks().empty());
}

TEST(PropertyTest, NoMemoryForTheTextsLeavesTheRecordAllocated) {
    FailingHeap heap(1);
    JTI_Property other = {};
    JTI_Property* property = &other;
    EXPECT_EQ(zdl_PropertyCreate(&property), eJTI_ERROR_NO_MEMORY);
    EXPECT_EQ(property, nullptr);
    ASSERT_EQ(heap.blocks().size(), 1u);
    std::free(heap.blocks()[0]);
}

TEST(PropertyTest, LoadFillsAndEmptiesARecord) {
    FailingHeap heap;
    JTI_Property property;
    std::memset(&property, 0xA5, sizeof(property));
    ASSERT_EQ(PropertyLoad(true, &property), 0);
    EXPECT_TRUE(property_is_complete(property));
    EXPECT_EQ(heap.blocks().size(), 1u);
    EXPECT_EQ(PropertyLoad(false, &property), 0);
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_EQ(property.propertyVersion, 0u);
    EXPECT_EQ(property.propertyCount, 0u);
    EXPECT_EQ(property.propertyLength, 0u);
    EXPECT_EQ(property.propertyString, nullptr);
    for (const Text& item : kTexts) {
        EXPECT_EQ(property.*item.field, nullptr);
    }
}

TEST(PropertyTest, FailedLoadLeavesTheRecord) {
    FailingHeap heap(0);
    JTI_Property property = {};
    property.propertyCount = 5;
    EXPECT_EQ(PropertyLoad(true, &property), eJTI_ERROR_NO_MEMORY);
    EXPECT_EQ(property.propertyCount, 5u);
    EXPECT_EQ(property.propertyString, nullptr);
}

TEST(PropertyTest, IsCompleteOnlyWithVersionCountAndEveryText) {
    JTI_Property* property = nullptr;
    ASSERT_EQ(zdl_PropertyCreate(&property), 0);
    EXPECT_TRUE(property_is_complete(*property));
    for (const Text& item : kTexts) {
        JTI_Property lacking = *property;
        lacking.*item.field = nullptr;
        EXPECT_FALSE(property_is_complete(lacking)) << item.text;
    }
    JTI_Property version = *property;
    version.propertyVersion = 1;
    EXPECT_FALSE(property_is_complete(version));
    JTI_Property count = *property;
    count.propertyCount = 23;
    EXPECT_FALSE(property_is_complete(count));
    EXPECT_EQ(zdl_PropertyDelete(&property), 0);
}

} // namespace
