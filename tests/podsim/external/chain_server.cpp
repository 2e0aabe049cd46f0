#include "chain_server.h"

#include <gtest/gtest.h>

#include <array>
#include <sys/socket.h>

namespace talvor::podsim::external {

void ChainServer::serve_client(int fd) {
    std::array<char, 4096> bytes{};
    for (;;) {
        const ssize_t count = recv(fd, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            return;
        }
        std::string answers;
        for (ssize_t i = 0; i < count; ++i) {
            if (!take(bytes[static_cast<size_t>(i)], answers)) {
                return;
            }
        }
        if (!answers.empty() && !send_all(fd, answers.data(), answers.size())) {
            return;
        }
    }
}

// The chain gives TDO with the edge behind it, so that a request is answered at that edge.
bool ChainServer::take(char byte, std::string& answers) {
    if (byte >= '0' && byte <= '7') {
        const auto pins = static_cast<unsigned>(byte - '0');
        const bool tck = (pins & 4) != 0;
        if (tck && !tck_) {
            const uint64_t tdi = pins & 1;
            uint64_t tdo = 0;
            EXPECT_TRUE(chain_.shift({&tdi, 1}, {&tdo, 1}, 1, (pins & 2) != 0));
            answers.append(asked_, (tdo & 1) != 0 ? '1' : '0');
            asked_ = 0;
        }
        tck_ = tck;
    } else if (byte == 'R') {
        ++asked_;
    }
    return byte != 'Q';
}

} // namespace talvor::podsim::external
