#include "podsim/control/socket.h"
#include "podsim/main/life.h"
#include "podsim/main/options.h"

#include <fmt/format.h>

namespace {

int ask(const podsim::Options& options) {
    const auto answer = podsim::control::ask(options.control, options.question);
    if (answer.failed()) {
        fmt::print(stderr, "talvor-podsim: {}\n", answer.reason());
        return 1;
    }
    if (answer.value().starts_with("error: ")) {
        fmt::print(stderr, "talvor-podsim: {}\n", answer.value().substr(7));
        return 1;
    }
    fmt::print("{}\n", answer.value());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const podsim::Options options = podsim::parse_command_line(argc, argv);
    switch (options.action) {
    case podsim::Options::Action::Serve:
        return podsim::serve(options);
    case podsim::Options::Action::Ask:
        return ask(options);
    case podsim::Options::Action::Finish:
        break;
    }
    return options.status;
}
