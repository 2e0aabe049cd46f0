// How the tests open a session of the host library.
#pragma once

#include "host/session/session.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

namespace endtoend {

inline talvor::SessionOptions session_options(uint32_t serial) {
    talvor::SessionOptions options;
    options.library = TALVOR_LIBRARY;
    options.serial = serial;
    options.lost = [](const talvor::Error& error) {
        ADD_FAILURE() << headline(error);
        std::abort();
    };
    return options;
}

} // namespace endtoend
