#include "api/property.h"

#include "sys/check.h"
#include "sys/memory.h"
#include "sys/version.h"

#include <cstring>

namespace {

constexpr uint32_t kPropertyVersion = 2;
// Not the number of texts, of which there are 23: kept, because hosts check for 18.
constexpr uint32_t kPropertyCount = 18;

// One text: fixed, or the build stamp's.
struct PropertyText {
    char* JTI_Property::*field;
    const char* fixed;
    char (Str0VersionInform::*stamp)[32] = nullptr;
};

// In the order in which they stand in the block.
constexpr PropertyText kTexts[] = {
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
    {&JTI_Property::buildDate, nullptr, &Str0VersionInform::date},
    {&JTI_Property::buildTime, nullptr, &Str0VersionInform::time},
    {&JTI_Property::describePhrase, "the QEL300-TBC scan control library"},
    {&JTI_Property::describeSentence, "the VEXIL library for QEL300-TBC scan control"},
    {&JTI_Property::libraryInterface, "JSC"},
    {&JTI_Property::libraryImplement, "QEL300-TBC scan control"},
    {&JTI_Property::libraryName, "libjsctalvor.so"},
    {&JTI_Property::parentInterface, "SMG"},
    {&JTI_Property::parentImplement, "scan manager"},
    {&JTI_Property::parentName, "libzdlfast3.so"},
};

const char* text_of(const PropertyText& entry) {
    return entry.fixed != nullptr ? entry.fixed : sys_Str0FormatVersion()->*entry.stamp;
}

uint32_t room_of(const PropertyText& entry) {
    return static_cast<uint32_t>(std::strlen(text_of(entry)) + 1);
}

int32_t fill(JTI_Property& property) {
    uint32_t length = 0;
    for (const PropertyText& entry : kTexts) {
        length += room_of(entry);
    }
    char* block = static_cast<char*>(sys_MemFastAlloc(length));
    RETURN_IF(block == nullptr, eJTI_ERROR_NO_MEMORY);
    property.propertyVersion = kPropertyVersion;
    property.propertyCount = kPropertyCount;
    property.propertyString = block;
    property.propertyLength = length;
    for (const PropertyText& entry : kTexts) {
        std::memcpy(block, text_of(entry), room_of(entry));
        property.*entry.field = block;
        block += room_of(entry);
    }
    return eJTI_ERROR_NONE;
}

void empty(JTI_Property& property) {
    void* block = property.propertyString;
    sys_MemFastFree(&block, &property.propertyLength);
    property = {};
}

} // namespace

int32_t PropertyLoad(bool assign, JTI_Property* pProperty) {
    RETURN_IF(pProperty == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    if (assign) {
        return fill(*pProperty);
    }
    empty(*pProperty);
    return eJTI_ERROR_NONE;
}

bool property_is_complete(const JTI_Property& property) {
    if (property.propertyVersion != kPropertyVersion || property.propertyCount != kPropertyCount) {
        return false;
    }
    for (const PropertyText& entry : kTexts) {
        if (property.*entry.field == nullptr) {
            return false;
        }
    }
    return true;
}

int32_t zdl_PropertyCreate(JTI_Property** ppProperty) {
    RETURN_IF(ppProperty == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *ppProperty = nullptr;
    auto* property = static_cast<JTI_Property*>(sys_MemFastAlloc(sizeof(JTI_Property)));
    RETURN_IF(property == nullptr, eJTI_ERROR_NO_MEMORY);
    RETURN_ON_ERROR(PropertyLoad(true, property));
    RETURN_IF(!property_is_complete(*property), eJTI_ERROR_PROPERTY);
    *ppProperty = property;
    return eJTI_ERROR_NONE;
}

int32_t zdl_PropertyDelete(JTI_Property** ppProperty) {
    RETURN_IF(ppProperty == nullptr || *ppProperty == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    void* record = *ppProperty;
    *ppProperty = nullptr;
    RETURN_ON_ERROR(PropertyLoad(false, static_cast<JTI_Property*>(record)));
    uint32_t size = sizeof(JTI_Property);
    sys_MemFastFree(&record, &size);
    return eJTI_ERROR_NONE;
}
