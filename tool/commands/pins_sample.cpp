// talvor pins, talvor pins get: samples, once or again and again, shown, drawn or recorded.
#include "common/interrupt.h"
#include "common/text.h"
#include "host/boundary/sample_record.h"
#include "tool/commands/compliance.h"
#include "tool/commands/context.h"
#include "tool/commands/pin_chain.h"
#include "tool/commands/pin_list.h"
#include "tool/commands/pins.h"
#include "tool/commands/values.h"
#include "tool/output/refreshed_text.h"
#include "tool/output/standard_streams.h"
#include "tool/output/terminal.h"
#include "tool/output/text_file.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>
#include <vector>

namespace talvor {
namespace {

using Clock = std::chrono::steady_clock;
using boundary::Access;
using boundary::Member;

constexpr double kRecordSeconds = 0.05; // from sample to sample of a record

Status sample(Access& access, std::vector<PinRow>& rows) {
    boundary::Images samples;
    TRY(access.sample(samples));
    enter_levels(access.members(), samples, rows);
    return {};
}

// The samples of rows as a value change dump.
class Recorder {
public:
    // "" writes nothing.
    static Result<Recorder> create(const std::string& path, const std::vector<Member>& members,
                                   const std::vector<PinRow>& rows) {
        Recorder recorder;
        if (!path.empty()) {
            recorder.record_.emplace(modules(members, rows));
            recorder.file_.emplace(TRY(TextFile::create(path)));
            TRY(recorder.file_->add(recorder.record_->header()));
        }
        return recorder;
    }

    Status add(Clock::duration time, const std::vector<PinRow>& rows) {
        if (!record_) {
            return {};
        }
        levels_.clear();
        for (const PinRow& row : rows) {
            levels_.push_back(!row.level                            ? 'x'
                              : *row.level == boundary::Level::Z    ? 'z'
                              : *row.level == boundary::Level::High ? '1'
                                                                    : '0');
        }
        last_us_ = static_cast<uint64_t>(
            std::chrono::duration_cast<std::chrono::microseconds>(time).count());
        return file_->add(record_->add(last_us_, levels_));
    }
    Status close() {
        if (!record_) {
            return {};
        }
        TRY(file_->add(boundary::SampleRecord::end(last_us_ + 1)));
        return file_->close();
    }

private:
    static std::vector<boundary::SampleRecord::Module> modules(const std::vector<Member>& members,
                                                               const std::vector<PinRow>& rows) {
        std::vector<boundary::SampleRecord::Module> list;
        std::optional<size_t> device;
        for (const PinRow& row : rows) {
            if (device != row.address.device) {
                device = row.address.device;
                list.push_back({members[*device].name, {}});
            }
            list.back().signals.push_back(members[*device].plan->name_of(row.address.signal));
        }
        return list;
    }

    std::optional<boundary::SampleRecord> record_;
    std::optional<TextFile> file_;
    std::vector<char> levels_;
    uint64_t last_us_ = 0;
};

// Shows one sample after the other.
class Watch {
public:
    Watch(const Output& out, const std::vector<Member>& members, bool shown)
        : out_(out), members_(members), shown_(shown), text_(out.terminal()) {}

    void show(std::vector<PinRow>& rows, Clock::duration time) {
        if (std::exchange(first_, false)) {
            for (PinRow& row : rows) {
                row.changed = false;
            }
            show_all(rows);
            show_document(rows, time, true);
            return;
        }
        if (out_.terminal()) {
            show_all(rows);
        } else {
            show_changes(rows, time);
        }
        show_document(rows, time, false);
    }

private:
    void show_all(const std::vector<PinRow>& rows) {
        if (shown_ && !out_.json()) {
            text_.show(pin_block(out_, members_, rows, terminal_width(),
                                 out_.terminal() ? terminal_height() - 1 : SIZE_MAX));
        }
    }
    void show_changes(const std::vector<PinRow>& rows, Clock::duration time) const {
        const double seconds = std::chrono::duration<double>(time).count();
        for (const PinRow& row : rows) {
            if (row.changed && shown_) {
                out_.line("{:9.3f} s  {} {}", seconds, pin_text(members_, row.address),
                          level_text(row.level));
            }
        }
    }
    void show_document(const std::vector<PinRow>& rows, Clock::duration time, bool all) const {
        if (!out_.json() || !shown_) {
            return;
        }
        Json pins = Json::array();
        for (const PinRow& row : rows) {
            if (all || row.changed) {
                pins.push_back(level_json(members_, row));
            }
        }
        out_.result(Json{{"seconds", std::chrono::duration<double>(time).count()},
                         {all ? "pins" : "changed", std::move(pins)}});
    }

