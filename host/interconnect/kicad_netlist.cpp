#include "host/interconnect/kicad_netlist.h"

#include "host/interconnect/s_expression.h"

#include <fmt/format.h>

#include <utility>

namespace talvor::interconnect {
namespace {

using Kind = SToken::Kind;

constexpr const char* kExportAgain =
    "export it from the schematic editor: File, Export, Netlist, in the format KiCad";

class Reader {
public:
    Reader(std::string_view text, const std::string& name) : lexer_(text, name) {
        netlist_.file = name;
        netlist_.package_pins = true;
    }

    Result<Netlist> read() {
        TRY(open("export"));
        TRY(each([this](const SToken& head) -> Status {
            return head.text == "nets" ? read_nets(head) : lexer_.skip_list();
        }));
        const SToken behind = TRY(lexer_.next());
        if (behind.kind != Kind::End) {
            return lexer_.error(behind, "expected the end of the file");
        }
        if (!seen_nets_) {
            return file_error(netlist_.file, "has no list of nets", kExportAgain);
        }
        return std::move(netlist_);
    }

private:
    // "(NAME"
    Status open(std::string_view name) {
        const SToken mark = TRY(lexer_.next());
        const SToken head = mark.kind == Kind::Open ? TRY(lexer_.next()) : mark;
        if (mark.kind != Kind::Open || head.kind != Kind::Word || head.text != name) {
            return lexer_.error(head, fmt::format("expected ({} ...", name), kExportAgain);
        }
        return {};
    }

    // To the end of a list, and `take` with the head of each list in it, which it reads to its end.
    template <typename Take>
    Status each(Take take) {
        for (;;) {
            const SToken token = TRY(lexer_.next());
            if (token.kind == Kind::Close || token.kind == Kind::End) {
                return {};
            }
            if (token.kind == Kind::Word) {
                continue; // a value of the list itself
            }
            const SToken head = TRY(lexer_.next());
            if (head.kind != Kind::Word) {
                return lexer_.error(head, "expected the name of a list");
            }
            TRY(take(head));
        }
    }

    // The rest of "(name VALUE)".
    Result<std::string> value(const SToken& head) {
        SToken word = TRY(lexer_.next());
        if (word.kind != Kind::Word) {
            return lexer_.error(word, fmt::format("expected the value of ({} ...)", head.text));
        }
        TRY(lexer_.skip_list());
        return std::move(word.text);
    }

    Status read_nets(const SToken& nets) {
        if (std::exchange(seen_nets_, true)) {
            return lexer_.error(nets, "a second list of nets");
        }
        return each([this](const SToken& head) -> Status {
            return head.text == "net" ? read_net(head) : lexer_.skip_list();
        });
    }

    Status read_net(const SToken& at) {
        Net net;
        net.line = at.line;
        std::string code;
        TRY(each([&](const SToken& head) -> Status {
            if (head.text == "name") {
                net.name = TRY(value(head));
            } else if (head.text == "code") {
                code = TRY(value(head));
            } else if (head.text == "node") {
                net.pins.push_back(TRY(read_node(head)));
            } else {
                TRY(lexer_.skip_list());
            }
            return {};
        }));
        if (net.name.empty()) {
            net.name = "net " + code; // as older versions write nets that nobody named
        }
        pins_ += net.pins.size();
        netlist_.nets.push_back(std::move(net));
        if (netlist_.nets.size() > kMostNets || pins_ > kMostPins) {
            return lexer_.error(at,
                                fmt::format("more than {} nets or {} pins", kMostNets, kMostPins));
        }
        return {};
    }

    Result<NetPin> read_node(const SToken& at) {
        NetPin pin;
        pin.line = at.line;
        TRY(each([&](const SToken& head) -> Status {
            if (head.text == "ref") {
                pin.part = TRY(value(head));
            } else if (head.text == "pin") {
                pin.pin = TRY(value(head));
            } else {
                TRY(lexer_.skip_list());
            }
            return {};
        }));
        if (pin.part.empty() || pin.pin.empty()) {
            return lexer_.error(at, "expected (node (ref ...) (pin ...))", kExportAgain);
        }
        return pin;
    }

    SLexer lexer_;
    Netlist netlist_;
    size_t pins_ = 0;
    bool seen_nets_ = false;
};

} // namespace

Result<Netlist> parse_kicad_netlist(std::string_view text, const std::string& name) {
    return Reader(text, name).read();
}

} // namespace talvor::interconnect
