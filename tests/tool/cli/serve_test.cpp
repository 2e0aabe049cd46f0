// Other programs at a served pod: by sockets of our own, and those that people have.
#include "host/serve/socket_client.h"
#include "program.h"
#include "vpi_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <filesystem>
#include <sstream>

namespace talvor::cli {
namespace {

using nlohmann::json;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// talvor serve, ready for clients.
class Served {
public:
    explicit Served(std::vector<std::string> options) : running_(words(std::move(options))) {
        EXPECT_TRUE(await([this] { return std::filesystem::exists(ready_file()); }))
            << running_.err();
    }

    // Where a protocol is spoken.
    [[nodiscard]] std::string address(const std::string& protocol) const {
        const std::string text = running_.out();
        const size_t at = text.find(", " + protocol + " ") + protocol.size() + 3;
        return text.substr(at, text.find_first_of(",\n", at) - at);
    }
    [[nodiscard]] std::string port(const std::string& protocol) const {
        const std::string text = address(protocol);
        return text.substr(text.rfind(':') + 1);
    }
    [[nodiscard]] std::string path(const std::string& name) const {
        return folder_.path() + "/" + name;
    }
    [[nodiscard]] std::string ready_file() const { return path("ready"); }
    [[nodiscard]] bool says(const std::string& text) const {
        return await([&] { return running_.out().find(text) != std::string::npos; });
    }
    [[nodiscard]] const Running& running() const { return running_; }
    // Asks for the end and gives what it printed.
    std::string end(int signal = SIGTERM) {
        running_.signal(signal);
        EXPECT_EQ(running_.wait(), 128 + signal) << running_.err();
        return running_.out();
    }
    int wait() { return running_.wait(); }

private:
    std::vector<std::string> words(std::vector<std::string> options) const {
        options.insert(options.begin(), {"serve", "--ready-file", ready_file()});
        for (std::string& option : options) {
            if (option.starts_with("@")) {
                option = path(option.substr(1));
            }
        }
        return options;
    }

    TemporaryFolder folder_ = TemporaryFolder::create().value();
    Running running_;
};

TEST(ServeTest, TellsThatItIsReadyAndEndsAsItIsAsked) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        Served served({"--simulate", "--xvc", "0", "--rbb", "@rbb", "--vpi", "127.0.0.1:0"});
        EXPECT_THAT(served.running().out(),
                    ContainsRegex("^ready, xvc 127.0.0.1:[0-9]+, rbb /.*/rbb, "
                                  "vpi 127.0.0.1:[0-9]+, pod 5\n$"));
        EXPECT_THAT(served.end(signal),
                    EndsWith(std::string("ended by SIG") + sigabbrev_np(signal) + "\n"));
        EXPECT_EQ(served.running().err(), "");
        EXPECT_FALSE(std::filesystem::exists(served.ready_file()));
        EXPECT_FALSE(std::filesystem::exists(served.path("rbb")));
    }
}

// By hand: to Shift-DR, and 32 bits whose answer is the IDCODE.
std::string idcode_request() {
    std::string bytes = "shift:";
    const uint64_t tms = 0b0010;
    constexpr char kBits = 36;
    bytes += {kBits, 0, 0, 0};
    bytes += {static_cast<char>(tms), 0, 0, 0, 0};
    bytes += std::string(5, '\0');
    return bytes;
}

uint64_t idcode_of(const std::string& answer) {
    uint64_t bits = 0;
    for (size_t i = 0; i < answer.size(); ++i) {
        bits |= uint64_t{static_cast<uint8_t>(answer[i])} << (8 * i);
    }
    return bits >> 4;
}

TEST(ServeTest, GivesAClientOfXvcTheIdcode) {
    Served served({"--simulate=" + source_file("examples/single.toml"), "--xvc", "0"});
    SocketClient client(served.address("xvc"));
    client.send("getinfo:");
    EXPECT_EQ(client.receive_line(), "xvcServer_v1.0:1064960");
    client.send(idcode_request());
    EXPECT_EQ(idcode_of(client.receive(5)), 0x1A2B3C4Du);
}

