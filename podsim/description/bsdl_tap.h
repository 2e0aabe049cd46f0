// A TAP that a BSDL file describes.
#pragma once

#include "common/toml_reader.h"
#include "podsim/model/chain_description.h"

#include <string>

namespace talvor::podsim::description {

// Reads a TAP with the key `bsdl`, whose file is looked for in `folder` ("": the working folder).
// What is wrong goes to the reader's errors.
[[nodiscard]] DeviceDescription read_bsdl_tap(const TomlReader& reader, const std::string& folder);

} // namespace talvor::podsim::description
