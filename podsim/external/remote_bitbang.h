// An external target: a program that serves the remote_bitbang protocol.
//
// Each test clock is sent as its two levels. TDO is asked for while TCK is low, before the rising
// edge, so that a server that changes TDO on the falling edge, as IEEE 1149.1 (4.5.1) wants, and
// one that changes it on the rising edge both answer for this bit. TCK rests low. No byte is sent
// that changes no pin, since some servers act on the level again.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"
#include "podsim/model/target.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace talvor::podsim::external {

// Requests for TDO that may be on their way at once; servers must take as many.
inline constexpr size_t kMostOutstanding = 255;

struct Options {
    std::string address;                      // "host:port", "port", or "/path" of a UNIX socket
    bool send_resets = false;                 // send r, s, t and u, which not every server knows
    std::chrono::milliseconds patience{5000}; // longest wait for the server to move
};

class RemoteBitbang : public Target {
public:
    // Connects, and brings the target to Test-Logic-Reset.
    [[nodiscard]] static Result<std::unique_ptr<RemoteBitbang>> connect(const Options& options);

    RemoteBitbang(const RemoteBitbang&) = delete;
    RemoteBitbang& operator=(const RemoteBitbang&) = delete;
    // Tells the server to quit.
    ~RemoteBitbang() override;

    [[nodiscard]] Status move(uint64_t tms, unsigned count, bool tdi) override;
    [[nodiscard]] Status shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo,
                               uint64_t count, bool leave) override;
    // With send_resets: TRST, then release. Five ones in TMS in any case.
    [[nodiscard]] Status pulse_trst() override;
    // With send_resets: SRST asserted or released. Nothing otherwise.
    [[nodiscard]] Status set_reset(bool asserted) override;
    // Connects again when the connection is lost; five ones in TMS. The server's own state is its
    // affair.
    [[nodiscard]] Status power_on() override;
    EmuPins emu_pins() override { return {}; }

    // From any thread: a call that waits fails at once, and so does every later one that has to.
    void request_stop();

private:
    RemoteBitbang(Options options, FileDescriptor wake)
        : options_(std::move(options)), wake_(std::move(wake)) {}

    [[nodiscard]] Status open();
    Failure lost(const std::string& how);
    Failure closed();
    [[nodiscard]] Status check_connected() const;
    void set_pins(bool tck, bool tms, bool tdi);
    void clock(bool tms, bool tdi);
    void put(char byte);
    [[nodiscard]] Status flush();
    // Fetches answers until no more than `remaining` requests are outstanding.
    [[nodiscard]] Status collect(size_t remaining);
    [[nodiscard]] Status take_answer(char byte);
    [[nodiscard]] Status wait_for(short events, const char* what);
    [[nodiscard]] Status reset_taps();
    [[nodiscard]] Status finish();

    Options options_;
    FileDescriptor fd_;
    FileDescriptor wake_;    // an eventfd: readable once a stop has been asked for
    std::string lost_;       // why the connection is gone
    std::string out_;        // bytes not sent yet
    int pins_ = -1;          // the levels sent last; -1: none yet
    size_t outstanding_ = 0; // requests without an answer
    std::span<uint64_t> answers_;
    uint64_t answered_ = 0; // bits stored in answers_
};

} // namespace talvor::podsim::external
