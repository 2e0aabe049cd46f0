// A remote_bitbang server with one TAP behind it, for tests of the client.
#pragma once

#include "scratch_tap.h"
#include "stream_server.h"

#include <atomic>
#include <cstddef>
#include <string>

namespace talvor::podsim::external {

struct Behaviour {
    bool tdo_on_rise = false;    // TDO changes on the rising edge of TCK instead of the falling
    bool close_at_read = false;  // the connection ends at request `trouble_at`
    bool silent_at_read = false; // no more answers from request `trouble_at` on
    bool wrong_at_read = false;  // request `trouble_at` is answered with '?'
    size_t trouble_at = 0;
    bool hoard = false;  // answer only when no more requests come
    bool narrow = false; // hardly anything is on its way, and nobody reads while an answer waits
};

class BitbangServer : public StreamServer {
public:
    explicit BitbangServer(const std::string& path = "", Behaviour behaviour = {});
    ~BitbangServer() override;

    // What the client has done.
    size_t idle_bytes = 0; // pin bytes that changed no pin
    size_t pin_bytes = 0;
    size_t most_unanswered = 0; // requests in flight at once
    std::string resets;         // r, s, t and u in their order
    size_t quits = 0;
    size_t reads = 0; // requests for TDO
    size_t unknown = 0;
    std::atomic<bool> troubled{false}; // request `trouble_at` has come
    bool tck_rests_low = true;         // at the end of every connection

private:
    void serve_client(int fd) override;
    void serve_requests(int fd);
    bool serve_byte(char byte);
    bool answer(int fd, bool force);
    void set_pins(int pins);

    Behaviour behaviour_;
    int pins_ = -1;
    std::string answers_;
    reference::Chain tap_;
    bool tdo_ = true;
};

} // namespace talvor::podsim::external
