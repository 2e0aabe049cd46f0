// A server over real sockets, and a target that is a model.
#include "bare_port.h"
#include "common/system_calls.h"
#include "common/temporary.h"
#include "host/serve/jtag_vpi.h"
#include "host/serve/remote_bitbang.h"
#include "host/serve/server.h"
#include "host/serve/wire_bits.h"
#include "host/serve/xvc.h"
#include "socket_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <sys/eventfd.h>
#include <thread>
#include <vector>

namespace talvor {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

template <typename Kind>
std::unique_ptr<Protocol> make_one(EdgePort& port) {
    return std::make_unique<Kind>(port);
}

const ProtocolKind kXvc{"xvc", make_one<Xvc>};
const ProtocolKind kBitbang{"rbb", make_one<RemoteBitbang>};
const ProtocolKind kVpi{"vpi", make_one<JtagVpi>};

// What has happened, in lines; the test waits for them.
class Journal final : public ServerEvents {
public:
    void came(const Visit& visit) override { add(visit.protocol + " came"); }
    void turned_away(const Visit& visit, const Visit& served) override {
        add(visit.protocol + " turned away for " + served.protocol);
    }
    void not_taken(const Visit& visit, const std::string& reason) override {
        add(visit.protocol + " not taken: " + reason);
    }
    void left(const Visit& visit, const Departure& departure) override {
        add(visit.protocol + " " +
            (departure.error ? headline(*departure.error) : departure.reason));
    }
    // Waits until there are so many lines.
    std::vector<std::string> lines(size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(60), [&] { return lines_.size() >= count; });
        return lines_;
    }

private:
    void add(std::string line) {
        const std::lock_guard lock(mutex_);
        lines_.push_back(std::move(line));
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
};

class ServerTest : public testing::Test {
protected:
    ~ServerTest() override { stop(); }

    std::string path(const std::string& name) const { return folder_.path() + "/" + name; }

    void start(const std::vector<ServePort>& ports, ServerOptions options = {}) {
        auto server = Server::open(ports, port_, journal_);
        ASSERT_TRUE(server) << headline(server.error());
        server_.emplace(*std::move(server));
        options.stop = stop_.get();
        thread_ = std::thread([this, options] { ended_ = server_->run(options); });
    }
    // One port of each kind.
    void start_all(const ServerOptions& options = {}) {
        start({{kXvc, tcp()}, {kBitbang, local("rbb")}, {kVpi, local("vpi")}}, options);
    }
    static ServeAddress tcp() { return {"", "127.0.0.1", "0"}; }
    ServeAddress local(const std::string& name) const { return {path(name), "", ""}; }

    const std::string& name(size_t port) const { return server_->ports()[port].listener.name(); }
    Status stop() {
        if (thread_.joinable()) {
            eventfd_write(stop_.get(), 1);
            thread_.join();
        }
        return ended_;
    }
    // It ends without being asked.
    Status end() {
        thread_.join();
        return ended_;
    }

    BarePort port_{two_devices()};
    Journal journal_;

private:
    TemporaryFolder folder_ = TemporaryFolder::create().value();
    FileDescriptor stop_{eventfd(0, EFD_CLOEXEC)};
    std::optional<Server> server_;
    std::thread thread_;
    Status ended_;
};

TEST_F(ServerTest, ServesEveryProtocolOverTcpAndUnixSockets) {
    start_all();
    {
        SocketClient client(name(0));
        client.send("getinfo:");
        EXPECT_THAT(client.receive_line(), HasSubstr("xvcServer_v1.0:"));
    }
    {
        SocketClient client(name(1));
        client.send("04R");
        EXPECT_EQ(client.receive(1), "1");
        client.send("Q");
        EXPECT_TRUE(client.closed());
    }
    {
        SocketClient client(name(2));
        std::string packet(JtagVpi::kPacketBytes, '\0');
        packet[0] = 2;
        client.send(packet);
        EXPECT_EQ(client.receive(packet.size()), packet);
    }
    EXPECT_THAT(journal_.lines(6),
                ElementsAre("xvc came", "xvc closed the connection", "rbb came",
                            "rbb said good-bye", "vpi came", "vpi closed the connection"));
    EXPECT_TRUE(stop());
}

// Before the server runs, which takes its calls from the table.
class WantingServerTest : public ServerTest {
protected:
    WantingServerTest() {
        failures = 0;
        system_calls.accept4 = [](int fd, sockaddr* address, socklen_t* size, int flags) {
            if (++failures <= 3) {
                errno = failures == 1 ? ECONNABORTED : EMFILE;
                return -1;
            }
            return ::accept4(fd, address, size, flags);
        };
    }
    ~WantingServerTest() override {
        stop();
        system_calls = before_;
    }

