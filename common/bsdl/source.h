// An entity as its file writes it: what stands where, before anything of it is understood.
#pragma once

#include "common/bsdl/joined_text.h"
#include "common/bsdl/model.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::bsdl {

// The bounds of a vector: "0 to 7", "7 downto 0".
struct Bounds {
    int64_t left = 0;
    int64_t right = 0;
    bool down = false;
};

struct PortDeclaration {
    std::string_view name; // a part of the file
    PortMode mode = PortMode::In;
    std::optional<Bounds> bounds; // of a vector
    Place place;
};

// What stands behind "is", ":=" or a default's ":=".
struct Value {
    bool is_text = false;
    JoinedText text;   // of strings
    std::string words; // of everything else: its tokens, with blanks between names
    Place place;
};

struct Attribute {
    std::string_view name;
    std::string target; // "XYZ" of "attribute PIN_MAP of XYZ : entity"
    Place target_place;
    Value value;
    Place place;
};

struct Constant {
    std::string_view name;
    std::string_view type;
    Value value;
    Place place;
};

struct Source {
    std::string_view entity;
    Place place;
    std::optional<Value> default_package; // of the generic PHYSICAL_PIN_MAP
    std::vector<PortDeclaration> ports;
    std::vector<std::string_view> uses; // "STD_1149_1_2001"
    std::vector<Attribute> attributes;
    std::vector<Constant> constants;
};

} // namespace talvor::bsdl
