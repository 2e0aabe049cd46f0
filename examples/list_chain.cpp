// Lists the devices of a scan chain, with the pieces that talvor itself is made of.
//
//   list_chain [BOARD-FILE]      against the pod proxy that runs on this machine
//
// The session does what every host has to do: it reads the board file, loads the library, looks the
// pod up, creates a handle and connects it. The chain search only knows a JTAG port.
#include "host/session/session.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>

namespace {

using namespace talvor;

Status list(const SessionOptions& options) {
    const auto session = TRY(Session::open(options));
    const Chain chain = TRY(session->discover());
    for (const ChainDevice& device : chain.devices) {
        const std::string code =
            device.idcode ? fmt::format("0x{:08X}", device.idcode->value) : "no IDCODE";
        fmt::print("{}, {} instruction bits{}{}\n", code, device.instruction_bits,
                   device.name.empty() ? "" : ", ", device.name);
    }
    return {};
}

int fail(const Error& error) {
    fmt::print(stderr, "list_chain: {}\n", headline(error));
    return error.exit_status();
}

} // namespace

int main(int argc, char** argv) {
    SessionOptions options;
    if (argc > 1) {
        options.board = argv[1];
    }
    // Called when the proxy dies while the driver waits for it: nothing can be cleaned up then.
    options.lost = [](const Error& error) { std::_Exit(fail(error)); };
    const Status listed = list(options);
    return listed ? 0 : fail(listed.error());
}
