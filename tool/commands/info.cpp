// talvor info: the library, the proxy and its pods. Nothing is sent to a pod.
#include "common/text.h"
#include "host/driver/device_table.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"

namespace talvor {
namespace {

std::string life_text(const ProxyState& state) {
    switch (state.life) {
    case ProxyLife::Absent:
        return "not running; start one, or use --simulate";
    case ProxyLife::Alive:
        return state.process ? fmt::format("running, process {}", *state.process) : "running";
    case ProxyLife::Dead:
        return "has ended and left its objects behind; start it again";
    case ProxyLife::Unknown:
        return "running or ended: it keeps no lock that would tell";
    }
    return "";
}

std::string_view life_word(ProxyLife life) {
    switch (life) {
    case ProxyLife::Absent:
        return "absent";
    case ProxyLife::Alive:
        return "running";
    case ProxyLife::Dead:
        return "ended";
    case ProxyLife::Unknown:
        return "unknown";
    }
    return "";
}

Json pod_json(const PodRecord& pod) {
    return Json{{"serial", pod.serial},           {"revision", revision_text(pod.revision)},
                {"generation", pod.generation()}, {"usb_bus", pod.bus},
                {"usb_device", pod.device},       {"block", pod.block_name},
                {"block_good", pod.block_good}};
}

Json library_json(const Library& library, const LibraryDescription& about) {
    return Json{{"file", library.path()},     {"name", about.name},
                {"sentence", about.sentence}, {"interface", about.interface},
                {"package", about.package},   {"component", about.component},
                {"built", about.built},       {"copyright", about.copyright}};
}

Json board_json(const FoundBoard& board) {
    return Json{{"file", board.path ? Json(*board.path) : Json(nullptr)},
                {"source", source_word(board.source)}};
}

void print_board(const Output& out, const FoundBoard& board) {
    out.line("{}", out.tone(Tone::Strong, "Board file"));
    if (board.path) {
        out.line("  {}, {}", *board.path, source_text(board.source));
    } else {
        out.line("  none: the pod's own defaults");
    }
}

void print_library(const Output& out, const Library& library, const LibraryDescription& about) {
    out.line("{}", out.tone(Tone::Strong, "Library"));
    TextTable table({});
    table.add({"file", library.path()});
    table.add({"name", about.name});
    table.add({"is", about.sentence});
    table.add({"interface", about.interface});
    table.add({"package", about.package});
    table.add({"component", about.component});
    table.add({"built", about.built});
    out.table(table);
}

void print_pods(const Output& out, const ProxyState& state, const DeviceTable* pods) {
    out.line("{}", out.tone(Tone::Strong, "Pod proxy"));
    out.line("  {}", life_text(state));
    if (pods == nullptr) {
        return;
    }
    out.line("{}", out.tone(Tone::Strong, "Pods"));
    if (pods->pods.empty()) {
        out.line("  none is attached");
        return;
    }
    TextTable table({"serial", "revision", "generation", "USB", "block"});
    for (const PodRecord& pod : pods->pods) {
        table.add({fmt::format("{}", pod.serial), revision_text(pod.revision),
                   fmt::format("{}", pod.generation()),
                   fmt::format("bus {} device {}", pod.bus, pod.device),
                   pod.block_good ? pod.block_name : pod.block_name + " (damaged)"});
    }
    out.table(table);
}

Json document_of(const Library& library, const LibraryDescription& about, const ProxyState& state,
                 const DeviceTable* table, const FoundBoard& board) {
    Json proxy{{"state", life_word(state.life)}};
    if (state.process) {
        proxy["process"] = *state.process;
    }
    Json pods = Json::array();
    if (table != nullptr) {
        for (const PodRecord& pod : table->pods) {
            pods.push_back(pod_json(pod));
        }
    }
    return Json{{"board", board_json(board)},
                {"library", library_json(library, about)},
                {"proxy", std::move(proxy)},
                {"pods", std::move(pods)}};
}

Status info(Context& context) {
    TRY(context.start_simulator());
    const Library library = TRY(context.library());
    const LibraryDescription about = TRY(library.description());
    const ProxyState state = proxy_state();
    const Result<DeviceTable> table = read_device_table();
    // A proxy that is there and cannot be read is an error, one that is not there is an answer.
    if (!table && state.life != ProxyLife::Absent) {
        return Failure(table.error());
    }
    const DeviceTable* const pods = table ? &*table : nullptr;
    print_board(context.out, context.board());
    print_library(context.out, library, about);
    print_pods(context.out, state, pods);
    context.out.result(document_of(library, about, state, pods, context.board()));
    return {};
}

} // namespace

void add_info(Command& program) {
    Command command = program.command("info", "Show the library, the pod proxy and its pods", info);
    command.makes_no_use_of(pod_options());
}

} // namespace talvor
