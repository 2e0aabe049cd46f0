#include "vector_server.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace talvor::podsim::external {
namespace {

bool bit(const std::vector<uint8_t>& bytes, size_t i) {
    return ((bytes[i / 8] >> (i % 8)) & 1) != 0;
}

uint32_t number(const uint8_t* bytes) {
    return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

} // namespace

bool VectorServer::take_request(int fd) {
    ++requests;
    // Strict request and reply: behind a request there is nothing.
    early += readable(fd, 1) ? 1 : 0;
    return requests != behaviour.close_at;
}

bool VectorServer::answer(int fd, const std::vector<uint8_t>& bytes) {
    const bool silent = behaviour.silent_at != 0 && requests >= behaviour.silent_at;
    return silent || send_all(fd, bytes.data(), bytes.size());
}

void XvcServer::serve_client(int fd) {
    std::string word;
    for (char byte = 0; read_all(fd, &byte, 1);) {
        word += byte;
        if (word == "getinfo:") {
            word.clear();
            if (!send_all(fd, behaviour.greeting.data(), behaviour.greeting.size())) {
                return;
            }
        } else if (word == "shift:") {
            word.clear();
            if (!serve_shift(fd)) {
                return;
            }
        } else if (byte == ':') {
            ++unknown;
            return;
        }
    }
}

bool XvcServer::serve_shift(int fd) {
    std::array<uint8_t, 4> count{};
    if (!read_all(fd, count.data(), count.size())) {
        return false;
    }
    const size_t bits = number(count.data());
    std::vector<uint8_t> tms((bits + 7) / 8);
    std::vector<uint8_t> tdi(tms.size());
    if (!read_all(fd, tms.data(), tms.size()) || !read_all(fd, tdi.data(), tdi.size()) ||
        !take_request(fd)) {
        return false;
    }
    longest_bits = std::max(longest_bits, bits);
    std::vector<uint8_t> tdo(tms.size(), 0);
    for (size_t i = 0; i < bits; ++i) {
        tdo[i / 8] |= static_cast<uint8_t>((clock(bit(tms, i), bit(tdi, i)) ? 1 : 0) << (i % 8));
    }
    return answer(fd, tdo);
}

void JtagVpiServer::serve_client(int fd) {
    constexpr size_t kBytes = 512;
    std::vector<uint8_t> packet(1036);
    while (read_all(fd, packet.data(), packet.size())) {
        const uint32_t command = number(packet.data());
        const size_t bits = number(packet.data() + 4 + 2 * kBytes + 4);
        unknown += number(packet.data() + 4 + 2 * kBytes) != (bits + 7) / 8 ? 1 : 0;
        const std::vector<uint8_t> out(packet.begin() + 4, packet.begin() + 4 + kBytes);
        longest_bits = std::max(longest_bits, bits);
        resets += command == 0 ? 1 : 0;
        moves += command == 1 ? 1 : 0;
        quits += command == 4 ? 1 : 0;
        unknown += command > 4 || bits > kBytes * 8 ? 1 : 0;
        if (command == 1) {
            for (size_t i = 0; i < bits; ++i) {
                clock(bit(out, i), false);
            }
        } else if (command == 2 || command == 3) {
            if (!take_request(fd)) {
                return;
            }
            for (size_t i = 0; i < bits; ++i) {
                const bool tdo = clock(command == 3 && i + 1 == bits, bit(out, i));
                const auto place = static_cast<uint8_t>(1U << (i % 8));
                uint8_t& byte = packet[4 + kBytes + i / 8];
                byte = static_cast<uint8_t>(tdo ? byte | place : byte & ~place);
            }
            if (!answer(fd, packet)) {
                return;
            }
        }
    }
}

} // namespace talvor::podsim::external
