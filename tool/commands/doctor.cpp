// talvor doctor: looks at everything between the board file and the target, in the order in which
// one thing needs the other, and says what to do about the first that is wrong.
#include <array>
#include <filesystem>
#include <fstream>
#include <unistd.h>

#include "commands/command_set.h"
#include "hardware/tbc_registers.h"

namespace talvor {
namespace {

constexpr size_t kPatternBits = 4096;
constexpr uint64_t kPatternSeed = 3;

// What is checked, in order; what is not reached is listed all the same.
constexpr std::array<std::string_view, 11> kNames{
    "board file",  "library", "pod proxy", "pod",   "connection", "board keys",
    "other hosts", "target",  "pins",      "chain", "data"};

// The controller block that a process has mapped; "" when there is none, or no right to look.
std::string mapped_controller_block(const std::string& process) {
    std::ifstream maps("/proc/" + process + "/maps");
    for (std::string line; std::getline(maps, line);) {
        // The driver's name for such blocks.
        if (const size_t at = line.find("/dev/shm/JTI-"); at != std::string::npos) {
            return line.substr(at);
        }
    }
    return "";
}

// Another process that has `block` mapped; "" when there is none.
std::string other_host(const std::string& block) {
    const std::string self = fmt::format("{}", getpid());
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string process = entry.path().filename().string();
        if (process != self && process.find_first_not_of("0123456789") == std::string::npos &&
            mapped_controller_block(process) == block) {
            return process;
        }
    }
    return "";
}

class Doctor {
public:
    explicit Doctor(Context& context) : context_(context), out_(context.out) {}

    Status run() {
        Status status = examine();
        if (!status) {
            wrong(status.error());
        }
        for (; next_ < kNames.size(); ++next_) {
            add("-", Tone::Faint, "not checked", "skipped");
        }
        out_.result(Json{{"healthy", status.ok()}, {"checks", std::move(json_)}});
        if (!status) {
            // With --json the document has been printed.
            out_.line("");
            context_.out.set_json(false);
            return status;
        }
        return {};
    }

private:
    Status examine() {
        for (const auto check :
             {&Doctor::board_file, &Doctor::library, &Doctor::proxy, &Doctor::pod,
              &Doctor::connection, &Doctor::board_keys, &Doctor::other_hosts, &Doctor::target,
              &Doctor::pins, &Doctor::chain, &Doctor::data}) {
            if (Status status = (this->*check)(); !status) {
                return status;
            }
        }
        return {};
    }

    void add(std::string_view mark, Tone tone, const std::string& text, std::string_view verdict) {
        out_.line("{}  {:<11}  {}", out_.tone(tone, fmt::format("{:<5}", mark)), kNames[next_],
                  text);
        json_.push_back(Json{{"check", kNames[next_]}, {"verdict", verdict}, {"text", text}});
    }
    Status good(const std::string& text) {
        add("ok", Tone::Good, text, "ok");
        ++next_;
        return {};
    }
    // Not as it should be, but no reason to stop.
    Status odd(const std::string& text) {
        add("note", Tone::Strong, text, "note");
        ++next_;
        return {};
    }
    void wrong(const Error& error) {
        add("WRONG", Tone::Bad, headline(error), "wrong");
        ++next_;
    }

    Status board_file() {
        const Result<SessionOptions> options = context_.session_options();
        if (!options) {
            return options.error();
        }
        Result<Board> board = load_board(*options);
        if (!board) {
            return std::move(board).error();
        }
        board_ = std::move(*board);
        if (!context_.options.board) {
            return good("none given; the pod's own defaults are used");
        }
        return good(
            fmt::format("{}: {} keys for the driver", board_.name, board_.keys.keys().size()));
    }

    Status library() {
        const Result<Library> loaded = context_.library();
        if (!loaded) {
            return loaded.error();
        }
        const Result<LibraryDescription> about = loaded->description();
        if (!about) {
            return about.error();
        }
        return good(fmt::format("{}, built {}", loaded->path(), about->built));
    }

    Status proxy() {
        if (Status status = context_.start_simulator(); !status) {
            return status;
        }
        Result<DeviceTable> table = living_proxy();
        if (!table) {
            return std::move(table).error();
        }
        table_ = std::move(*table);
        const ProxyState state = proxy_state();
        if (context_.options.simulate) {
            return good("a simulated one, started for this command");
        }
        return good(state.process ? fmt::format("running, process {}", *state.process)
                                  : "running, as far as can be seen: it keeps no lock");
    }

