// A document for other programs: what a command builds, and --json prints.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace talvor {

// One value of a JSON document; an object keeps the order in which its members came:
//   Json{{"name", "cpu"}, {"bits", 4}, {"idcode", nullptr}}
class Json {
public:
    struct Member;
    using Array = std::vector<Json>;
    using Object = std::vector<Member>;

    Json(std::nullptr_t = nullptr) noexcept;
    Json(bool value) noexcept;
    Json(double value) noexcept;
    template <std::signed_integral Number>
    Json(Number value) noexcept : Json(Value(static_cast<int64_t>(value))) {}
    template <std::unsigned_integral Number>
    requires(!std::same_as<Number, bool>) Json(Number value)
    noexcept : Json(Value(static_cast<uint64_t>(value))) {}
    Json(const char* text);
    Json(std::string text) noexcept;
    Json(std::string_view text);
    Json(std::initializer_list<Member> members);
    [[nodiscard]] static Json array();
    [[nodiscard]] static Json array(const std::vector<uint64_t>& numbers);
    // A document of a program that can be trusted not to nest without end; nothing: it is none.
    [[nodiscard]] static std::optional<Json> parse(std::string_view text);

    Json(const Json& other);
    Json(Json&& other) noexcept;
    Json& operator=(const Json& other);
    Json& operator=(Json&& other) noexcept;
    ~Json();

    // Of an object: the member of that name, made when it is not there.
    Json& operator[](std::string_view name);
    // Of an array: the element, good until the next one.
    Json& push_back(Json value);
    // How many elements an array has, or members an object.
    [[nodiscard]] size_t size() const noexcept;

    // The member or element that `path` leads to, as in "devices.0.idcode"; null: there is none.
    [[nodiscard]] const Json* find(std::string_view path) const;
    // A scalar as a person writes it: a text as it is, a number in decimal, true, false, null;
    // nothing for an array or an object.
    [[nodiscard]] std::optional<std::string> scalar_text() const;

    // The document, indented by two blanks, or in one line; without a newline at its end. What is
    // no UTF-8 in a text becomes U+FFFD.
    [[nodiscard]] std::string text() const;
    [[nodiscard]] std::string line() const;

private:
    friend struct JsonWriter;
    using Value =
        std::variant<std::nullptr_t, bool, int64_t, uint64_t, double, std::string, Array, Object>;

    explicit Json(Value value) noexcept;

    Value value_;
};

struct Json::Member {
    std::string name;
    Json value;
};

} // namespace talvor
