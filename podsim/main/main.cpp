#include "common/guarded_main.h"
#include "podsim/control/socket.h"
#include "podsim/description/description.h"
#include "podsim/main/complaint.h"
#include "podsim/main/life.h"
#include "podsim/main/options.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace {

int failed_with(const talvor::Error& error) {
    talvor::podsim::complain(error);
    return 1;
}

int ask(const talvor::podsim::Options& options) {
    const auto answer = talvor::podsim::control::ask(options.control, options.question);
    constexpr std::string_view kError = "error: ";
    if (!answer) {
        return failed_with(answer.error());
    }
    if (answer->starts_with(kError)) {
        return failed_with(talvor::failure(answer->substr(kError.size())).value());
    }
    std::puts(answer->c_str());
    if (std::fflush(stdout) != 0) {
        return failed_with(talvor::system_failure("printing the answer").value());
    }
    return 0;
}

int print_description(const std::string& name) {
    const std::string_view text = talvor::podsim::description::built_in_text(name);
    if (text.empty()) {
        talvor::podsim::complain(talvor::usage_error("--print-description=" + name,
                                                     "there is no such description",
                                                     "write =single or =five")
                                     .value());
        return 2;
    }
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() ||
        std::fflush(stdout) != 0) {
        return failed_with(talvor::system_failure("printing the description").value());
    }
    return 0;
}

int run(int argc, char** argv) {
    const talvor::podsim::Options options = talvor::podsim::parse_command_line(argc, argv);
    switch (options.action) {
    case talvor::podsim::Options::Action::Serve:
        return talvor::podsim::serve(options);
    case talvor::podsim::Options::Action::Ask:
        return ask(options);
    case talvor::podsim::Options::Action::Print:
        return print_description(options.built_in);
    case talvor::podsim::Options::Action::Finish:
        break;
    }
    return options.status;
}

} // namespace

int main(int argc, char** argv) {
    return talvor::run_guarded(run, argc, argv);
}
