// talvor doctor: looks at everything between the board file and the target, in the order in which
// one thing needs the other, and says what to do about the first that is wrong.
#include "common/text.h"
#include "common/time_slice.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/other_host.h"

#include <array>

namespace talvor {
namespace {

constexpr size_t kPatternBits = 4096;
constexpr uint64_t kPatternSeed = 3;

// What is checked, in order; what is not reached is listed all the same.
constexpr std::array<std::string_view, 12> kNames{
    "board file", "library",     "time slice", "pod proxy", "pod",   "connection",
    "board keys", "other hosts", "target",     "pins",      "chain", "data"};

class Doctor {
public:
    explicit Doctor(Context& context) : context_(context), out_(context.out) {}

    Status run() {
        const Status examined = examine();
        if (!examined) {
            wrong(examined.error());
        }
        for (; next_ < kNames.size(); ++next_) {
            add("-", Tone::Faint, "not checked", "skipped");
        }
        Json document{{"healthy", examined.has_value()}, {"checks", std::move(json_)}};
        if (!examined) {
            document["error"] = to_json(examined.error());
        }
        out_.result(document);
        if (!examined) {
            // With --json the document has been printed.
            out_.line("");
            context_.out.set_json(false);
        }
        return examined;
    }

private:
    Status examine() {
        for (const auto check :
             {&Doctor::board_file, &Doctor::library, &Doctor::slice, &Doctor::proxy, &Doctor::pod,
              &Doctor::connection, &Doctor::board_keys, &Doctor::other_hosts, &Doctor::target,
              &Doctor::pins, &Doctor::chain, &Doctor::data}) {
            TRY((this->*check)());
        }
        return {};
    }

    // The check in the document.
    Json& add(std::string_view mark, Tone tone, const std::string& text, std::string_view verdict) {
        out_.line("{}  {:<11}  {}", out_.tone(tone, fmt::format("{:<5}", mark)), kNames[next_],
                  text);
        return json_.push_back(
            Json{{"check", kNames[next_]}, {"verdict", verdict}, {"text", text}});
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
        Json& check = add("WRONG", Tone::Bad, headline(error), "wrong");
        if (!error.next_step.empty()) {
            check["next_step"] = error.next_step;
        }
        ++next_;
    }

    Status board_file() {
        board_ = TRY(load_board(TRY(context_.session_options())));
        const FoundBoard& found = context_.board();
        if (!found.path) {
            return good("none given; the pod's own defaults are used");
        }
        return good(fmt::format("{}: {} for the driver; {}", board_.name,
                                count_text(board_.keys.keys().size(), "key"),
                                source_text(found.source)));
    }

    Status library() {
        const Library loaded = TRY(context_.library());
        const LibraryDescription about = TRY(loaded.description());
        return good(fmt::format("{}, built {}", loaded.path(), about.built));
    }

    // The program asked for a short one when it began.
    Status slice() {
        return time_slice() == kShortTimeSlice
                   ? good(fmt::format("{} us, so that a busy machine keeps no exchange waiting",
                                      kShortTimeSlice / std::chrono::microseconds(1)))
                   : odd("as long as any other's: this kernel gives no short ones (Linux 6.12 "
                         "does), and a busy machine slows every exchange");
    }

    Status proxy() {
        TRY(context_.start_simulator());
        table_ = TRY(living_proxy());
        const ProxyState state = proxy_state();
        if (context_.options.simulate) {
            return good("a simulated one, started for this command");
        }
        return good(state.process ? fmt::format("running, process {}", *state.process)
                                  : "running, as far as can be seen: it keeps no lock");
    }

    Status pod() {
        const SessionOptions options = TRY(context_.session_options());
        const PodRecord record = TRY(complete_board(board_, table_, options));
        return good(fmt::format("serial {}, revision {}, block {}", record.serial,
                                revision_text(record.revision), record.block_name));
    }

    Status connection() {
        session_ = TRY(context_.session());
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
        const auto block = mapped_controller_block("self").value_or(MappedBlock{});
        if (const std::string process = other_host(block); !process.empty()) {
            return odd(
                fmt::format("connected, too: process {}; the pod is as it left it", process));
        }
        return pod_error(
            "controller block",
            fmt::format("{} was left behind by a host that ended without disconnecting",
                        block.path),
            fmt::format("remove {}", block.path));
    }

    Status target() {
        JSC_PodStatus seen{};
        TRY(session_->pod().run("reading the pod's conditions", &JSC_Interface::PodStatus, &seen));
        if (seen.nearStatus || seen.farStatus) {
            return pod_error("cable",
                             seen.nearStatus ? "broken near the pod" : "broken far from the pod",
                             "check that the cable is plugged in at both ends");
        }
        if (seen.powerStatus) {
            return pod_error("target power", "lost", "switch the target on");
        }
        if (seen.clockStatus) {
            return pod_error("return clock", "lost", "check the return-clock line of the cable");
        }
        return good("cable connected, power on, clock there");
    }

    Status pins() {
        JSC_OldStatus old{};
        TRY(session_->pod().run("reading the pins", &JSC_Interface::OldStatus, &old));
        bool released = false;
        TRY(session_->pod().run("reading TRSTn", &JSC_Interface::StatusTrstn, &released));
        const std::string text = fmt::format("TRSTn {}, EMU0 {}, EMU1 {}", released ? 1 : 0,
                                             old.emuPin0 ? 1 : 0, old.emuPin1 ? 1 : 0);
        return released ? good(text) : odd(text + ": TRSTn is low, the TAPs stay reset");
    }

    Status chain() {
        chain_ = TRY(session_->discover());
        const std::string text =
            fmt::format("{}, {}", count_text(chain_.devices.size(), "device"),
                        count_text(chain_.instruction_bits(), "instruction bit"));
        return chain_.lengths_known
                   ? good(text)
                   : odd(text +
                         "; the instruction lengths are ambiguous, 'talvor chain' says more");
    }

    Status data() {
        Status answered = check_chain(session_->port(), chain_, kPatternBits, kPatternSeed);
        if (answered) {
            return good(fmt::format("{} random bits came back right through BYPASS", kPatternBits));
        }
        Error error = std::move(answered).error();
        if (error.next_step.empty()) {
            error.next_step =
                "try a slower clock with 'talvor tclk search', and 'talvor link find'";
        }
        return Failure(std::move(error));
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

void add_doctor(Command& program) {
    program.command("doctor", "Check everything between board file and target (resets the TAPs)",
                    doctor);
}

} // namespace talvor
