// What clients of a served pod send. The first byte chooses the protocol, the next two say where
// the rest is cut: however a stream comes in pieces, it means the same.
#include "fuzz/base/check.h"
#include "fuzz/targets.h"
#include "host/serve/jtag_vpi.h"
#include "host/serve/remote_bitbang.h"
#include "host/serve/xvc.h"
#include "tests/host/serve/bare_port.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace talvor::fuzz {
namespace {

constexpr uint8_t kProtocols = 3;
// Small, so that inputs reach the limit.
constexpr size_t kXvcBytes = 256;

std::unique_ptr<Protocol> make_protocol(uint8_t number, EdgePort& port) {
    switch (number) {
    case 0:
        return std::make_unique<Xvc>(port, kXvcBytes);
    case 1:
        return std::make_unique<RemoteBitbang>(port);
    default:
        return std::make_unique<JtagVpi>(port);
    }
}

struct Heard {
    Answer answer;
    bool over = false;
    std::optional<Error> error;
    TapState state = TapState::TestLogicReset;
};

// One more piece, behind what waits for more.
void give(Protocol& protocol, std::vector<uint8_t>& pending, Bytes piece, Heard& heard) {
    if (heard.error || heard.over) {
        return;
    }
    pending.insert(pending.end(), piece.begin(), piece.end());
    const Result<Protocol::Served> served = protocol.serve(pending, heard.answer);
    if (!served) {
        check_error(served.error(), "");
        FUZZ_CHECK(served.error().kind == ErrorKind::Refused, "the port never fails");
        heard.error = served.error();
        return;
    }
    FUZZ_CHECK(served->bytes <= pending.size(), "no more is used than there is");
    pending.erase(pending.begin(), pending.begin() + static_cast<ptrdiff_t>(served->bytes));
    heard.over = served->over;
    FUZZ_CHECK(heard.over || pending.size() < protocol.longest_request(),
               "what waits is less than a request");
}

Heard talk(uint8_t number, Bytes bytes, size_t cut) {
    BarePort port(two_devices());
    const std::unique_ptr<Protocol> protocol = make_protocol(number, port);
    std::vector<uint8_t> pending;
    Heard heard;
    give(*protocol, pending, bytes.first(cut), heard);
    give(*protocol, pending, bytes.subspan(cut), heard);
    if (!heard.error) {
        FUZZ_CHECK(protocol->idle().has_value(), "the port never fails");
    }
    heard.state = port.state();
    return heard;
}

} // namespace

void run_serve(Bytes bytes) {
    Input input(bytes);
    const uint8_t number = input.up_to(kProtocols - 1);
    const size_t place = input.half();
    const Bytes rest = input.rest();
    const Heard whole = talk(number, rest, rest.size());
    const Heard cut = talk(number, rest, rest.empty() ? 0 : place % rest.size());
    // The text may show more or less of it.
    FUZZ_CHECK(whole.error.has_value() == cut.error.has_value(), "it is as wrong in pieces");
    FUZZ_CHECK(whole.over == cut.over, "the client says the same good-bye");
    if (!whole.error) {
        FUZZ_CHECK(whole.answer == cut.answer, "it is answered the same");
        FUZZ_CHECK(whole.state == cut.state, "the TAP stands in the same state");
    }
}

} // namespace talvor::fuzz