    static inline std::atomic<int> failures;

private:
    SystemCalls before_ = system_calls;
};

TEST_F(WantingServerTest, TellsOnceThatNobodyCanBeTakenAndTakesThemWhenItCan) {
    start_all();
    SocketClient client(name(1));
    client.send("R");
    EXPECT_EQ(client.receive(1), "1");
    EXPECT_THAT(journal_.lines(2), ElementsAre("rbb not taken: Too many open files", "rbb came"));
    EXPECT_EQ(failures, 4);
}

TEST_F(ServerTest, TurnsASecondClientAwayOnWhateverPort) {
    start_all();
    SocketClient first(name(1));
    first.send("R");
    EXPECT_EQ(first.receive(1), "1");
    EXPECT_TRUE(SocketClient(name(1)).closed());
    EXPECT_TRUE(SocketClient(name(0)).closed());
    first.send("R");
    EXPECT_EQ(first.receive(1), "1");
    EXPECT_THAT(journal_.lines(3),
                ElementsAre("rbb came", "rbb turned away for rbb", "xvc turned away for rbb"));
}

TEST_F(ServerTest, TakesTheNextClientAsSoonAsOneHasGone) {
    start_all();
    for (int i = 0; i < 200; ++i) {
        SocketClient client(name(1));
        client.send("04R");
        ASSERT_EQ(client.receive(1), "1") << i;
        client.send("B"); // stands before the end of its stream
    }
    for (const std::string& line : journal_.lines(400)) {
        EXPECT_TRUE(line == "rbb came" || line == "rbb closed the connection") << line;
    }
}

TEST_F(ServerTest, BeginsWithEachClientInTestLogicReset) {
    start_all();
    {
        SocketClient client(name(1));
        client.send("04260404"
                    "0R"); // into Shift-DR
        client.receive(1);
    }
    journal_.lines(2);
    SocketClient client(name(1));
    client.send("R");
    client.receive(1);
    EXPECT_EQ(port_.starts, 2);
    EXPECT_EQ(port_.state(), TapState::TestLogicReset);
}

TEST_F(ServerTest, SettlesTheTargetWhenAClientIsSilentAndWhenItGoes) {
    start_all();
    {
        SocketClient client(name(1));
        client.send("04");
        while (port_.settles == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    journal_.lines(2);
    stop();
    EXPECT_EQ(port_.settles, 2);
    EXPECT_THAT(port_.calls, ElementsAre(1u));
}

TEST_F(ServerTest, DropsAClientThatBreaksItsProtocolAndGoesOn) {
    start_all();
    SocketClient bad(name(0));
    bad.send("GET / HTTP/1.1\r\n");
    EXPECT_TRUE(bad.closed());
    SocketClient good(name(0));
    good.send("getinfo:");
    EXPECT_THAT(good.receive_line(), HasSubstr("xvcServer_v1.0:"));
    EXPECT_THAT(journal_.lines(3),
                ElementsAre("xvc came",
                            "xvc XVC: 'GET / HTTP/1.1\\x0d\\x0a' is no command of "
                            "version 1.0",
                            "xvc came"));
}

TEST_F(ServerTest, TellsOfARequestThatBreaksOff) {
    start_all();
    {
        SocketClient client(name(0));
        client.send("shift:\x10");
    }
    EXPECT_THAT(journal_.lines(2),
                ElementsAre("xvc came", "xvc closed the connection in the middle of a request"));
}

TEST_F(ServerTest, AnswersAClientThatSendsAByteAtATime) {
    start_all();
    SocketClient client(name(0));
    std::string bytes = "getinfo:shift:";
    bytes += std::string("\x08\0\0\0\x1f\x00", 6);
    for (const char byte : bytes) {
        client.send(std::string(1, byte));
    }
    client.receive_line();
    EXPECT_EQ(client.receive(1), "\xff");
}

TEST_F(ServerTest, AnswersAClientThatHasStoppedSending) {
    start_all();
    SocketClient client(name(0));
    client.send("getinfo:");
    client.stop_sending();
    EXPECT_THAT(client.receive_line(), HasSubstr("xvcServer_v1.0:"));
    EXPECT_TRUE(client.closed());
}

// What it does not fetch is bounded, and a stop ends it.
TEST_F(ServerTest, BearsAClientThatNeverReads) {
    start_all();
    SocketClient client(name(1));
    client.send("R");
    client.receive(1); // it is served
    const std::string asks(1 << 16, 'R');
    size_t sent = 0;
    while (sent < (size_t{1} << 26) && client.send_at_once(asks)) {
        sent += asks.size();
    }
    EXPECT_LT(sent, size_t{1} << 26) << "it went on taking";
    EXPECT_TRUE(SocketClient(name(0)).closed()) << "others are turned away all the same";
    EXPECT_TRUE(stop());
}

TEST_F(ServerTest, TakesTheLongestVectors) {
    start_all();
    SocketClient client(name(0));
    std::string request = "shift:";
    Answer number;
    append_u32(number, static_cast<uint32_t>(8 * Xvc::kDefaultBytes));
    request.append(number.begin(), number.end());
    request.append(2 * Xvc::kDefaultBytes, '\0');
    std::thread sender([&] { client.send(request); });
    EXPECT_EQ(client.receive(Xvc::kDefaultBytes), std::string(Xvc::kDefaultBytes, '\xff'));
    sender.join();
}

TEST_F(ServerTest, EndsAfterOneClientWithOnce) {
    start_all({.once = true});
    {
        SocketClient client(name(1));
        client.send("Q");
    }
    EXPECT_TRUE(end());
}

TEST_F(ServerTest, EndsWithTheErrorOfTheOneClientWithOnce) {
    start_all({.once = true});
    SocketClient client(name(1));
    client.send("?");
    const Status ended = end();
    ASSERT_FALSE(ended);
    EXPECT_EQ(headline(ended.error()), "remote_bitbang: '?' is no request of a JTAG client");
}

TEST_F(ServerTest, AsksWhetherToGoOnAfterAnErrorOfThePod) {
    port_.error = pod_error("pod 5", "no power").value();
    bool gone = false;
    start_all({.go_on = [&]() -> Status {
        return std::exchange(gone, true) ? pod_error("pod proxy", "it has ended") : Status();
    }});
    EXPECT_TRUE(SocketClient(name(1)).closed());
    EXPECT_TRUE(SocketClient(name(1)).closed());
    const Status ended = end();
    ASSERT_FALSE(ended);
    EXPECT_EQ(headline(ended.error()), "pod proxy: it has ended");
    EXPECT_THAT(journal_.lines(4),
                ElementsAre("rbb came", "rbb pod 5: no power", "rbb came", "rbb pod 5: no power"));
}

TEST_F(ServerTest, LetsItsClientGoWhenItEnds) {
    start_all();
    SocketClient client(name(1));
    client.send("R");
    client.receive(1);
    EXPECT_TRUE(stop());
    EXPECT_THAT(journal_.lines(2), ElementsAre("rbb came", "rbb the server ends"));
}

TEST_F(ServerTest, LeavesNoSocketBehind) {
    {
        auto server = Server::open({{kBitbang, local("rbb")}}, port_, journal_);
        ASSERT_TRUE(server);
        EXPECT_TRUE(std::filesystem::exists(path("rbb")));
    }
    EXPECT_FALSE(std::filesystem::exists(path("rbb")));
}

TEST_F(ServerTest, TellsOfAnAddressThatIsTaken) {
    start({{kXvc, tcp()}});
    const std::string taken = name(0);
    const auto other =
        Server::open({{kXvc, ServeAddress::parse("--xvc", taken).value()}}, port_, journal_);
    ASSERT_FALSE(other);
    EXPECT_EQ(other.error().kind, ErrorKind::BadFile);
    EXPECT_EQ(headline(other.error()), taken + ": cannot be listened at: Address already in use");
}

TEST(ListenerTest, TellsWhoOthersMayReach) {
    EXPECT_FALSE(Listener::open({"", "127.0.0.1", "0"})->exposed());
    EXPECT_FALSE(Listener::open({"", "localhost", "0"})->exposed());
    EXPECT_TRUE(Listener::open({"", "", "0"})->exposed());
    EXPECT_THAT(Listener::open({"", "", "0"})->name(), testing::StartsWith("0.0.0.0:"));
}

} // namespace
} // namespace talvor