TEST(ServeTest, BeginsWithEachClientFromAReset) {
    Served served({"--simulate=" + source_file("examples/single.toml"), "--xvc", "0"});
    for (int i = 0; i < 3; ++i) {
        SocketClient client(served.address("xvc"));
        client.send(idcode_request()); // and leaves it in the middle of the scan
        EXPECT_EQ(idcode_of(client.receive(5)), 0x1A2B3C4Du) << i;
    }
}

TEST(ServeTest, AdvertisesWhatItIsTold) {
    Served served({"--simulate", "--xvc", "0", "--xvc-bytes", "16384"});
    SocketClient client(served.address("xvc"));
    client.send("getinfo:");
    EXPECT_EQ(client.receive_line(), "xvcServer_v1.0:16384");
}

TEST(ServeTest, TurnsASecondClientAway) {
    Served served({"--simulate", "--xvc", "0", "--rbb", "@rbb"});
    SocketClient first(served.address("rbb"));
    first.send("R");
    EXPECT_EQ(first.receive(1), "1");
    EXPECT_TRUE(SocketClient(served.address("xvc")).closed());
    EXPECT_TRUE(served.says("turned away: rbb " + served.address("rbb") + " serves client "));
    first.send("R");
    EXPECT_EQ(first.receive(1), "1");
}

TEST(ServeTest, HoldsThePodLikeEveryCommand) {
    const PodsimProcess simulator(five());
    {
        Served served({"--rbb", "@rbb"});
        const Outcome chain = talvor({"chain"});
        EXPECT_EQ(chain.status, 1);
        EXPECT_THAT(chain.err, StartsWith("talvor: pod 5: used by `talvor serve "));
        SocketClient client(served.address("rbb"));
        client.send("04260404"); // and is cut off in Shift-DR
        EXPECT_TRUE(served.says(" came\n"));
        served.end();
    }
    const Outcome chain = talvor({"chain"});
    EXPECT_EQ(chain.status, 0) << chain.err;
    EXPECT_THAT(chain.out, StartsWith("5 devices, 33 instruction bits\n"));
}

TEST(ServeTest, GoesOnAfterAnErrorOfThePod) {
    const PodsimProcess simulator(read_file(source_file("examples/single.toml")));
    Served served({"--xvc", "0"});
    EXPECT_EQ(simulator.ctl("fail 1"), "ok");
    {
        SocketClient client(served.address("xvc"));
        client.send(idcode_request());
        EXPECT_TRUE(client.closed());
    }
    EXPECT_TRUE(served.says(" dropped: "));
    SocketClient client(served.address("xvc"));
    client.send(idcode_request());
    EXPECT_EQ(idcode_of(client.receive(5)), 0x1A2B3C4Du) << served.running().out();
}

TEST(ServeTest, EndsWithItsProxy) {
    PodsimProcess simulator(five());
    Served served({"--rbb", "@rbb"});
    SocketClient client(served.address("rbb"));
    client.send("R");
    EXPECT_EQ(client.receive(1), "1");
    simulator.stop(SIGKILL);
    client.send("04260404"
                "0R"); // a question in Shift-DR
    EXPECT_TRUE(client.closed());
    EXPECT_EQ(served.wait(), 1);
    EXPECT_THAT(served.running().err(), HasSubstr("proxy"));
}

TEST(ServeTest, EndsWithTheFirstClientWhereOneIsWanted) {
    Served good({"--simulate", "--rbb", "@rbb", "--once"});
    SocketClient(good.address("rbb")).send("04Q");
    EXPECT_EQ(good.wait(), 0);
    EXPECT_THAT(good.running().out(),
                EndsWith(" said good-bye; 3 bytes received, 0 sent\nended\n"));
    Served bad({"--simulate", "--rbb", "@rbb", "--once"});
    SocketClient(bad.address("rbb")).send("x");
    EXPECT_EQ(bad.wait(), 1);
    EXPECT_EQ(bad.running().err(), "talvor: remote_bitbang: 'x' is no request of a JTAG client\n");
}

