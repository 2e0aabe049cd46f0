// Lists the devices of a scan chain, with the pieces that talvor itself is made of.
//
//   list_chain [BOARD-FILE]      against the pod proxy that runs on this machine
//
// The session does what every host has to do: it reads the board file, loads the library, looks the
// pod up, creates a handle and connects it. The chain search only knows a JTAG port.
#include <cstdio>
#include <cstdlib>

#include "session/session.h"

namespace {

int fail(const talvor::Error& error) {
    std::fprintf(stderr, "list_chain: %s\n", talvor::headline(error).c_str());
    return error.exit_status();
}

} // namespace

int main(int argc, char** argv) {
    talvor::SessionOptions options;
    if (argc > 1) {
        options.board = argv[1];
    }
    // Called when the proxy dies while the driver waits for it: nothing can be cleaned up then.
    options.lost = [](const talvor::Error& error) { std::_Exit(fail(error)); };

    const auto session = talvor::Session::open(options);
    if (!session) {
        return fail(session.error());
    }
    const talvor::Result<talvor::Chain> chain = (*session)->discover();
    if (!chain) {
        return fail(chain.error());
    }
    for (const talvor::ChainDevice& device : chain->devices) {
        if (device.idcode) {
            std::printf("0x%08X", device.idcode->value);
        } else {
            std::printf("no IDCODE");
        }
        std::printf(", %u instruction bits%s%s\n", device.instruction_bits,
                    device.name.empty() ? "" : ", ", device.name.c_str());
    }
    return 0;
}
