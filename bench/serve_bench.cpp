// What a client of the bridge reaches: talvor serve with a simulated pod, in a process of its own,
// and a client here that only sends and receives.
#include "common/child_process.h"
#include "common/file_descriptor.h"
#include "common/temporary.h"
#include "host/jtag/bits.h"
#include "host/serve/wire_bits.h"
#include "simulated_host.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace talvor::bench;
using talvor::Bits;
using Bytes = std::vector<uint8_t>;

constexpr const char* kOneDevice = R"(
[[pod]]
serial = 1
[[pod.tap]]
name = "device"
ir_length = 4
[[pod.tap.register]]
name = "word"
kind = "scratch"
instruction = 2
length = 32
)";

// talvor serve, for as long as the benchmarks run.
class Served {
public:
    Served() : folder_(talvor::TemporaryFolder::create().value()) {
        const std::filesystem::path bin =
            std::filesystem::read_symlink("/proc/self/exe").parent_path();
        std::ofstream(path("pod.toml")) << kOneDevice;
        talvor::SpawnOptions options;
        options.arguments = {bin / "talvor", "--simulate=" + path("pod.toml"),
                             "serve",        "--xvc",
                             path("xvc"),    "--rbb",
                             path("rbb"),    "--ready-file",
                             path("ready")};
        options.output = nowhere_.get();
        process_.emplace(talvor::ChildProcess::spawn(options).value());
        while (process_ && process_->running() && !std::filesystem::exists(path("ready"))) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (!process_ || !process_->running()) {
            give_up("talvor serve does not come up");
        }
    }
    Served(const Served&) = delete;
    Served& operator=(const Served&) = delete;
    ~Served() {
        process_->signal(SIGTERM);
        process_->wait();
    }
    [[nodiscard]] std::string path(const std::string& name) const {
        return folder_.path() + "/" + name;
    }

private:
    talvor::TemporaryFolder folder_;
    talvor::FileDescriptor nowhere_{open("/dev/null", O_WRONLY | O_CLOEXEC)};
    std::optional<talvor::ChildProcess> process_;
};

const Served& served() {
    static const Served instance;
    return instance;
}

// Receives while it sends, so that either side may be ahead.
class Client {
public:
    explicit Client(const std::string& protocol)
        : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        served().path(protocol).copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (connect(fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            give_up("no connection");
        }
    }

    // Sends `requests` and waits for `count` bytes.
    void exchange(const Bytes& requests, Bytes& answers, size_t count) {
        answers.resize(count);
        size_t sent = 0;
        size_t received = 0;
        while (sent < requests.size() || received < count) {
            const int events = POLLIN | (sent < requests.size() ? POLLOUT : 0);
            pollfd wait{fd_.get(), static_cast<short>(events), 0};
            poll(&wait, 1, -1);
            if ((wait.revents & POLLOUT) != 0) {
                sent += moved(send(fd_.get(), requests.data() + sent, requests.size() - sent,
                                   MSG_NOSIGNAL | MSG_DONTWAIT));
            }
            if ((wait.revents & (POLLIN | POLLHUP)) != 0) {
                received += moved(
                    recv(fd_.get(), answers.data() + received, count - received, MSG_DONTWAIT));
            }
        }
    }

private:
    static size_t moved(ssize_t count) {
        if (count == 0 || (count < 0 && errno != EAGAIN)) {
            give_up("the bridge has closed the connection");
        }
        return count < 0 ? 0 : static_cast<size_t>(count);
    }

    talvor::FileDescriptor fd_;
};

void put_vector(Bytes& requests, const Bits& tms, const Bits& tdi) {
    for (const char c : {'s', 'h', 'i', 'f', 't', ':'}) {
        requests.push_back(static_cast<uint8_t>(c));
    }
    talvor::append_u32(requests, static_cast<uint32_t>(tms.size()));
    talvor::append_bits(requests, tms, 0, tms.size());
    talvor::append_bits(requests, tdi, 0, tdi.size());
}

// From Test-Logic-Reset through the instruction path, with `instruction` in it, to Run-Test/Idle.
void choose_register(Client& client, uint64_t instruction) {
    Bytes requests;
    Bytes answers;
    put_vector(requests, Bits::from_uint(0b01'1000'00110, 11),
               Bits::from_uint(instruction << 5U, 11));
    client.exchange(requests, answers, 2);
}

Bits noise(size_t count) {
    Bits bits(count);
    uint32_t state = 1;
    for (uint16_t& word : bits.words()) {
        state = state * 1664525 + 1013904223;
        word = static_cast<uint16_t>(state >> 16U);
    }
    bits.clear_unused();
    return bits;
}

constexpr size_t kAhead = 1000; // vectors that the client sends before it looks

