// What the programs speak that simulate a target for us.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace talvor::podsim {

enum class TargetProtocol : uint8_t { RemoteBitbang, Xvc, JtagVpi };

struct TargetProtocolName {
    std::string_view name;
    TargetProtocol protocol;
};
inline constexpr std::array<TargetProtocolName, 3> kTargetProtocols{{
    {"remote_bitbang", TargetProtocol::RemoteBitbang},
    {"xvc", TargetProtocol::Xvc},
    {"jtag_vpi", TargetProtocol::JtagVpi},
}};

} // namespace talvor::podsim
