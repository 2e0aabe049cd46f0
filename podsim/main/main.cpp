#include "podsim/control/socket.h"
#include "podsim/main/life.h"
#include "podsim/main/options.h"

#include <fmt/format.h>

#include <string_view>

namespace {

int ask(const talvor::podsim::Options& options) {
    const auto answer = talvor::podsim::control::ask(options.control, options.question);
    constexpr std::string_view kError = "error: ";
    if (!answer || answer->starts_with(kError)) {
        fmt::print(stderr, "talvor-podsim: {}\n",
                   answer ? answer->substr(kError.size()) : talvor::headline(answer.error()));
        return 1;
    }
    fmt::print("{}\n", *answer);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const talvor::podsim::Options options = talvor::podsim::parse_command_line(argc, argv);
    switch (options.action) {
    case talvor::podsim::Options::Action::Serve:
        return talvor::podsim::serve(options);
    case talvor::podsim::Options::Action::Ask:
        return ask(options);
    case talvor::podsim::Options::Action::Finish:
        break;
    }
    return options.status;
}