// One long scan in pieces of 32 bits.
void XvcPieces(benchmark::State& state) {
    Client client("xvc");
    choose_register(client, 15);
    Bytes requests;
    Bytes answers;
    put_vector(requests, Bits::from_uint(0b001, 3), Bits(3));
    client.exchange(requests, answers, 1);
    requests.clear();
    const Bits data = noise(32);
    for (size_t i = 0; i < kAhead; ++i) {
        put_vector(requests, Bits(32), data);
    }
    for (auto _ : state) {
        client.exchange(requests, answers, 4 * kAhead);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kAhead));
}
BENCHMARK(XvcPieces)->UseRealTime();

// Each vector a scan of its own, from Run-Test/Idle and back, with 27 bits of a register.
void XvcScans(benchmark::State& state) {
    Client client("xvc");
    choose_register(client, 2);
    Bytes requests;
    Bytes answers;
    const Bits tms = Bits::from_uint((uint64_t{0b011} << 29U) | 0b001, 32);
    for (size_t i = 0; i < kAhead; ++i) {
        put_vector(requests, tms, noise(32));
    }
    for (auto _ : state) {
        client.exchange(requests, answers, 4 * kAhead);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kAhead));
}
BENCHMARK(XvcScans)->UseRealTime();

// One long scan in pieces of 64 KiB; the next one is sent before the answer to the last has come.
void XvcLongVectors(benchmark::State& state) {
    constexpr size_t kVectorBytes = 65536;
    constexpr size_t kLongAhead = 4;
    Client client("xvc");
    choose_register(client, 15);
    Bytes requests;
    Bytes answers;
    put_vector(requests, Bits::from_uint(0b001, 3), Bits(3));
    client.exchange(requests, answers, 1);
    requests.clear();
    const Bits data = noise(8 * kVectorBytes);
    for (size_t i = 0; i < kLongAhead; ++i) {
        put_vector(requests, Bits(data.size()), data);
    }
    for (auto _ : state) {
        client.exchange(requests, answers, kLongAhead * kVectorBytes);
    }
    state.counters["mbits"] = benchmark::Counter(
        static_cast<double>(state.iterations() * kLongAhead * 8 * kVectorBytes) / 1e6,
        benchmark::Counter::kIsRate);
}
BENCHMARK(XvcLongVectors)->UseRealTime();

// A scan of `bits` bits as OpenOCD makes it, from Run-Test/Idle and back: TCK low, a question, TCK
// high.
Bytes bitbang_scan(const Bits& data) {
    Bytes bytes;
    const auto edge = [&bytes](bool tms, bool tdi, bool asks) {
        const int pins = '0' + (tms ? 2 : 0) + (tdi ? 1 : 0);
        bytes.push_back(static_cast<uint8_t>(pins));
        if (asks) {
            bytes.push_back('R');
        }
        bytes.push_back(static_cast<uint8_t>(pins + 4));
    };
    for (const bool tms : {true, false, false}) {
        edge(tms, false, false);
    }
    for (size_t i = 0; i < data.size(); ++i) {
        edge(i + 1 == data.size(), data[i], true);
    }
    edge(true, false, false);
    edge(false, false, false);
    bytes.push_back('0');
    return bytes;
}

// One scan after the other, each answer waited for. OpenOCD keeps 255 bits outstanding at most.
void Bitbang(benchmark::State& state) {
    constexpr size_t kOutstanding = 255;
    const auto bits = static_cast<size_t>(state.range(0));
    Client client("rbb");
    Bytes answers;
    const std::string prologue = "040"; // behind a reset BYPASS is chosen
    client.exchange({prologue.begin(), prologue.end()}, answers, 0);
    const Bytes scan = bitbang_scan(noise(bits));
    std::vector<Bytes> pieces;
    std::vector<size_t> asked;
    for (size_t at = 0, questions = 0; at < scan.size(); ++at) {
        if (at == 0 || (scan[at] == 'R' && questions % kOutstanding == 0 && questions != 0)) {
            pieces.emplace_back();
            asked.push_back(0);
        }
        pieces.back().push_back(scan[at]);
        asked.back() += scan[at] == 'R' ? 1 : 0;
        questions += scan[at] == 'R' ? 1 : 0;
    }
    for (auto _ : state) {
        for (size_t i = 0; i < pieces.size(); ++i) {
            client.exchange(pieces[i], answers, asked[i]);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
    state.counters["mbits"] = benchmark::Counter(static_cast<double>(state.iterations()) *
                                                     static_cast<double>(bits) / 1e6,
                                                 benchmark::Counter::kIsRate);
}
BENCHMARK(Bitbang)->Arg(32)->Arg(8192)->UseRealTime();

} // namespace