    Status pod() {
        const Result<SessionOptions> options = context_.session_options();
        if (!options) {
            return options.error();
        }
        const Result<PodRecord> record = complete_board(board_, table_, *options);
        if (!record) {
            return record.error();
        }
        return good(fmt::format("serial {}, revision {}, block {}", record->serial,
                                revision_text(record->revision), record->block_name));
    }

    Status connection() {
        const Result<Session*> session = context_.session();
        if (!session) {
            return session.error();
        }
        session_ = *session;
        return good(fmt::format("connected, loop-back test passed, test clock {}",
                                frequency_text(static_cast<double>(session_->port().hertz()))));
    }

    Status board_keys() {
        std::string names;
        for (const Key& key : session_->pod().configuration().unread()) {
            // Only what a person wrote: the completed ones have no line.
            if (key.line != 0) {
                names +=
                    fmt::format("{}{} (line {})", names.empty() ? "" : ", ", key.name, key.line);
            }
        }
        return names.empty() ? good("every key was read by the driver")
                             : odd("never read, misspelt or without effect: " + names);
    }

    Status other_hosts() {
        if (session_->pod().first()) {
            return good("none is connected");
        }
        const std::string block = mapped_controller_block("self");
        if (const std::string process = other_host(block); !process.empty()) {
            return odd(
                fmt::format("connected, too: process {}; the pod is as it left it", process));
        }
        return Error{
            ErrorKind::Pod, 0, "controller block",
            fmt::format("{} was left behind by a host that ended without disconnecting", block),
            fmt::format("remove {}", block)};
    }

    Status target() {
        JSC_PodStatus seen{};
        if (Status status = session_->pod().run("reading the pod's conditions",
                                                &JSC_Interface::PodStatus, &seen);
            !status) {
            return status;
        }
        const auto lost = [](std::string thing, std::string reason, std::string next_step) {
            return Error{ErrorKind::Pod, 0, std::move(thing), std::move(reason),
                         std::move(next_step)};
        };
        if (seen.nearStatus || seen.farStatus) {
            return lost("cable",
                        seen.nearStatus ? "broken near the pod" : "broken far from the pod",
                        "check that the cable is plugged in at both ends");
        }
        if (seen.powerStatus) {
            return lost("target power", "lost", "switch the target on");
        }
        if (seen.clockStatus) {
            return lost("return clock", "lost", "check the return-clock line of the cable");
        }
        return good("cable connected, power on, clock there");
    }

    Status pins() {
        JSC_OldStatus old{};
        if (Status status =
                session_->pod().run("reading the pins", &JSC_Interface::OldStatus, &old);
            !status) {
            return status;
        }
        bool released = false;
        if (Status status =
                session_->pod().run("reading TRSTn", &JSC_Interface::StatusTrstn, &released);
            !status) {
            return status;
        }
        const std::string text = fmt::format("TRSTn {}, EMU0 {}, EMU1 {}", released ? 1 : 0,
                                             old.emuPin0 ? 1 : 0, old.emuPin1 ? 1 : 0);
        return released ? good(text) : odd(text + ": TRSTn is low, the TAPs stay reset");
    }

    Status chain() {
        Result<Chain> found = session_->discover();
        if (!found) {
            return std::move(found).error();
        }
        chain_ = std::move(*found);
        const std::string text = fmt::format("{} devices, {} instruction bits",
                                             chain_.devices.size(), chain_.instruction_bits());
        return chain_.lengths_known
                   ? good(text)
                   : odd(text +
                         "; the instruction lengths are ambiguous, 'talvor chain' says more");
    }

    Status data() {
        if (Status status = check_chain(session_->port(), chain_, kPatternBits, kPatternSeed);
            !status) {
            Error error = std::move(status).error();
            if (error.next_step.empty()) {
                error.next_step = "try a slower clock with 'talvor tclk search', and 'talvor link "
                                  "find'";
            }
            return error;
        }
        return good(fmt::format("{} random bits came back right through BYPASS", kPatternBits));
    }

    Context& context_;
    const Output& out_;
    Board board_;
    DeviceTable table_;
    Session* session_ = nullptr;
    Chain chain_;
    size_t next_ = 0;
    Json json_ = Json::array();
};

Status doctor(Context& context) {
    return Doctor(context).run();
}

} // namespace

void add_doctor(CommandSet& commands) {
    commands.add("doctor", "Check everything between board file and target (resets the TAPs)",
                 doctor);
}

} // namespace talvor