    const Output& out_;
    const std::vector<Member>& members_;
    bool shown_;
    bool first_ = true;
    RefreshedText text_;
};

// Whether somebody has asked for the end, which is how work without an end of its own is ended.
bool is_asked_for() {
    return interrupt_signal() != 0 && !time_is_over();
}

// Samples until it has so many, nobody reads any more, or a signal asks for the end. The time of
// the n-th is n periods after the first, whatever the samples themselves take.
template <typename Take>
Result<uint32_t> repeat(const PinsOptions& options, double seconds, Take take) {
    const auto period = duration_of(seconds);
    const Clock::time_point start = Clock::now();
    Clock::time_point due = start;
    uint32_t taken = 0;
    for (; options.count == 0 || taken < options.count; ++taken) {
        sleep_unless_interrupted(due - Clock::now());
        const Clock::time_point now = Clock::now();
        Status done = check_interrupt();
        if (done) {
            done = take(now - start);
        }
        if (is_asked_for()) {
            return taken;
        }
        TRY(std::move(done));
        if (!flush_output()) {
            return taken; // nobody can see any more; the end of the program tells it
        }
        due = std::max(due + period, now); // what is late is not made up for
    }
    return taken;
}

Status draw(Context& context, const std::string& path, const std::vector<Member>& members,
            const std::vector<PinRow>& rows) {
    std::optional<size_t> device;
    for (size_t i = 0; i < members.size(); ++i) {
        if (members[i].plan && device) {
            return usage_error("--svg",
                               "several devices have descriptions, and a picture has room "
                               "for one package",
                               "say which, as in --device " + members[i].name);
        }
        if (members[i].plan) {
            device = i;
        }
    }
    TRY(write_text_file(path, boundary::to_svg(package_of(members, *device, rows))));
    context.out.note("wrote " + path);
    return {};
}

Status show_again_and_again(Context& context, Access& access, std::vector<PinRow>& rows,
                            const PinsOptions& options) {
    const bool watched = options.watch_seconds > 0;
    Recorder recorder = TRY(Recorder::create(options.vcd, access.members(), rows));
    Watch watch(context.out, access.members(), watched);
    context.out.set_json_lines(watched);
    const auto taken = repeat(options, watched ? options.watch_seconds : kRecordSeconds,
                              [&](Clock::duration time) -> Status {
                                  TRY(sample(access, rows));
                                  TRY(recorder.add(time, rows));
                                  watch.show(rows, time);
                                  return {};
                              });
    TRY(recorder.close());
    const uint32_t samples = TRY(taken);
    if (!options.vcd.empty()) {
        const std::string text = fmt::format("{} of {} in {}", count_text(samples, "sample"),
                                             count_text(rows.size(), "pin"), options.vcd);
        context.out.note(text);
        if (!watched) {
            context.out.result(
                Json{{"file", options.vcd}, {"samples", samples}, {"pins", rows.size()}});
        }
    }
    return {};
}

Status show_once(Context& context, Access& access, std::vector<PinRow>& rows) {
    TRY(sample(access, rows));
    print_pins(context.out, access.members(), rows);
    context.out.result(pins_json(access.members(), rows));
    return {};
}

Status list_with(Context& context, Access& access, const PinsOptions& options) {
    std::vector<PinRow> rows = pin_rows(access.members(), options.filter);
    if (rows.empty()) {
        return usage_error("--filter " + options.filter, "no pin fits it",
                           "'talvor pins' lists all");
    }
    const bool again = options.watch_seconds > 0 || !options.vcd.empty();
    TRY(again ? show_again_and_again(context, access, rows, options)
              : show_once(context, access, rows));
    if (options.svg.empty()) {
        return {};
    }
    // A picture shows all pins, whatever was listed.
    std::vector<PinRow> all = pin_rows(access.members(), "");
    TRY(sample(access, all));
    return draw(context, options.svg, access.members(), all);
}

} // namespace

Status list_pins(Context& context, const PinsOptions& options) {
    if (options.count != 0 && options.watch_seconds <= 0 && options.vcd.empty()) {
        return usage_error("--count", "has no effect without --watch or --vcd");
    }
    PinChain chain = TRY(find_pin_chain(context, options.device, PinUse::Listen));
    show_compliance(context, chain.members);
    Access access(chain.session->port(), std::move(chain.members));
    return leave_samples(access, list_with(context, access, options));
}

Status get_pins(Context& context, const PinsOptions& options) {
    PinChain chain = TRY(find_pin_chain(context, options.device, PinUse::Listen));
    std::vector<PinRow> rows;
    for (const std::string& name : options.pins) {
        rows.push_back({TRY(find_pin(chain.members, name)), std::nullopt, false});
        const PinAddress address = rows.back().address;
        if (chain.members[address.device].plan->find(address.signal) == nullptr) {
            return refused_error(pin_text(chain.members, address),
                                 "no cell of the boundary register reaches this pin",
                                 "'talvor pins' lists those that one does");
        }
    }
    show_compliance(context, chain.members);
    Access access(chain.session->port(), std::move(chain.members));
    TRY(leave_samples(access, sample(access, rows)));
    Json pins = Json::array();
    for (const PinRow& row : rows) {
        context.out.line("{}={}", pin_text(access.members(), row.address), level_text(row.level));
        pins.push_back(level_json(access.members(), row));
    }
    context.out.result(Json{{"pins", std::move(pins)}});
    return {};
}

} // namespace talvor
