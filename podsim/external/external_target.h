// An external target: a program that another one simulates, or serves, behind a socket.
#pragma once

#include "common/result.h"
#include "podsim/base/target_protocol.h"
#include "podsim/external/connection.h"
#include "podsim/external/protocol.h"
#include "podsim/model/remote_target.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace talvor::podsim::external {

// Bytes that the server may owe us at once. Servers must go on reading meanwhile, or at least take
// what they have not read when we have taken what they have sent: both directions are looked after.
inline constexpr uint64_t kMostOutstanding = 65'536;

struct Options {
    std::string address{}; // "host:port", "port", or "/path" of a UNIX socket
    TargetProtocol protocol = TargetProtocol::RemoteBitbang;
    bool send_resets = false;                 // send reset requests, which not every server knows
    bool quit = false;                        // end the server at the end
    std::chrono::milliseconds patience{5000}; // longest wait for the server to move
};

class ExternalTarget : public RemoteTarget {
public:
    // Connects, and brings the target to Test-Logic-Reset.
    [[nodiscard]] static Result<std::unique_ptr<ExternalTarget>> connect(const Options& options);

    ExternalTarget(const ExternalTarget&) = delete;
    ExternalTarget& operator=(const ExternalTarget&) = delete;
    // With `quit`: tells the server to end.
    ~ExternalTarget() override;

    [[nodiscard]] Status move(uint64_t tms, unsigned count, bool tdi) override;
    [[nodiscard]] Status shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo,
                               uint64_t count, bool leave) override {
        return shift_tail(tdi, tdo, count, leave, 0);
    }
    [[nodiscard]] Status shift_tail(std::span<const uint64_t> tdi, std::span<uint64_t> tdo,
                                    uint64_t count, bool leave, uint64_t unwanted) override;
    // With send_resets: TRST, then release. Five ones in TMS in any case.
    [[nodiscard]] Status pulse_trst() override;
    // With send_resets: SRST asserted or released. Nothing otherwise.
    [[nodiscard]] Status set_reset(bool asserted) override;
    // Connects again when the connection is lost; five ones in TMS. The server's own state is its
    // affair.
    [[nodiscard]] Status power_on() override;
    EmuPins emu_pins() override { return {}; }

    void send_ahead() override;
    void repeat() override;
    [[nodiscard]] Status end_repeat() override;
    void abandon() noexcept override;

    // From any thread: a call that waits fails at once, and so does every later one that has to.
    void request_stop() const { connection_.request_stop(); }

private:
    // What a call does.
    enum class Mode : uint8_t {
        Direct, // sends and waits
        Ahead,  // sends
        Repeat, // takes what has been answered
    };

    ExternalTarget(Options options, Connection connection)
        : options_(std::move(options)), connection_(std::move(connection)) {}

    [[nodiscard]] Status open();
    [[nodiscard]] Status reset_taps();
    // Behind requests that were put: sends what a server may be kept busy with; or everything, and
    // waits for the answers.
    [[nodiscard]] Status pass_on();
    [[nodiscard]] Status relieve();
    [[nodiscard]] Status settle();
    [[nodiscard]] Status put_shift(std::span<const uint64_t> tdi, uint64_t count, bool leave,
                                   uint64_t unwanted);
    [[nodiscard]] Status fetch(std::span<uint64_t> tdo, uint64_t count, uint64_t unwanted);
    // Sends and receives, both as far as it goes, until `done()`.
    template <class Done>
    [[nodiscard]] Status run_until(Done done);
    [[nodiscard]] Status send();
    [[nodiscard]] Status receive();
    Exchange& exchange() { return protocol_->exchange(); }

    Options options_;
    Connection connection_;
    std::unique_ptr<Protocol> protocol_; // of the present connection
    Mode mode_ = Mode::Direct;
};

} // namespace talvor::podsim::external
