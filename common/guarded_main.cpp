#include "common/guarded_main.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <new>
#include <unistd.h>

namespace talvor {
namespace {

constexpr int kUnexpectedStatus = 1;
constexpr const char* kOutOfMemory =
    "out of memory\n  next: end other programs, or raise the limit "
    "of memory";

// Without memory, and past what the program has not written yet.
void say(const char* text) noexcept {
    for (const char* part :
         {static_cast<const char*>(program_invocation_short_name), ": ", text, "\n"}) {
        if (write(STDERR_FILENO, part, std::strlen(part)) < 0) {
            return;
        }
    }
}

// An exception that could not be thrown, or not be caught. Where even the exception found no memory
// there is none, only the errno of what failed.
[[noreturn]] void end_at_once() {
    const bool no_exception = std::current_exception() == nullptr;
    if (no_exception && errno == ENOMEM) {
        say(kOutOfMemory);
        _exit(kOutOfMemoryStatus);
    }
    try {
        if (!no_exception) {
            std::rethrow_exception(std::current_exception());
        }
    } catch (const std::bad_alloc&) {
        say(kOutOfMemory);
        _exit(kOutOfMemoryStatus);
    } catch (const std::exception& error) {
        say(error.what());
    } catch (...) {
    }
    std::abort();
}

// Before the constructors of other objects of static storage, some of which need memory.
__attribute__((constructor(101))) void watch_terminate() noexcept {
    std::set_terminate(end_at_once);
}

} // namespace

int run_guarded(int (*body)(int, char**), int argc, char** argv) noexcept {
    try {
        return body(argc, argv);
    } catch (const std::bad_alloc&) {
        say(kOutOfMemory);
        return kOutOfMemoryStatus;
    } catch (const std::exception& error) {
        say(error.what());
        return kUnexpectedStatus;
    }
}

} // namespace talvor
