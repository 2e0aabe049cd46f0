#include "tool/output/json.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <utility>

namespace talvor {

// The same value as the library's own, which knows how to write it.
struct JsonWriter {
    using Document = nlohmann::ordered_json;

    static Document document(const Json& json) { return std::visit(JsonWriter(), json.value_); }

    template <typename Scalar>
    Document operator()(const Scalar& value) const {
        return value;
    }
    Document operator()(const Json::Array& elements) const {
        Document array = Document::array();
        for (const Json& element : elements) {
            array.push_back(document(element));
        }
        return array;
    }
    Document operator()(const Json::Object& members) const {
        Document object = Document::object();
        for (const Json::Member& member : members) {
            object[member.name] = document(member.value);
        }
        return object;
    }

    static Json read(const Document& value) {
        if (value.is_object()) {
            Json::Object members;
            for (const auto& [name, member] : value.items()) {
                members.push_back(Json::Member{name, read(member)});
            }
            return Json(Json::Value(std::move(members)));
        }
        if (value.is_array()) {
            Json::Array elements;
            for (const Document& element : value) {
                elements.push_back(read(element));
            }
            return Json(Json::Value(std::move(elements)));
        }
        return read_scalar(value);
    }

private:
    static Json read_scalar(const Document& value) {
        if (value.is_string()) {
            return value.get<std::string>();
        }
        if (value.is_boolean()) {
            return value.get<bool>();
        }
        if (value.is_number_unsigned()) {
            return value.get<uint64_t>();
        }
        if (value.is_number_integer()) {
            return value.get<int64_t>();
        }
        return value.is_number() ? Json(value.get<double>()) : Json(nullptr);
    }
};

std::optional<Json> Json::parse(std::string_view text) {
    const auto document = JsonWriter::Document::parse(text, nullptr, false);
    return document.is_discarded() ? std::nullopt : std::optional(JsonWriter::read(document));
}

Json::Json(Value value) noexcept : value_(std::move(value)) {}
Json::Json(std::nullptr_t) noexcept : value_(nullptr) {}
Json::Json(bool value) noexcept : value_(value) {}
Json::Json(double value) noexcept : value_(value) {}
Json::Json(const char* text) : value_(std::string(text)) {}
Json::Json(std::string text) noexcept : value_(std::move(text)) {}
Json::Json(std::string_view text) : value_(std::string(text)) {}
Json::Json(std::initializer_list<Member> members) : value_(Object(members)) {}

Json Json::array() {
    return Json(Value(Array()));
}

Json Json::array(const std::vector<uint64_t>& numbers) {
    return Json(Value(Array(numbers.begin(), numbers.end())));
}

// The copy is made outside of the variant: where memory runs out in the variant's own copying, g++
// 12 takes down what was never made.
Json::Json(const Json& other) : value_(nullptr) {
    std::visit(
        [this](const auto& value) {
            auto copy = value;
            value_ = Value(std::move(copy));
        },
        other.value_);
}
Json::Json(Json&& other) noexcept = default;
Json& Json::operator=(const Json& other) {
    Json copy(other);
    return *this = std::move(copy);
}
Json& Json::operator=(Json&& other) noexcept = default;
Json::~Json() = default;

Json& Json::operator[](std::string_view name) {
    Object& members = std::get<Object>(value_);
    const auto found = std::find_if(members.begin(), members.end(),
                                    [name](const Member& member) { return member.name == name; });
    return found != members.end() ? found->value
                                  : members.emplace_back(Member{std::string(name), {}}).value;
}

Json& Json::push_back(Json value) {
    return std::get<Array>(value_).emplace_back(std::move(value));
}

size_t Json::size() const noexcept {
    if (const auto* elements = std::get_if<Array>(&value_)) {
        return elements->size();
    }
    const auto* members = std::get_if<Object>(&value_);
    return members != nullptr ? members->size() : 0;
}

const Json* Json::find(std::string_view path) const {
    const size_t dot = std::min(path.find('.'), path.size());
    const std::string_view name = path.substr(0, dot);
    const Json* found = nullptr;
    if (const auto* elements = std::get_if<Array>(&value_)) {
        size_t index = elements->size();
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), index);
        const bool whole = error == std::errc() && end == name.data() + name.size();
        found = whole && index < elements->size() ? &(*elements)[index] : nullptr;
    } else if (const auto* members = std::get_if<Object>(&value_)) {
        const auto member = std::find_if(members->begin(), members->end(),
                                         [name](const Member& one) { return one.name == name; });
        found = member != members->end() ? &member->value : nullptr;
    }
    return found == nullptr || dot == path.size() ? found : found->find(path.substr(dot + 1));
}

std::optional<std::string> Json::scalar_text() const {
    if (const auto* text = std::get_if<std::string>(&value_)) {
        return *text;
    }
    if (std::holds_alternative<Array>(value_) || std::holds_alternative<Object>(value_)) {
        return std::nullopt;
    }
    return line();
}

namespace {

std::string written(const JsonWriter::Document& document, int indent) {
    return document.dump(indent, ' ', false, JsonWriter::Document::error_handler_t::replace);
}

} // namespace

std::string Json::text() const {
    constexpr int kIndent = 2;
    return written(JsonWriter::document(*this), kIndent);
}

std::string Json::line() const {
    constexpr int kOneLine = -1;
    return written(JsonWriter::document(*this), kOneLine);
}

} // namespace talvor
