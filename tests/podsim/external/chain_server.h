// A remote_bitbang server with a built-in chain behind it, for the clients that other people wrote.
#pragma once

#include "podsim/model/chain.h"
#include "stream_server.h"

#include <string>

namespace talvor::podsim::external {

class ChainServer : public StreamServer {
public:
    // At a free TCP port.
    explicit ChainServer(const ChainDescription& description)
        : StreamServer(""), chain_(description) {
        start();
    }
    ~ChainServer() override { finish(); }

private:
    void serve_client(int fd) override;
    // Appends what is to be answered; false for the end.
    bool take(char byte, std::string& answers);

    Chain chain_;
    bool tck_ = false;
    unsigned asked_ = 0; // requests for the level of TDO before the next rising edge
};

} // namespace talvor::podsim::external
