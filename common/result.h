// What an operation of simulator, host library or tool answers: a value, or an error that a person
// can act on.
#pragma once

#include <tl/expected.hpp>

#include <cstdint>
#include <string>
#include <utility>

namespace talvor {

// Who is at fault, which is also what the exit status of the tool tells: the first two end it with
// 2, the others with 1.
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
[[nodiscard]] std::string headline(const Error& error);

template <typename T>
using Result = tl::expected<T, Error>;
struct Done {
    friend bool operator==(const Done&, const Done&) = default;
};
// Done, or an error: `return {};` says done. A value of no size instead of none: without any, each
// Status that went well would clear the room of the error that it does not have.
using Status = Result<Done>;
// An error on its way up: what a function with any Result returns.
using Failure = tl::unexpected<Error>;

// Errors in one line: `return pod_error("pod 5", "it does not answer", "plug it in");`.
[[nodiscard]] Failure usage_error(std::string thing, std::string reason,
                                  std::string next_step = {});
[[nodiscard]] Failure file_error(std::string thing, std::string reason, std::string next_step = {});
[[nodiscard]] Failure refused_error(std::string thing, std::string reason,
                                    std::string next_step = {});
[[nodiscard]] Failure pod_error(std::string thing, std::string reason, std::string next_step = {});
[[nodiscard]] Failure target_error(std::string thing, std::string reason,
                                   std::string next_step = {});
// A failure that a reason says it all of; it is put down to the pod.
[[nodiscard]] Failure failure(std::string reason);
// "`what`: <the text of errno>", put down to the pod, with the next step that is given, or one that
// fits the errno where there is one. Takes errno as it stands and leaves it so.
[[nodiscard]] Failure system_failure(std::string what, std::string next_step = {});

namespace detail {

// The value of a result that holds one; who asked only whether it worked leaves it.
template <typename T>
T value_of(Result<T>&& result) {
    return *std::move(result);
}
template <typename T>
T value_of(const Result<T>& result) {
    return *result;
}

} // namespace detail

} // namespace talvor

#define TALVOR_JOIN_NAMES(first, second) first##second
#define TALVOR_UNIQUE_NAME(first, second) TALVOR_JOIN_NAMES(first, second)
#define TALVOR_TRY_AS(name, ...)                                                                   \
    __extension__({                                                                                \
        auto&& name = (__VA_ARGS__);                                                               \
        if (!name) {                                                                               \
            return ::talvor::Failure(std::move(name).error());                                     \
        }                                                                                          \
        ::talvor::detail::value_of(std::move(name));                                               \
    })

// The value of a Result; where it holds an error, the function that asks returns that error:
//   const Chain chain = TRY(session.discover());
//   TRY(port.flush());
#define TRY(...) TALVOR_TRY_AS(TALVOR_UNIQUE_NAME(talvor_tried_, __COUNTER__), __VA_ARGS__)
