#include "tool/commands/serve_report.h"

#include "common/text.h"
#include "host/clock/test_clock.h"
#include "tool/commands/values.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <string_view>

namespace talvor {
namespace {

std::string place_of(const Visit& visit) {
    return fmt::format("{} {}: client {}", visit.protocol, visit.port, visit.client);
}

Json visit_json(const char* event, const Visit& visit) {
    return Json{{"event", event},
                {"protocol", visit.protocol},
                {"port", visit.port},
                {"client", visit.client}};
}

const char* path_word(ScanPath path) {
    return path == ScanPath::Ir ? "ir" : "dr";
}

// The bits that are kept of a scan; dots stand for those shifted later.
std::string shown(const Bits& bits, uint64_t count) {
    return count <= bits.size() ? hex_text(bits) : "0x..." + bits.to_hex();
}

std::string scan_text(const ClientAct& act) {
    std::string text = fmt::format("{} scan{}, {}", act.path == ScanPath::Ir ? "IR" : "DR",
                                   act.resumed ? " goes on" : "", count_text(act.count, "bit"));
    if (act.count != 0) {
        text += ", out " + shown(act.out, act.count);
    }
    if (act.answered) {
        text += ", in " + shown(act.in, act.count);
    }
    return text + fmt::format(", then {}", name_of(act.end));
}

Json scan_json(const ClientAct& act) {
    Json json{{"event", "scan"}, {"path", path_word(act.path)}, {"bits", act.count}};
    json["resumed"] = act.resumed;
    json["out"] = shown(act.out, act.count);
    json["in"] = act.answered ? Json(shown(act.in, act.count)) : Json();
    json["end"] = name_of(act.end);
    return json;
}

Json act_json(const ClientAct& act) {
    switch (act.kind) {
    case ClientAct::Kind::Scan:
        return scan_json(act);
    case ClientAct::Kind::Reset:
        return Json{{"event", "reset"}};
    case ClientAct::Kind::Idle:
        return Json{{"event", "idle"}, {"clocks", act.count}};
    case ClientAct::Kind::Trst:
        return Json{{"event", "trst"}, {"asserted", act.asserted}};
    case ClientAct::Kind::Srst:
        return Json{{"event", "srst"}, {"asserted", act.asserted}};
    case ClientAct::Kind::Clock:
        return Json{{"event", "clock"}, {"hertz", act.hertz}};
    }
    return {};
}

// Only what has happened.
template <typename Each>
void for_each_kind(const ServeReport::Counts& now, const ServeReport::Counts& before, Each each) {
    for (size_t i = 0; i < kInexactKinds; ++i) {
        if (now[i] != before[i]) {
            each(static_cast<Inexact>(i), now[i] - before[i]);
        }
    }
}

} // namespace

std::string text_of(const ClientAct& act) {
    switch (act.kind) {
    case ClientAct::Kind::Scan:
        return scan_text(act);
    case ClientAct::Kind::Reset:
        return "Test-Logic-Reset";
    case ClientAct::Kind::Idle:
        return fmt::format("Run-Test/Idle, {} more", count_text(act.count, "clock"));
    case ClientAct::Kind::Trst:
        return act.asserted ? "TRST asserted" : "TRST released";
    case ClientAct::Kind::Srst:
        return act.asserted ? "SRST asserted" : "SRST released";
    case ClientAct::Kind::Clock:
        return "test clock " + frequency_text(act.hertz);
    }
    return "";
}

void ServeReport::ready(const Server& server, uint32_t serial) const {
    std::string text = "ready";
    Json ports = Json::array();
    for (const Server::OpenPort& port : server.ports()) {
        const std::string& address = port.listener.name();
        text += fmt::format(", {} {}", port.protocol.name, address);
        ports.push_back(Json{{"protocol", port.protocol.name},
                             {"address", address},
                             {"exposed", port.listener.exposed()}});
        if (port.listener.exposed()) {
            out_.note(fmt::format("{} {} can be reached from other machines, and whoever reaches "
                                  "it drives the target: the protocol knows no password",
                                  port.protocol.name, address));
        }
    }
    out_.event(fmt::format("{}, pod {}", text, serial),
               Json{{"event", "ready"}, {"pod", serial}, {"ports", ports}});
}

void ServeReport::ended(int signal) const {
    const std::string name = signal == 0 ? "" : fmt::format("SIG{}", sigabbrev_np(signal));
    out_.event(signal == 0 ? "ended" : "ended by " + name,
               Json{{"event", "ended"}, {"signal", signal == 0 ? Json() : Json(name)}});
}

void ServeReport::act(const ClientAct& act) const {
    out_.event("  " + text_of(act), act_json(act));
}

void ServeReport::inexact(Inexact kind, const std::string& text) const {
    out_.event("  not exact: " + text,
               Json{{"event", "inexact"}, {"kind", word_of(kind)}, {"text", text}});
}

ServeReport::Counts ServeReport::counts() const {
    Counts now{};
    for (size_t i = 0; i < kInexactKinds && count_; ++i) {
        now[i] = count_(static_cast<Inexact>(i));
    }
    return now;
}

void ServeReport::came(const Visit& visit) {
    before_ = counts();
    out_.event(place_of(visit) + " came", visit_json("came", visit));
}

void ServeReport::turned_away(const Visit& visit, const Visit& served) {
    Json json = visit_json("turned_away", visit);
    json["served"] = served.client;
    out_.event(fmt::format("{} turned away: {} {} serves client {}, and the target is one",
                           place_of(visit), served.protocol, served.port, served.client),
               json);
}

void ServeReport::not_taken(const Visit& visit, const std::string& reason) {
    out_.event(fmt::format("{} {}: a client cannot be taken: {}; it is tried again until it can",
                           visit.protocol, visit.port, reason),
               Json{{"event", "not_taken"},
                    {"protocol", visit.protocol},
                    {"port", visit.port},
                    {"reason", reason}});
}

void ServeReport::left(const Visit& visit, const Departure& departure) {
    Json json = visit_json("left", visit);
    json["reason"] = departure.reason;
    json["error"] = departure.error ? to_json(*departure.error) : Json();
    json["received_bytes"] = departure.received_bytes;
    json["sent_bytes"] = departure.sent_bytes;
    std::string text = fmt::format("{} {}", place_of(visit), departure.reason);
    if (departure.error) {
        text += ": " + headline(*departure.error);
    }
    text += fmt::format("; {} received, {} sent", count_text(departure.received_bytes, "byte"),
                        departure.sent_bytes);
    Json kinds = Json(std::initializer_list<Json::Member>{});
    for_each_kind(counts(), before_, [&](Inexact kind, uint64_t count) {
        std::string words = word_of(kind);
        std::ranges::replace(words, '_', ' ');
        text += fmt::format("; not exact: {} {}", words, count);
        kinds[word_of(kind)] = count;
    });
    json["inexact"] = kinds;
    out_.event(text, json);
}

} // namespace talvor
