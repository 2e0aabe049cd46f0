#include "host/chain/chain.h"

#include "host/chain/device_choice.h"
#include "host/chain/part_names.h"
#include "python/src/connection.h"
#include "python/src/parts.h"

#include <pybind11/stl.h>
#include <string>
#include <tuple>
#include <vector>

namespace talvor::python {
namespace {

using Device = std::tuple<std::string, std::optional<uint32_t>, uint32_t>; // name, IDCODE, IR bits
using Names = std::tuple<std::string, std::string, std::string>; // manufacturer, part, stepping

std::vector<Device> devices(const Chain& chain) {
    std::vector<Device> list;
    for (const ChainDevice& device : chain.devices) {
        list.emplace_back(device.name,
                          device.idcode ? std::optional(device.idcode->value) : std::nullopt,
                          device.instruction_bits);
    }
    return list;
}

Chain discover(Connection& connection) {
    return connection.use(Length::Long, [](Session& session) {
        session.port().set_receive_mode(PodPort::ReceiveMode::Exact);
        return session.discover();
    });
}

// The chain as the board file has it, each device with its name and instruction length (0: not
// given).
Chain described(Connection& connection) {
    return connection.use(Length::Short, [](Session& session) -> Result<Chain> {
        Chain chain;
        for (const BoardDevice& device : session.board().devices) {
            chain.devices.push_back({device.name, std::nullopt, device.instruction_bits});
        }
        return chain;
    });
}

// What a folder in UrJTAG's format calls the device with that code.
Names part_names(const std::string& folder, uint32_t idcode) {
    const PartName found = value_of(PartNames::open(folder)).find(IdCode{idcode});
    return {found.manufacturer, found.part, found.stepping};
}

} // namespace

void add_chain(py::module_& module, py::class_<Connection>& connection) {
    py::class_<Chain>(module, "Chain")
        .def("devices", devices)
        .def_readonly("lengths_known", &Chain::lengths_known)
        .def("instruction_capture",
             [](const Chain& chain) { return chain.instruction_capture.to_hex(); })
        .def("instruction_bits", &Chain::instruction_bits);
    connection.def("discover", discover);
    connection.def("described", described);
    // The index of the device that a person means by `choice`.
    module.def("find_device", [](const std::vector<std::string>& names, const std::string& choice) {
        return value_of(find_device(names, choice));
    });
    module.def("part_names", part_names);
    module.attr("PART_FOLDER") = PartNames::kUsualFolder;
}

} // namespace talvor::python
