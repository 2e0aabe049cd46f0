// Descriptions of chains as the text that the simulator reads.
#pragma once

#include "podsim/model/chain_description.h"

#include <cstdint>
#include <string>

namespace endtoend {

// What a pod is besides its chain.
struct PodText {
    uint32_t serial = 1;
    uint16_t revision = 0x0200;
    std::string controller = "tbc";
    unsigned return_pipeline = 16;
    unsigned cable_delay = 3;
};

// A [[pod]] with its taps. Nets are left out.
std::string pod_text(const PodText& pod, const talvor::podsim::ChainDescription& chain);

// A [[pod]] with one tap: IDCODE 0x1A2B3C4D, instruction of 4 bits, a 32-bit scratch register.
std::string plain_pod_text(const PodText& pod);

} // namespace endtoend
