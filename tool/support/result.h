// What an operation of the tool answers: a value, or an error that a person can act on.
#pragma once

#include <cassert>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace talvor {

// Who is at fault, which is also what the exit status tells: the first two end the program with 2,
// the others with 1.
enum class ErrorKind : uint8_t {
    Usage,   // a wrong argument
    BadFile, // a file that cannot be read or that breaks its format
    Refused, // a request that the pod or the library cannot serve, known before anything moved
    Pod,     // the pod, its proxy or the library failed
    Target,  // the target answered something else than it should
};

struct Error {
    ErrorKind kind = ErrorKind::Usage;
    int32_t code = 0;      // the library's code, 0 when the library did not speak
    std::string thing;     // what it is about: "board.toml", "line 12: SDR", "pod 0001"
    std::string reason;    // what is wrong with it
    std::string next_step; // what to do about it; empty when the reason says it all

    // The exit status of a program that ends with this error: 1 or 2.
    [[nodiscard]] int exit_status() const noexcept {
        return kind == ErrorKind::Usage || kind == ErrorKind::BadFile ? 2 : 1;
    }

    friend bool operator==(const Error&, const Error&) = default;
};

// "thing: reason", the first line of a report.
[[nodiscard]] inline std::string headline(const Error& error) {
    return error.thing.empty() ? error.reason : error.thing + ": " + error.reason;
}

// A value or an error. Reading the side that is not there is a bug of the reader.
template <typename T>
class [[nodiscard]] Result {
public:
    // NOLINTNEXTLINE(google-explicit-constructor): `return value;` and `return error;` both read
    // well.
    Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}

    [[nodiscard]] bool ok() const noexcept { return content_.index() == 0; }
    explicit operator bool() const noexcept { return ok(); }

    [[nodiscard]] T& value() & {
        assert(ok());
        return *std::get_if<0>(&content_);
    }
    [[nodiscard]] const T& value() const& {
        assert(ok());
        return *std::get_if<0>(&content_);
    }
    [[nodiscard]] T&& value() && {
        assert(ok());
        return std::move(*std::get_if<0>(&content_));
    }
    [[nodiscard]] T& operator*() & { return value(); }
    [[nodiscard]] const T& operator*() const& { return value(); }
    [[nodiscard]] T&& operator*() && { return std::move(*this).value(); }
    [[nodiscard]] T* operator->() { return &value(); }
    [[nodiscard]] const T* operator->() const { return &value(); }

    [[nodiscard]] const Error& error() const& {
        assert(!ok());
        return *std::get_if<1>(&content_);
    }
    [[nodiscard]] Error&& error() && {
        assert(!ok());
        return std::move(*std::get_if<1>(&content_));
    }

private:
    std::variant<T, Error> content_;
};

// Done, or an error.
template <>
class [[nodiscard]] Result<void> {
public:
    // Not defaulted: `return {};` would then write zeros over the whole of the room for an error.
    Result() noexcept {}
    Result(Error error) : error_(std::move(error)) {}

    [[nodiscard]] bool ok() const noexcept { return !error_.has_value(); }
    explicit operator bool() const noexcept { return ok(); }

    [[nodiscard]] const Error& error() const& {
        assert(!ok());
        return *error_;
    }
    [[nodiscard]] Error&& error() && {
        assert(!ok());
        return std::move(*error_);
    }

private:
    std::optional<Error> error_;
};

using Status = Result<void>;

} // namespace talvor
