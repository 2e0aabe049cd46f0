#include "host/stapl/program_run.h"

#include <utility>

namespace talvor::stapl {

Listener ProgramRun::listener(std::function<void(std::string_view)> print) {
    const auto keep = [this](std::string_view key, std::variant<int32_t, Bits> value) {
        if (exports.size() < kListed) {
            exports.push_back({std::string(key), std::move(value)});
        }
    };
    Listener listener;
    listener.print = [this, print = std::move(print)](std::string_view text) {
        if (printed.size() < kListed) {
            printed.emplace_back(text);
        }
        if (print) {
            print(text);
        }
    };
    listener.number = [keep](std::string_view key, int32_t value) { keep(key, value); };
    listener.bits = [keep](std::string_view key, const Bits& bits) { keep(key, bits); };
    return listener;
}

} // namespace talvor::stapl