TEST(ServeTest, TellsWhatAClientDoes) {
    Served served({"--simulate=" + source_file("examples/single.toml"), "--vpi", "0", "--log"});
    {
        VpiClient client(served.address("vpi"));
        client.reset();
        client.scan(ScanPath::Ir, Bits::from_uint(2, 4));
        EXPECT_EQ(client.scan(ScanPath::Dr, Bits(32)).to_uint(), 0x1A2B3C4Du);
        client.idle(5);
        client.stop();
        EXPECT_TRUE(client.closed());
    }
    const std::string out = served.end();
    EXPECT_THAT(out, HasSubstr("  IR scan, 4 bits, out 0x2, in 0x1, then Update-IR\n"
                               "  DR scan, 32 bits, out 0x00000000, in 0x1A2B3C4D, then "
                               "Update-DR\n"));
    EXPECT_THAT(out, HasSubstr("  Run-Test/Idle, 5 clocks more\n"));
    EXPECT_THAT(out, HasSubstr(" said good-bye; "));
}

TEST(ServeTest, PrintsEventsAsDocuments) {
    Served served({"--simulate", "--vpi", "0", "--log", "--json"});
    std::vector<json> events;
    const auto read = [&](const std::string& out) {
        events.clear();
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);) {
            events.push_back(json::parse(line));
        }
    };
    read(served.running().out());
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].at("event"), "ready");
    EXPECT_EQ(events[0].at("pod"), 5);
    const json port = events[0].at("ports").at(0);
    EXPECT_EQ(port.at("protocol"), "vpi");
    EXPECT_EQ(port.at("exposed"), false);
    {
        VpiClient client(port.at("address"));
        client.reset();
        client.scan(ScanPath::Dr, Bits(129));
        client.idle(3);
        client.scan(ScanPath::Dr, Bits(1));
        client.stop();
        EXPECT_TRUE(client.closed());
    }
    read(served.end());
    ASSERT_GE(events.size(), 5u);
    EXPECT_EQ(events[1].at("event"), "came");
    const json& scan = *std::find_if(events.begin(), events.end(),
                                     [](const json& event) { return event.at("event") == "scan"; });
    EXPECT_EQ(scan.at("path"), "dr");
    EXPECT_EQ(scan.at("bits"), 129);
    EXPECT_EQ(scan.at("in"), "0x...581BCFC63456789A3D5A07E305707E35");
    EXPECT_EQ(scan.at("end"), "Update-DR");
    const json& left = events[events.size() - 2];
    EXPECT_EQ(left.at("event"), "left");
    EXPECT_EQ(left.at("reason"), "said good-bye");
    EXPECT_TRUE(left.at("error").is_null());
    EXPECT_GT(left.at("received_bytes"), 1036);
    EXPECT_GT(left.at("inexact").at("idle_clocks"), 0);
    EXPECT_EQ(events.back(), (json{{"event", "ended"}, {"signal", "SIGTERM"}}));
}

TEST(ServeTest, DropsAStrictClientWithTheReason) {
    Served served({"--simulate", "--vpi", "0", "--strict"});
    VpiClient client(served.address("vpi"));
    client.reset();
    client.idle(3);
    client.scan(ScanPath::Dr, Bits(1));
    EXPECT_TRUE(client.closed());
    EXPECT_TRUE(served.says(" dropped: idle clocks: the pod stays in Run-Test/Idle for 1, 8, 15"));
}

TEST(ServeTest, WarnsOfAPortThatOthersMayReach) {
    Served served({"--simulate", "--xvc", "*:0"});
    EXPECT_THAT(served.running().err(),
                ContainsRegex("^talvor: xvc 0.0.0.0:[0-9]+ can be reached from other machines"));
}

TEST(ServeTest, RefusesWhatItCannotServe) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{},
         "talvor: serve: no port is given\n  next: give --xvc, --rbb or --vpi, as in --xvc "
         "127.0.0.1:2542\n"},
        {{"--xvc", "localhost"},
         "talvor: --xvc localhost: the port is no number from 0 to 65535\n  next: give HOST:PORT, "
         "PORT alone, or the path of a UNIX socket\n"},
        {{"--rbb", "/no/such/folder/pod.sock"},
         "talvor: /no/such/folder/pod.sock: No such file or directory\n  next: choose another "
         "address\n"},
        {{"--xvc", "0", "--no-lookahead", "7"}, "talvor: 7: it is no instruction\n"},
    };
    for (const auto& [options, err] : cases) {
        std::vector<std::string> words{"serve"};
        words.insert(words.end(), options.begin(), options.end());
        const Outcome outcome = simulated(words);
        EXPECT_EQ(outcome.status, 2) << outcome.err;
        EXPECT_THAT(outcome.err, StartsWith(err));
        EXPECT_EQ(outcome.out, "");
    }
}

