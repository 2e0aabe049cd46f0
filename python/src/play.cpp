#include "common/interrupt.h"
#include "host/format/format.h"
#include "host/play/performance.h"
#include "host/play/player.h"
#include "host/play/source.h"
#include "host/stapl/exit_code.h"
#include "host/stapl/playable.h"
#include "host/stapl/program_run.h"
#include "python/src/connection.h"
#include "python/src/parts.h"

#include <chrono>
#include <pybind11/stl.h>
#include <string>
#include <tuple>
#include <vector>

namespace talvor::python {
namespace {

// How often a progress callback is called, at most.
constexpr std::chrono::milliseconds kTellEvery{50};

struct PlayRequest : stapl::PlayableOptions {
    std::string path;
    std::string format; // "svf", "xsvf", "stapl"; "": the content tells
    bool check_first = true;
    bool dry_run = false;
    bool keep_going = false;
    bool reset = true;
    bool fast = false;
};

// What has come of it, for Python to take apart.
struct PlayOutcome : play::Performance {
    std::string file;
    std::string format;
    std::vector<play::Mismatch> mismatches;   // the first of them
    std::optional<stapl::ProgramRun> program; // of a file that is one
};

// Tells Python's callback how far it is. The playing thread has not the interpreter's lock.
class Teller {
public:
    explicit Teller(const py::object& callback) : callback_(callback) {}

    [[nodiscard]] play::ProgressHook hook() {
        return [this](const play::Progress& progress) { return tell(progress, false); };
    }
    // What came last is told in any case.
    void finish() {
        if (!failed_ && !told_) {
            (void)tell(last_, true);
        }
    }
    // Throws what the callback has raised.
    void raise_failure() const {
        if (failed_) {
            throw py::error_already_set(*failed_);
        }
    }
    [[nodiscard]] bool stopped() const noexcept { return stopped_; }

private:
    bool tell(const play::Progress& progress, bool at_once) {
        if (interrupt_signal() != 0) {
            return false;
        }
        const auto now = std::chrono::steady_clock::now();
        last_ = progress;
        told_ = !callback_.is_none() && (at_once || now - last_time_ >= kTellEvery);
        if (!told_) {
            return !stopped_;
        }
        last_time_ = now;
        return call(progress);
    }
    bool call(const play::Progress& progress) {
        const py::gil_scoped_acquire lock;
        try {
            const py::object wanted = callback_(
                progress.pass == play::Pass::Check ? "check" : "play", progress.bytes_done,
                progress.bytes_total, progress.line, progress.bits_shifted, progress.mismatches);
            stopped_ = wanted.is(py::bool_(false));
        } catch (py::error_already_set& error) {
            failed_.emplace(error);
            stopped_ = true;
        }
        return !stopped_;
    }

