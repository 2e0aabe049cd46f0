// Errors of the host library as Python's exceptions. All of it needs the interpreter's lock.
#pragma once

#include "common/result.h"

#include <utility>

namespace talvor::python {

// Throws the exception of talvor.errors that `error` is.
[[noreturn]] void raise(const Error& error);
// That of a pod that has been closed.
[[noreturn]] void raise_closed();

template <typename T>
T value_of(Result<T> result) {
    if (!result) {
        raise(result.error());
    }
    return *std::move(result);
}

} // namespace talvor::python