// ---- a client of jtag_vpi ---------------------------------------------------------------------

TEST(VpiClientTest, ReadsTheChainAndWritesARegister) {
    Served served({"--simulate", "--vpi", "0"});
    VpiClient client(served.address("vpi"));
    client.reset();
    const Bits chain = client.scan(ScanPath::Dr, Bits::ones(200));
    EXPECT_EQ(chain.to_uint(0, 32), 0x05707E35u);
    EXPECT_EQ(chain.to_uint(32, 32), 0x3D5A07E3u);
    EXPECT_EQ(chain.to_uint(64, 1), 0u);
    EXPECT_EQ(chain.to_uint(65, 32), 0x1A2B3C4Du);
    EXPECT_EQ(chain.to_uint(97, 32), 0x2C0DE7E3u);
    EXPECT_EQ(chain.to_uint(129, 64), ~uint64_t{0});
    // The second device's scratch register; 23 instruction bits are nearer TDO, three BYPASS bits.
    Bits instruction = Bits::ones(33);
    for (size_t i = 0; i < 4; ++i) {
        instruction.set(23 + i, i == 3);
    }
    EXPECT_EQ(client.scan(ScanPath::Ir, instruction).to_uint(0, 2), 1u);
    client.scan(ScanPath::Dr, Bits::from_uint(uint64_t{0xCAFEF00D} << 3, 36));
    EXPECT_EQ(client.scan(ScanPath::Dr, Bits(36)).to_uint(3, 32), 0xCAFEF00Du);
}

TEST(VpiClientTest, ScansMoreThanAPacketHolds) {
    Served served({"--simulate", "--vpi", "0"});
    VpiClient client(served.address("vpi"));
    client.reset();
    client.scan(ScanPath::Ir, Bits::ones(33));
    Bits out(10000);
    for (size_t i = 0; i < out.size(); ++i) {
        out.set(i, i * i % 7 < 3);
    }
    const Bits in = client.scan(ScanPath::Dr, out);
    EXPECT_EQ(in.slice(0, 5).count_ones(), 0u) << "five devices in BYPASS";
    EXPECT_EQ(in.slice(5, 9995), out.slice(0, 9995));
}

// ---- the tools that people have ---------------------------------------------------------------

class OpenOcdTest : public testing::Test {
protected:
    void SetUp() override {
        if (!installed("openocd")) {
            GTEST_SKIP() << "openocd is not installed";
        }
    }
    // Runs commands behind `init` on the simulated five, by TCP; what it prints.
    static std::string run(const Served& served, const std::string& commands) {
        const std::string script = read_file(source_file("examples/openocd.cfg")) +
                                   "\nremote_bitbang port " + served.port("rbb") +
                                   "\nremote_bitbang host 127.0.0.1\n";
        const auto result =
            test_support::run_program({"openocd", "-f", file_with("openocd.cfg", script), "-c",
                                       "init", "-c", commands, "-c", "shutdown"});
        EXPECT_EQ(result.status, 0) << result.errors;
        return result.output + result.errors;
    }
};

TEST_F(OpenOcdTest, FindsTheFiveDevices) {
    Served served({"--simulate", "--rbb", "127.0.0.1:0"});
    const std::string out = run(served, "scan_chain");
    for (const char* line : {"0 store.tap              Y     0x05707e35 0x05707e35    10",
                             "1 dsp.tap                Y     0x3d5a07e3 0x3d5a07e3     8",
                             "2 switch.tap             Y     0x00000000 0x00000000     5",
                             "3 cpu.tap                Y     0x1a2b3c4d 0x1a2b3c4d     4",
                             "4 gate.tap               Y     0x2c0de7e3 0x2c0de7e3     6"}) {
        EXPECT_THAT(out, HasSubstr(line));
    }
    EXPECT_THAT(out, Not(HasSubstr("Error")));
    EXPECT_TRUE(served.says(" said good-bye; "));
}

