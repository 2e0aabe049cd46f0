// Servers of whole vectors of bits with one TAP behind them: XVC and jtag_vpi.
#pragma once

#include "scratch_tap.h"
#include "stream_server.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvor::podsim::external {

struct VectorBehaviour {
    std::string greeting = "xvcServer_v1.0:2048\n"; // XVC: what getinfo: is answered with
    size_t close_at = 0;                            // the connection ends at this request, from 1
    size_t silent_at = 0;                           // no answers from this request on
};

class VectorServer : public StreamServer {
public:
    // Requests of the client's. One that came before the one before it was answered is early.
    size_t requests = 0;
    size_t early = 0;
    size_t longest_bits = 0;
    size_t resets = 0; // jtag_vpi
    size_t moves = 0;  // jtag_vpi: packets with TMS
    size_t quits = 0;  // jtag_vpi
    size_t unknown = 0;

protected:
    VectorServer(const std::string& path, VectorBehaviour wanted)
        : StreamServer(path), behaviour(std::move(wanted)) {}

    // Of a request that is complete: whether it is served.
    bool take_request(int fd);
    bool answer(int fd, const std::vector<uint8_t>& bytes);
    bool clock(bool tms, bool tdi) {
        const bool tdo = tap.tdo();
        tap.clock(tms, tdi);
        return tdo;
    }

    VectorBehaviour behaviour;
    reference::Chain tap = tap_in_pause();
};

class XvcServer : public VectorServer {
public:
    explicit XvcServer(const std::string& path = "", VectorBehaviour wanted = {})
        : VectorServer(path, std::move(wanted)) {
        start();
    }
    ~XvcServer() override { finish(); }

private:
    void serve_client(int fd) override;
    bool serve_shift(int fd);
};

class JtagVpiServer : public VectorServer {
public:
    explicit JtagVpiServer(const std::string& path = "", VectorBehaviour wanted = {})
        : VectorServer(path, std::move(wanted)) {
        start();
    }
    ~JtagVpiServer() override { finish(); }

private:
    void serve_client(int fd) override;
};

} // namespace talvor::podsim::external