    const py::object& callback_;
    std::chrono::steady_clock::time_point last_time_{};
    play::Progress last_;
    bool told_ = true;
    bool stopped_ = false;
    std::optional<py::error_already_set> failed_;
};

Result<FileFormat> format_of(const PlayRequest& request, play::ByteSource& source) {
    if (request.format.empty()) {
        return format_by_content(source);
    }
    if (const auto named = format_called(request.format)) {
        return *named;
    }
    return usage_error(request.format, "is no format", "choose svf, xsvf or stapl");
}

play::PlayOptions play_options(const PlayRequest& request, Teller& teller, PlayOutcome& outcome) {
    play::PlayOptions how;
    how.progress = teller.hook();
    how.keep_going = request.keep_going;
    how.reset_first = request.reset;
    how.on_mismatch = [&outcome](const play::Mismatch& mismatch) {
        if (outcome.mismatches.size() < play::kListedMismatches) {
            outcome.mismatches.push_back(mismatch);
        }
    };
    return how;
}

// `program`, where the file is one, is null otherwise.
void play_steps(play::StepSource& steps, stapl::Playable* program, JtagPort& port,
                const PlayRequest& request, Teller& teller, PlayOutcome& outcome) {
    play::Performer performer(steps, outcome);
    if (request.check_first || request.dry_run) {
        if (!performer.check(teller.hook(), !request.dry_run) || request.dry_run) {
            return;
        }
    }
    if (program != nullptr) {
        program->perform(outcome.program->listener({}));
    }
    (void)performer.play(port, play_options(request, teller, outcome)); // the outcome tells
}

bool goes_on() {
    return interrupt_signal() == 0;
}

Status play_format(play::ByteSource& source, FileFormat format, JtagPort& port,
                   const PlayRequest& request, Teller& teller, PlayOutcome& outcome) {
    if (format != FileFormat::Stapl) {
        TRY(stapl::check_no_choices(request, source.name(), name_of(format)));
        const auto steps = open_steps(format, source, port, request.strict);
        play_steps(*steps, nullptr, port, request, teller, outcome);
        return {};
    }
    const auto program = TRY(stapl::Playable::open(source, port, request, goes_on));
    outcome.program.emplace();
    play_steps(program->steps(), program.get(), port, request, teller, outcome);
    program->tell(*outcome.program, outcome.played && outcome.played->complete);
    return {};
}

Result<PlayOutcome> play_file(Session& session, const PlayRequest& request, Teller& teller) {
    const auto source = TRY(play::FileSource::open(request.path));
    const FileFormat format = TRY(format_of(request, *source));
    PodPort& port = session.port();
    port.set_receive_mode(request.fast ? PodPort::ReceiveMode::Adjusted
                                       : PodPort::ReceiveMode::Exact);
    PlayOutcome outcome;
    outcome.file = source->name();
    outcome.format = name_of(format);
    TRY(play_format(*source, format, port, request, teller, outcome));
    teller.finish();
    return outcome;
}

PlayOutcome play(Connection& connection, const PlayRequest& request, const py::object& callback) {
    Teller teller(callback);
    PlayOutcome outcome = connection.use(
        Length::Long, [&](Session& session) { return play_file(session, request, teller); });
    teller.raise_failure();
    return outcome;
}

// (line, expected, got, mask, bits, differing bits, the first of them, what a person is told)
py::tuple mismatch_of(const play::Mismatch& mismatch, const std::string& file) {
    return py::make_tuple(mismatch.line, mismatch.expected.to_hex(), mismatch.got.to_hex(),
                          mismatch.mask.to_hex(), mismatch.got.size(), mismatch.differing_bits,
                          mismatch.first_bits, headline(play::to_error(mismatch, file)));
}

py::list mismatches(const PlayOutcome& outcome) {
    py::list list;
    for (const play::Mismatch& mismatch : outcome.mismatches) {
        list.append(mismatch_of(mismatch, outcome.file));
    }
    return list;
}

py::object error_of(const std::optional<Error>& error) {
    if (!error) {
        return py::none();
    }
    return py::make_tuple(static_cast<int>(error->kind), error->code, error->thing, error->reason,
                          error->next_step);
}

py::object first_error(const PlayOutcome& outcome) {
    return error_of(play::first_error(outcome, outcome.file));
}

// (key, value) of each EXPORT: a number, or the hex digits of bits and how many bits they are.
py::list exports_of(const stapl::ProgramRun& run) {
    py::list list;
    for (const stapl::ProgramRun::Export& one : run.exports) {
        if (const auto* const bits = std::get_if<Bits>(&one.value)) {
            list.append(py::make_tuple(one.key, py::make_tuple(bits->to_hex(), bits->size())));
        } else {
            list.append(py::make_tuple(one.key, std::get<int32_t>(one.value)));
        }
    }
    return list;
}

// What came of a STAPL program, or None of another file.
py::object program(const PlayOutcome& outcome) {
    if (!outcome.program) {
        return py::none();
    }
    const stapl::ProgramRun& run = *outcome.program;
    py::dict all;
    all["action"] = run.action;
    all["exit_code"] = py::none();
    all["exit_meaning"] = "";
    if (run.outcome) {
        all["exit_code"] = run.outcome->code;
        all["exit_meaning"] = stapl::meaning_of_exit(run.outcome->code);
    }
    all["printed"] = run.printed;
    all["exports"] = exports_of(run);
    all["check_open_ended"] = run.open_ended;
    return all;
}

py::list refusals(const PlayOutcome& outcome) {
    py::list list;
    if (outcome.checked) {
        for (const Error& error : outcome.checked->refusals) {
            list.append(error_of(error));
        }
    }
    return list;
}

py::list notes(const PlayOutcome& outcome) {
    py::list list;
    if (outcome.checked) {
        for (const play::Notes::Listed& one : outcome.checked->notes.list) {
            list.append(py::make_tuple(one.line, one.statement, one.note.text));
        }
    }
    return list;
}

// What was played, or, where nothing was, what was checked.
py::dict counts(const PlayOutcome& outcome) {
    play::Summary summary;
    if (outcome.played) {
        summary = outcome.played->summary;
    } else if (outcome.checked) {
        summary = outcome.checked->summary;
    }
    py::dict all;
    all["size"] = summary.bytes;
    all["lines"] = summary.lines;
    all["statements"] = summary.statements;
    all["ir_scans"] = summary.ir_scans;
    all["dr_scans"] = summary.dr_scans;
    all["ir_bits"] = summary.ir_bits;
    all["dr_bits"] = summary.dr_bits;
    all["compared_scans"] = summary.compared_scans;
    all["run_clocks"] = summary.run_clocks;
    all["mismatch_count"] = outcome.played ? outcome.played->mismatches : 0;
    all["complete"] = outcome.played && outcome.played->complete;
    all["seconds"] =
        outcome.played ? std::chrono::duration<double>(outcome.played->elapsed).count() : 0.0;
    return all;
}

} // namespace

void add_play(py::module_& module, py::class_<Connection>& connection) {
    py::class_<stapl::Choices>(module, "ProgramChoices")
        .def(py::init<>())
        .def_readwrite("action", &stapl::Choices::action)
        .def_readwrite("enable", &stapl::Choices::enable)
        .def_readwrite("disable", &stapl::Choices::disable)
        .def_readwrite("values", &stapl::Choices::values);
    py::class_<PlayRequest>(module, "PlayRequest")
        .def(py::init<>())
        .def_readwrite("path", &PlayRequest::path)
        .def_readwrite("format", &PlayRequest::format)
        .def_readwrite("check", &PlayRequest::check_first)
        .def_readwrite("dry_run", &PlayRequest::dry_run)
        .def_readwrite("keep_going", &PlayRequest::keep_going)
        .def_readwrite("reset", &PlayRequest::reset)
        .def_readwrite("fast", &PlayRequest::fast)
        .def_readwrite("strict", &PlayRequest::strict)
        .def_readwrite("choices", &PlayRequest::choices)
        .def_readwrite("ignore_crc", &PlayRequest::ignore_crc);
    py::class_<PlayOutcome>(module, "PlayOutcome")
        .def_readonly("file", &PlayOutcome::file)
        .def_readonly("format", &PlayOutcome::format)
        .def("error", first_error)
        .def("mismatches", mismatches)
        .def("refusals", refusals)
        .def("notes", notes)
        .def("counts", counts)
        .def("program", program);
    connection.def("play", play);
}

} // namespace talvor::python
