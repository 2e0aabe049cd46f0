// A server of a target, whose clients come from another process.
#pragma once

#include "scenario.h"

#include <string>

namespace torture {

// Makes the process of the clients, before calls fail. It visits each port until it has an answer,
// three times at most, and then asks for the end.
void begin_serving_clients(const std::string& folder);
// Serves them; done when each port has answered.
Ending serve_clients(const std::string& folder);

} // namespace torture
