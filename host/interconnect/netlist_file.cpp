#include "host/interconnect/netlist_file.h"

#include "common/toml.h"
#include "host/interconnect/kicad_netlist.h"
#include "host/interconnect/toml_netlist.h"

#include <fmt/format.h>

namespace talvor::interconnect {

Result<Netlist> parse_netlist(std::string_view text, const std::string& name) {
    if (text.size() > kMostNetlistBytes) {
        return file_error(name,
                          fmt::format("has {} bytes, and a netlist has {} at most", text.size(),
                                      kMostNetlistBytes),
                          "give the netlist of one board");
    }
    constexpr std::string_view kBlanks = " \t\r\n\xEF\xBB\xBF"; // and the byte-order mark of UTF-8
    const size_t first = text.find_first_not_of(kBlanks);
    return first != std::string_view::npos && text[first] == '(' ? parse_kicad_netlist(text, name)
                                                                 : parse_toml_netlist(text, name);
}

Result<Netlist> read_netlist(const std::string& path) {
    const Result<std::string> text = read_text_file(path, kMostNetlistBytes);
    if (!text) {
        return file_error(path, text.error().reason,
                          "name a netlist: KiCad's, or one like examples/board/nets.toml");
    }
    return parse_netlist(*text, path);
}

} // namespace talvor::interconnect
