// A remote_bitbang server with one TAP behind it, for tests of the client.
//
// The TAP: an instruction register of 4 bits that captures 0001; instruction 1000 selects a scratch
// register of 32 bits, 0 at first; every other selects BYPASS.
#pragma once

#include "tests/podsim/model/reference_chain.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>

namespace talvor::podsim::external {

struct Behaviour {
    bool tdo_on_rise = false;    // TDO changes on the rising edge of TCK instead of the falling
    bool close_at_read = false;  // the connection ends at request `trouble_at`
    bool silent_at_read = false; // no more answers from request `trouble_at` on
    bool wrong_at_read = false;  // request `trouble_at` is answered with '?'
    size_t trouble_at = 0;
    bool hoard = false; // answer only when no more requests come
};

class BitbangServer {
public:
    // Listens at a UNIX socket (an absolute path) or, with "", at a free TCP port.
    explicit BitbangServer(const std::string& path = "", Behaviour behaviour = {});
    BitbangServer(const BitbangServer&) = delete;
    BitbangServer& operator=(const BitbangServer&) = delete;
    ~BitbangServer();

    // For the client.
    const std::string& address() const { return address_; }
    // Waits until the client has gone. Counts are final then.
    void finish();

    // What the client has done.
    size_t idle_bytes = 0; // pin bytes that changed no pin
    size_t pin_bytes = 0;
    size_t most_unanswered = 0; // requests in flight at once
    std::string resets;         // r, s, t and u in their order
    size_t quits = 0;
    size_t connections = 0;
    size_t unknown = 0;
    std::atomic<bool> troubled{false}; // request `trouble_at` has come
    bool tck_rests_low = true;         // at the end of every connection

private:
    void serve();
    void serve_connection(int fd);
    bool serve_byte(int fd, char byte);
    bool answer(int fd, bool force);
    void set_pins(int pins);

    Behaviour behaviour_;
    std::string path_;
    std::string address_;
    int listener_ = -1;
    std::atomic<bool> stop_{false};
    std::thread thread_;

    int pins_ = -1;
    std::string answers_;
    size_t reads_ = 0;
    reference::Chain tap_; // in Pause-DR at first, for nobody knows where a TAP stands
    bool tdo_ = true;
};

} // namespace talvor::podsim::external
