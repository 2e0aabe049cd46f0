// How fast a pod shifts through external targets: against servers that answer at once and simulate
// nothing, one for each protocol.
#include "podsim/external/external_target.h"
#include "podsim/model/bits.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace talvor;
using namespace talvor::podsim;
using external::ExternalTarget;

// ---- servers ----------------------------------------------------------------------------------

void send_all(int fd, const void* bytes, size_t count) {
    if (send(fd, bytes, count, MSG_NOSIGNAL) < 0) {
        _exit(0);
    }
}

void read_all(int fd, void* bytes, size_t count) {
    if (count != 0 && recv(fd, bytes, count, MSG_WAITALL) != static_cast<ssize_t>(count)) {
        _exit(0);
    }
}

// Answers each request in its turn; with `trickle` by a call for each byte, as some simulators do.
void serve_bitbang(int fd, bool trickle) {
    std::vector<char> bytes(1 << 16);
    std::string answers;
    for (;;) {
        const ssize_t count = recv(fd, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            return;
        }
        answers.assign(static_cast<size_t>(std::count(bytes.begin(), bytes.begin() + count, 'R')),
                       '0');
        for (size_t i = 0; trickle && i < answers.size(); ++i) {
            send_all(fd, &answers[i], 1);
        }
        if (!trickle && !answers.empty()) {
            send_all(fd, answers.data(), answers.size());
        }
    }
}

void serve_xvc(int fd) {
    std::vector<char> bytes;
    for (std::array<char, 6> word{};;) {
        read_all(fd, word.data(), word.size());
        if (std::memcmp(word.data(), "getinf", word.size()) == 0) {
            constexpr std::string_view kGreeting = "xvcServer_v1.0:2048\n";
            read_all(fd, word.data(), 2);
            send_all(fd, kGreeting.data(), kGreeting.size());
            continue;
        }
        uint32_t bits = 0;
        read_all(fd, &bits, sizeof bits);
        bytes.resize((bits + 7) / 8 * 2);
        read_all(fd, bytes.data(), bytes.size());
        send_all(fd, bytes.data(), bytes.size() / 2);
    }
}

void serve_jtag_vpi(int fd) {
    for (std::array<uint32_t, 1036 / 4> packet{};;) {
        read_all(fd, packet.data(), sizeof packet);
        if (packet[0] == 2 || packet[0] == 3) {
            send_all(fd, packet.data(), sizeof packet);
        }
    }
}

enum class Server { Bitbang, Trickling, Xvc, JtagVpi };

void serve(Server server, int fd) {
    switch (server) {
    case Server::Xvc:
        return serve_xvc(fd);
    case Server::JtagVpi:
        return serve_jtag_vpi(fd);
    default:
        return serve_bitbang(fd, server == Server::Trickling);
    }
}

// A server in a process of its own, for one client; its port.
std::string start(Server server) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        listen(listener, 1) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        std::perror("a server");
        std::exit(1);
    }
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int fd = accept(listener, nullptr, nullptr);
        const int on = server == Server::Trickling ? 0 : 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        serve(server, fd);
        _exit(0);
    }
    close(listener);
    return std::to_string(ntohs(address.sin_port));
}

TargetProtocol protocol_of(Server server) {
    return server == Server::Xvc       ? TargetProtocol::Xvc
           : server == Server::JtagVpi ? TargetProtocol::JtagVpi
                                       : TargetProtocol::RemoteBitbang;
}

// ---- batches ----------------------------------------------------------------------------------

void check(const Status& status) {
    if (!status) {
        std::fprintf(stderr, "%s\n", headline(status.error()).c_str());
        std::exit(1);
    }
}

// Scans as a controller makes them: from Run-Test/Idle to Shift-DR and back.
void make_scans(ExternalTarget& target, unsigned scans, std::vector<uint64_t>& words,
                uint64_t bits) {
    for (unsigned i = 0; i < scans; ++i) {
        check(target.move(0b001, 3, true));
        check(target.shift(words, words, bits, true));
        check(target.move(0b01, 2, true));
    }
}

// Arguments: scans in a batch, bits of a scan.
void batches(benchmark::State& state, Server server) {
    auto target =
        ExternalTarget::connect({.address = start(server), .protocol = protocol_of(server)});
    if (!target) {
        return state.SkipWithError(headline(target.error()).c_str());
    }
    const auto scans = static_cast<unsigned>(state.range(0));
    const auto bits = static_cast<uint64_t>(state.range(1));
    std::vector<uint64_t> words(words_for(bits));
    for (auto _ : state) {
        (*target)->send_ahead();
        make_scans(**target, scans, words, bits);
        (*target)->repeat();
        make_scans(**target, scans, words, bits);
        check((*target)->end_repeat());
    }
    const double turns = static_cast<double>(state.iterations()) * scans;
    state.counters["scans"] = benchmark::Counter(turns, benchmark::Counter::kIsRate);
    state.counters["bits"] =
        benchmark::Counter(turns * static_cast<double>(bits), benchmark::Counter::kIsRate);
}

void arguments(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"scans", "bits"})
        ->Args({1, 32})
        ->Args({100, 32})
        ->Args({1, 524'288})
        ->UseRealTime();
}
BENCHMARK_CAPTURE(batches, remote_bitbang, Server::Bitbang)->Apply(arguments);
BENCHMARK_CAPTURE(batches, xvc, Server::Xvc)->Apply(arguments);
BENCHMARK_CAPTURE(batches, jtag_vpi, Server::JtagVpi)->Apply(arguments);
BENCHMARK_CAPTURE(batches, remote_bitbang_byte_by_byte, Server::Trickling)
    ->ArgNames({"scans", "bits"})
    ->Args({1, 64})
    ->UseRealTime();

} // namespace
