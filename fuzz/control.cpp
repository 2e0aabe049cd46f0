// Faults on demand: lines to the control socket, and script files. The input is the text of both.
#include "common/temporary.h"
#include "fuzz/base/check.h"
#include "fuzz/targets.h"
#include "podsim/control/command.h"
#include "podsim/control/script.h"
#include "podsim/control/socket.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <utility>
#include <vector>

namespace talvor::fuzz {
namespace {

namespace control = podsim::control;
using control::Command;
using control::Verb;

// The socket serves lines up to this length in any case.
constexpr size_t kServedLine = 1000;
// Fits what the kernel keeps for a socket, both ways.
constexpr size_t kMostBytes = 8192;

char level_of(podsim::Core core) {
    return core == podsim::Core::Off ? 'Z' : core == podsim::Core::High ? '1' : '0';
}

std::string value_words_of(const std::vector<uint64_t>& value) {
    std::string digits;
    for (const uint64_t word : value) {
        digits.insert(0, fmt::format("{:016x}", word));
    }
    return "0x" + digits;
}

std::string cable_words_of(const Command& command) {
    return command.wire
               ? fmt::format("cable {} {}", podsim::kWireNames[static_cast<size_t>(*command.wire)],
                             podsim::kWireStateNames[static_cast<size_t>(command.wire_state)])
               : "cable ok";
}

// Of the commands that are about the board.
std::string board_words_of(const Command& command) {
    switch (command.verb) {
    case Verb::Fault:
        return "fault " + text_of(command.board_fault);
    case Verb::Mend:
        return "mend " + text_of(command.board_fault);
    case Verb::MendAll:
        return "mend all";
    case Verb::Core:
        return fmt::format("core {} {}", command.place, level_of(command.core));
    case Verb::Drive:
        return fmt::format("drive {} {}", command.place, level_of(command.core));
    case Verb::Level:
        return fmt::format("level {}", command.place);
    case Verb::Board:
        return "board";
    case Verb::Registers:
        return "registers";
    case Verb::Register:
        return fmt::format("register {} {} {}", command.place, command.name,
                           value_words_of(command.value));
    default:
        return "";
    }
}

std::string words_of(const Command& command) {
    const auto level = [&](const char* off, const char* on) { return command.on ? on : off; };
    switch (command.verb) {
    case Verb::Power:
        return fmt::format("power {}", level("off", "on"));
    case Verb::Clock:
        return fmt::format("clock {}", level("off", "on"));
    case Verb::Emu0:
        return fmt::format("emu0 {}", level("low", "high"));
    case Verb::Emu1:
        return fmt::format("emu1 {}", level("low", "high"));
    case Verb::Fail:
        return fmt::format("fail {}", command.number);
    case Verb::Refuse:
        return fmt::format("refuse {}", command.number);
    case Verb::Latency:
        return fmt::format("latency {}", command.number);
    case Verb::Loopback:
        return fmt::format("loopback {}", control::name_of(command.fault));
    case Verb::Cable:
        return cable_words_of(command);
    case Verb::Plug:
        return level("unplug", "plug");
    case Verb::Status:
        return "status";
    default:
        return board_words_of(command);
    }
}

// A line means the same after it was written down anew.
std::string answer_to(std::string_view line) {
    const Result<Command> command = control::parse(line);
    if (!command) {
        check_error(command.error(), "");
        return "error: " + headline(command.error());
    }
    const std::string prefix =
        command->serial ? fmt::format("\t pod  {} ", *command->serial) : std::string();
    const Result<Command> again = control::parse(prefix + words_of(*command) + "\r");
    FUZZ_CHECK(again && *again == *command, "a command says what it means");
    FUZZ_CHECK(command->verb != Verb::Latency || command->number <= control::kMaxLatencyUs,
               "a latency is within its limit");
    return "ok";
}

std::vector<std::string> lines_of(std::string_view text) {
    std::vector<std::string> lines;
    for (size_t end = text.find('\n'); end != text.npos; end = text.find('\n')) {
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    return lines; // what has no newline is no line yet
}

void check_script(std::string_view text) {
    const auto steps = control::parse_script(text, "a.script");
    if (!steps) {
        check_error(steps.error(), "a.script:");
        return;
    }
    for (const control::Step& step : *steps) {
        FUZZ_CHECK(!control::is_question(step.command.verb), "a script asks for nothing");
        FUZZ_CHECK(step.place.starts_with("a.script:"), "a step knows its place");
    }
}

// Sends everything at once and collects the answers until the other side closes.
std::string exchange(const std::string& path, std::string_view text) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const FileDescriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    FUZZ_CHECK(connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
               std::string("the socket is there: ") + std::strerror(errno));
    (void)send(fd.get(), text.data(), text.size(), MSG_NOSIGNAL);
    (void)shutdown(fd.get(), SHUT_WR);
    std::string answers;
    std::array<char, 4096> bytes{};
    for (ssize_t count = 1; count > 0;) {
        do {
            count = recv(fd.get(), bytes.data(), bytes.size(), 0);
        } while (count < 0 && errno == EINTR); // the fuzzer's own alarm
        answers.append(bytes.data(), static_cast<size_t>(std::max<ssize_t>(count, 0)));
    }
    return answers;
}

// Each line is heard as it was sent, in order, and answered with one line.
void check_socket(std::string_view text) {
    const auto folder = TemporaryFolder::create();
    FUZZ_CHECK(folder.has_value(), "a folder can be made");
    std::vector<std::string> heard;
    std::string expected;
    auto socket = control::Socket::listen(folder->path() + "/control", [&](std::string_view line) {
        heard.emplace_back(line);
        std::string answer = answer_to(line);
        FUZZ_CHECK(answer.find('\n') == answer.npos, "an answer is one line");
        expected += answer + "\n";
        return answer;
    });
    FUZZ_CHECK(socket.has_value(), "a socket can be served");
    const std::string answers = exchange(folder->path() + "/control", text);
    socket->reset(); // what its thread wrote is ours now
    std::vector<std::string> sent = lines_of(text);
    const bool all = std::all_of(sent.begin(), sent.end(), [](const std::string& line) {
        return line.size() <= kServedLine;
    });
    FUZZ_CHECK(heard.size() <= sent.size(), "only lines are heard");
    if (all) {
        FUZZ_CHECK(heard == sent, "every line is heard");
        FUZZ_CHECK(answers == expected, "every line is answered");
    }
    sent.resize(heard.size());
    FUZZ_CHECK(heard == sent, "lines are heard as they were sent");
}

} // namespace

void run_control(Bytes input) {
    const std::string_view text = text_of(input.first(std::min(input.size(), kMostBytes)));
    check_script(text);
    check_socket(text);
}

} // namespace talvor::fuzz
