#include "serving.h"

#include "common/file_descriptor.h"
#include "host/serve/jtag_vpi.h"
#include "host/serve/remote_bitbang.h"
#include "host/serve/server.h"
#include "host/serve/xvc.h"
#include "podsim/main/complaint.h"
#include "tests/host/serve/bare_port.h"
#include "tests/host/serve/socket_client.h"

#include <array>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <memory>
#include <sstream>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace torture {
namespace {

using namespace talvor;

constexpr unsigned kPatienceSeconds = 5; // with a server that never answers
constexpr int kVisits = 3;

// Between the server and the process of its clients.
struct Link {
    pid_t clients = -1;
    FileDescriptor ports; // their addresses, a line each
    FileDescriptor stop;
};
Link g_link;
int g_stop = -1;

void ask_for_the_end() {
    const uint64_t one = 1;
    (void)!write(g_stop, &one, sizeof(one));
}

// ---- the clients ------------------------------------------------------------------------------

// Asks the port what its protocol has a short question for.
bool answered(const std::string& protocol, const std::string& address) {
    const SocketClient client(address);
    if (protocol == "rbb") {
        return client.send("R") && client.receive(1).size() == 1;
    }
    if (protocol == "xvc") {
        return client.send("getinfo:") && client.receive_line().starts_with("xvcServer_v1.0:");
    }
    std::string packet(JtagVpi::kPacketBytes, '\0');
    packet[0] = 2; // as many bits of TMS as its length says: none
    return client.send(packet) && client.receive(packet.size()) == packet;
}

bool visited(const std::string& protocol, const std::string& address) {
    for (int visit = 0; visit < kVisits; ++visit) {
        if (answered(protocol, address)) {
            return true;
        }
    }
    return false;
}

[[noreturn]] void run_clients(int ports) {
    signal(SIGALRM, [](int) {
        ask_for_the_end();
        _exit(2);
    });
    alarm(kPatienceSeconds);
    std::string text;
    std::array<char, 512> bytes{};
    for (ssize_t count = 0; (count = read(ports, bytes.data(), bytes.size())) > 0;) {
        text.append(bytes.data(), static_cast<size_t>(count));
    }
    std::istringstream lines(text);
    bool all = !text.empty();
    for (std::string protocol, address; lines >> protocol >> address;) {
        all = visited(protocol, address) && all;
    }
    ask_for_the_end();
    _exit(all ? 0 : 1);
}

// ---- the server -------------------------------------------------------------------------------

class Complaints final : public ServerEvents {
public:
    void came(const Visit& /*visit*/) override {}
    void turned_away(const Visit& visit, const Visit& /*served*/) override {
        complain(visit, "turned away");
    }
    void not_taken(const Visit& visit, const std::string& reason) override {
        complain(visit, "a client cannot be taken: " + reason);
    }
    void left(const Visit& visit, const Departure& departure) override {
        if (departure.error) {
            podsim::complain(*departure.error);
        } else if (departure.reason != "closed the connection") {
            complain(visit, departure.reason);
        }
    }

private:
    static void complain(const Visit& visit, std::string reason) {
        podsim::complain(refused_error(visit.port, std::move(reason)).value());
    }
};

template <typename Kind>
std::unique_ptr<Protocol> make_one(EdgePort& port) {
    return std::make_unique<Kind>(port);
}

Status serve_at(const std::vector<ServePort>& ports) {
    BarePort target(two_devices());
    Complaints complaints;
    Server server = TRY(Server::open(ports, target, complaints));
    std::string text;
    for (const Server::OpenPort& port : server.ports()) {
        text += std::string(port.protocol.name) + " " + port.listener.name() + "\n";
    }
    (void)!write(g_link.ports.get(), text.data(), text.size());
    g_link.ports.reset();
    return server.run({.stop = g_link.stop.get()});
}

} // namespace

void begin_serving_clients(const std::string& /*folder*/) {
    std::array<int, 2> ends{};
    (void)!pipe2(ends.data(), O_CLOEXEC);
    g_link.stop = FileDescriptor(eventfd(0, EFD_CLOEXEC));
    g_stop = g_link.stop.get();
    g_link.clients = fork();
    if (g_link.clients == 0) {
        close(ends[1]);
        run_clients(ends[0]);
    }
    close(ends[0]);
    g_link.ports = FileDescriptor(ends[1]);
}

Ending serve_clients(const std::string& folder) {
    const Status served = serve_at({{{"xvc", make_one<Xvc>}, {"", "127.0.0.1", "0"}},
                                    {{"rbb", make_one<RemoteBitbang>}, {folder + "/rbb", "", ""}},
                                    {{"vpi", make_one<JtagVpi>}, {folder + "/vpi", "", ""}}});
    g_link.ports.reset();
    int status = 0;
    const bool all = waitpid(g_link.clients, &status, 0) > 0 && status == 0;
    if (!served) {
        podsim::complain(served.error());
        return {1, false};
    }
    return {0, all};
}

} // namespace torture