TEST_F(OpenOcdTest, ScansInstructionsAndData) {
    Served served({"--simulate", "--rbb", "127.0.0.1:0"});
    const std::string out = run(served, "irscan cpu.tap 8\ndrscan cpu.tap 32 0xDEADBEEF\n"
                                        "echo [drscan cpu.tap 32 0x12345678]\n"
                                        "echo [drscan cpu.tap 32 0]\n"
                                        "irscan store.tap 8\necho [drscan store.tap 32 0]");
    EXPECT_THAT(out, HasSubstr("\ndeadbeef\n12345678\n54414c56\n"));
}

// More answers than it keeps outstanding; five BYPASS bits delay the data.
TEST_F(OpenOcdTest, ScansMoreBitsThanItKeepsOutstanding) {
    Served served({"--simulate", "--rbb", "127.0.0.1:0"});
    std::string digits;
    for (int i = 0; i < 600; ++i) {
        digits += "0123456789abcdef"[i * i % 13];
    }
    const std::string out =
        run(served, "irscan gate.tap 63\necho [drscan gate.tap 2400 0x" + digits + "]");
    Bits wanted(5);
    wanted.append(Bits::from_hex(digits, 2400).value());
    wanted.resize(2400);
    std::string hex = wanted.to_hex();
    std::transform(hex.begin(), hex.end(), hex.begin(), [](char c) {
        return static_cast<char>(c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c);
    });
    EXPECT_THAT(out, HasSubstr("\n" + hex + "\n"));
}

TEST_F(OpenOcdTest, PlaysAnSvfFile) {
    Served served({"--simulate", "--rbb", "127.0.0.1:0"});
    EXPECT_THAT(run(served, "svf " + source_file("examples/demo.svf") + " quiet"),
                HasSubstr("svf file programmed successfully for 418 commands with 0 errors"));
}

TEST_F(OpenOcdTest, NoticesWhatIsWrongInAnSvfFile) {
    Served served({"--simulate", "--rbb", "127.0.0.1:0"});
    const std::string file = file_with(
        "wrong.svf", "STATE RESET;\nSDR 129 TDI (0) TDO (0581BCFC63456789A3D5A07E305707E34);\n");
    const std::string out = run(served, "catch {svf " + file + " quiet}");
    EXPECT_THAT(out, HasSubstr("tdo check error"));
}

class OpenFpgaLoaderTest : public testing::Test {
protected:
    void SetUp() override {
        if (!installed("openFPGALoader")) {
            GTEST_SKIP() << "openFPGALoader is not installed";
        }
    }
    static std::string detect(const Served& served) {
        const auto result =
            test_support::run_program({"openFPGALoader", "-c", "xvc-client", "--ip", "127.0.0.1",
                                       "--port", served.port("xvc"), "--detect"});
        EXPECT_EQ(result.status, 0) << result.output << result.errors;
        return result.output;
    }
};

TEST_F(OpenFpgaLoaderTest, DetectsASingleDevice) {
    Served served({"--simulate=" + source_file("examples/fpga.toml"), "--xvc", "0"});
    const std::string out = detect(served);
    EXPECT_THAT(out, HasSubstr("index 0:\n\tidcode 0x362d093\n"));
    EXPECT_THAT(out, Not(HasSubstr("index 1:")));
}

TEST_F(OpenFpgaLoaderTest, DetectsAChainAgainAndAgain) {
    const std::string tap = "[[pod.tap]]\nname = \"NAME\"\nir_length = 6\nidcode = 0xID\n"
                            "idcode_instruction = 9\n";
    std::string text = "[[pod]]\nserial = 7\n";
    for (const char* idcode : {"0362D093", "41111043", "0362D093"}) {
        std::string one = tap;
        one.replace(one.find("NAME"), 4, "tap" + std::to_string(text.size()));
        text += one.replace(one.find("ID\n"), 2, idcode);
    }
    Served served({"--simulate=" + file_with("chain.toml", text), "--xvc", "0"});
    for (int i = 0; i < 3; ++i) {
        const std::string out = detect(served);
        EXPECT_THAT(out, HasSubstr("index 0:\n\tidcode 0x362d093\n"));
        EXPECT_THAT(out, HasSubstr("index 1:\n\tidcode 0x1111043\n"));
        EXPECT_THAT(out, HasSubstr("index 2:\n\tidcode 0x362d093\n"));
    }
}

} // namespace
} // namespace talvor::cli
