// The client of external targets: what a server answers. The input: a byte of options, a byte for
// the number of operations, three bytes for each operation, and the bytes that the server answers.
// remote_bitbang is spoken through a socket, the protocols of vectors without one.
#include "common/temporary.h"
#include "fuzz/base/check.h"
#include "fuzz/targets.h"
#include "podsim/external/external_target.h"
#include "podsim/external/protocol_choice.h"

#include <array>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

namespace talvor::fuzz {
namespace {

using podsim::TargetProtocol;
using podsim::external::ExternalTarget;
using podsim::external::Options;
using podsim::external::Protocol;

constexpr uint8_t kMostOperations = 8;
constexpr unsigned kMostBits = 1500; // of one shift
constexpr size_t kMostAnswers = 8192;
constexpr unsigned kOptionSilent = 1; // the server goes silent behind its answers; else it closes
constexpr unsigned kOptionResets = 2;
constexpr unsigned kOptionQuit = 4;
constexpr unsigned kOptionXvc = 8;
constexpr unsigned kOptionJtagVpi = 16;

// A listener that never answers to a request: what it answers stands there before it is asked for,
// so that nothing has to run beside the client.
class Server {
public:
    Server() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof(address.sun_path) - 1);
        FUZZ_CHECK(bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address),
                        sizeof address) == 0 &&
                       listen(listener_.get(), kMostOperations) == 0,
                   std::string("a socket can be made: ") + std::strerror(errno));
    }

    const std::string& path() const { return path_; }

    void answer(Bytes answers, bool close_behind) {
        client_ = FileDescriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        FUZZ_CHECK(client_.is_open(), "a client has come");
        (void)send(client_.get(), answers.data(), answers.size(), MSG_NOSIGNAL);
        if (close_behind) {
            (void)shutdown(client_.get(), SHUT_WR);
        }
    }

    // What the client has sent so far, on its first connection.
    std::string requests() {
        std::string text;
        std::array<char, 4096> bytes{};
        for (ssize_t count = 1; count > 0;) {
            count = recv(client_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
            text.append(bytes.data(), static_cast<size_t>(std::max<ssize_t>(count, 0)));
        }
        return text;
    }

private:
    Result<TemporaryFolder> folder_ = TemporaryFolder::create();
    std::string path_ = folder_->path() + "/target";
    FileDescriptor listener_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    FileDescriptor client_;
};

// What the server has seen, byte by byte.
struct Wire {
    int pins = -1;
    std::vector<bool> tdi; // when TDO was asked for
    std::string resets;
    size_t quits = 0;

    void take(char byte) {
        if (byte >= '0' && byte <= '7') {
            FUZZ_CHECK(byte - '0' != pins, "no byte is sent that changes no pin");
            pins = byte - '0';
        } else if (byte == 'R') {
            FUZZ_CHECK(pins >= 0 && (pins & 4) == 0, "TDO is asked for while TCK is low");
            tdi.push_back((pins & 1) != 0);
        } else if (byte == 'Q') {
            ++quits;
        } else {
            FUZZ_CHECK(byte >= 'r' && byte <= 'u', "only requests are sent");
            resets += byte;
        }
    }
};

class Session {
public:
    explicit Session(Input& input) : options_(input.byte()) {
        operations_ = input.take(size_t{3} * input.up_to(kMostOperations));
        answers_ = input.take(kMostAnswers);
        Options options{.address = server_.path()};
        options.send_resets = (options_ & kOptionResets) != 0;
        options.patience = std::chrono::milliseconds(1);
        options.quit = (options_ & kOptionQuit) != 0;
        auto client = ExternalTarget::connect(options);
        FUZZ_CHECK(client.has_value(), "a server that listens is reached");
        client_ = *std::move(client);
        server_.answer(answers_, (options_ & kOptionSilent) == 0);
    }

    void run() {
        for (Input steps(operations_); !steps.empty() && !again_;) {
            const uint8_t kind = steps.byte();
            step(kind, steps.half());
        }
        client_.reset();
        check_wire();
    }

private:
    void step(uint8_t kind, uint16_t argument) {
        switch (kind % 6) {
        case 0:
        case 1:
            return shift(argument % kMostBits + 1U, (kind & 0x80U) != 0);
        case 2:
            return expect(client_->move(argument, argument % 64 + 1U, (kind & 0x80U) != 0));
        case 3:
            return expect(client_->pulse_trst());
        case 4:
            return expect(client_->set_reset((argument & 1U) != 0));
        default:
            // A lost server is asked anew, and this time nothing stands there.
            again_ = !lost_.empty();
            FUZZ_CHECK(client_->power_on().has_value(), "power-on reaches the server again");
        }
    }

    // Without answers to wait for an operation fails only when the server was lost before.
    void expect(const Status& status) {
        FUZZ_CHECK(status.has_value() == lost_.empty(), "a server is lost until power-on");
        if (!status) {
            FUZZ_CHECK(status.error().reason == lost_, "a lost server stays lost for one reason");
        }
    }

