#include "common/start_thread.h"

#include "common/system_calls.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace talvor {

Result<std::thread> start_thread(std::string_view what, std::function<void()> body) {
    try {
        return system_calls.start_thread(std::move(body));
    } catch (const std::system_error& error) {
        errno = error.code().value();
        return system_failure("starting " + std::string(what));
    }
}

} // namespace talvor