    void shift(unsigned bits, bool leave) {
        std::vector<uint64_t> tdi((bits + 63U) / 64, 0x5A3C'9F01'77E2'4D18U * (bits | 1U));
        std::vector<uint64_t> tdo(tdi.size());
        const Status status = client_->shift(tdi, tdo, bits, leave);
        if (!lost_.empty()) {
            return expect(status);
        }
        const Bytes mine =
            answers_.subspan(taken_).first(std::min<size_t>(bits, answers_.size() - taken_));
        const auto wrong = std::find_if(mine.begin(), mine.end(),
                                        [](uint8_t byte) { return byte != '0' && byte != '1'; });
        FUZZ_CHECK(status.has_value() == (wrong == mine.end() && mine.size() == bits),
                   "a shift succeeds when each of its bits was answered");
        if (!status) {
            check_error(status.error(), "");
            lost_ = status.error().reason;
            FUZZ_CHECK(lost_.starts_with("the target at " + server_.path()), "who is lost");
            return;
        }
        for (size_t i = 0; i < bits; ++i) {
            FUZZ_CHECK(((tdo[i / 64] >> (i % 64)) & 1U) == (mine[i] & 1U),
                       "TDO is what was answered");
            sent_.push_back(((tdi[i / 64] >> (i % 64)) & 1U) != 0);
        }
        taken_ += bits;
    }

    void check_wire() {
        Wire wire;
        for (const char byte : server_.requests()) {
            wire.take(byte);
        }
        FUZZ_CHECK(wire.resets.empty() || (options_ & kOptionResets) != 0, "resets are an option");
        FUZZ_CHECK(wire.tdi.size() >= sent_.size() &&
                       std::equal(sent_.begin(), sent_.end(), wire.tdi.begin()),
                   "TDI is what was to be sent");
        if (lost_.empty()) {
            FUZZ_CHECK(wire.tdi.size() == sent_.size(), "each bit is asked for once");
            FUZZ_CHECK(wire.quits == ((options_ & kOptionQuit) != 0 ? 1 : 0),
                       "a server is told to quit where that is wanted");
            FUZZ_CHECK(wire.pins >= 0 && (wire.pins & 4) == 0, "TCK rests low");
        }
    }

    unsigned options_;
    Bytes operations_;
    Bytes answers_;
    size_t taken_ = 0; // answers that were asked for
    std::vector<bool> sent_;
    std::string lost_; // why the server is lost
    bool again_ = false;
    Server server_;
    std::unique_ptr<ExternalTarget> client_;
};

// A protocol of vectors, and answers that come in pieces.
class VectorSession {
public:
    VectorSession(Input& input, TargetProtocol protocol)
        : protocol_(podsim::external::make_protocol(protocol)) {
        operations_ = input.take(size_t{3} * input.up_to(kMostOperations));
        answers_ = input.take(kMostAnswers);
        protocol_->begin();
    }

    void run() {
        // Without a greeting nothing is sent.
        if (!answer(1)) {
            return;
        }
        for (Input steps(operations_); !steps.empty();) {
            const uint8_t kind = steps.byte();
            step(kind, steps.half());
            if (!answer(kind | 1U)) {
                return;
            }
        }
        protocol_->finish();
        if (answer(7)) {
            FUZZ_CHECK(protocol_->levels().size() == wanted_, "what was asked for is answered");
        }
    }

private:
    void step(uint8_t kind, uint16_t argument) {
        if (kind % 4 == 0) {
            return protocol_->move(argument, argument % 64 + 1U, (kind & 0x80U) != 0);
        }
        const unsigned bits = argument % kMostBits * 4 + 1U;
        const unsigned unwanted = kind % 4 == 1 ? 0 : argument % (bits + 1);
        const std::vector<uint64_t> tdi((bits + 63U) / 64, 0x5A3C'9F01'77E2'4D18U);
        protocol_->shift(tdi, bits, (kind & 0x80U) != 0, unwanted);
        wanted_ += bits - unwanted;
    }

    // Sends and answers all that is due; false when there is nothing to answer with, or it is
    // wrong.
    bool answer(size_t piece) {
        podsim::external::Exchange& exchange = protocol_->exchange();
        for (;;) {
            while (!exchange.sendable().empty()) {
                exchange.sent(exchange.sendable().size());
            }
            if (exchange.outstanding() == 0) {
                FUZZ_CHECK(exchange.unsent() == 0, "nothing is held back for an answer that came");
                return true;
            }
            const size_t count = std::min({piece, size_t{exchange.outstanding()}, answers_.size()});
            if (count == 0) {
                return false;
            }
            const auto* bytes = reinterpret_cast<const char*>(answers_.data());
            exchange.came(count);
            if (const auto wrong = protocol_->take({bytes, count})) {
                FUZZ_CHECK(wrong->starts_with("is no XVC server: "), "what a server did wrong");
                return false;
            }
            answers_ = answers_.subspan(count);
        }
    }

    std::unique_ptr<Protocol> protocol_;
    Bytes operations_;
    Bytes answers_;
    uint64_t wanted_ = 0;
};

} // namespace

void run_bitbang(Bytes bytes) {
    Input input(bytes);
    const uint8_t options = Input(bytes).byte();
    if ((options & (kOptionXvc | kOptionJtagVpi)) == 0) {
        return Session(input).run();
    }
    (void)input.byte();
    VectorSession(input,
                  (options & kOptionXvc) != 0 ? TargetProtocol::Xvc : TargetProtocol::JtagVpi)
        .run();
}

} // namespace talvor::fuzz
