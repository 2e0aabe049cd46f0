// Sessions with several pods at the same time, a thread each: handles of one loaded library know
// nothing of each other. Under ThreadSanitizer the library is built with it.
#include "host/chain/chain.h"
#include "host/session/session.h"
#include "support/podsim_process.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <barrier>
#include <cstdlib>
#include <latch>
#include <random>
#include <thread>
#include <unistd.h>
#include <vector>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
// The C library keeps its named semaphores in a tree of its own under a lock of its own, which
// ThreadSanitizer does not know.
extern "C" const char* __tsan_default_suppressions();
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer asks by this name
extern "C" const char* __tsan_default_suppressions() {
    return "race:^tsearch$\nrace:^__tdelete$\n";
}
#endif
#endif

namespace talvor {
namespace {

using test_support::PodsimProcess;

constexpr uint32_t kPods = 6;
constexpr uint32_t kFirstSerial = 11;
constexpr uint64_t kScratch = 5;

uint32_t idcode_of(uint32_t serial) {
    return serial << 12U | 0x7E3U;
}

std::string description(const std::string& of_the_first = "") {
    std::string text;
    for (uint32_t serial = kFirstSerial; serial < kFirstSerial + kPods; ++serial) {
        text += fmt::format("[[pod]]\nserial = {}\nrevision = 0x0{}00\n{}"
                            "[[pod.tap]]\nname = \"a\"\nir_length = 4\nidcode = 0x{:08X}\n"
                            "idcode_instruction = 2\n[[pod.tap.register]]\nname = \"s\"\n"
                            "kind = \"scratch\"\ninstruction = 5\nlength = 300\n",
                            serial, serial % 4 + 1, serial == kFirstSerial ? of_the_first : "",
                            idcode_of(serial));
    }
    return text;
}

SessionOptions options_for(uint32_t serial) {
    SessionOptions options;
    options.library = TALVOR_LIBRARY;
    options.serial = serial;
    options.lost = [](const Error& error) {
        ADD_FAILURE() << headline(error);
        std::abort();
    };
    return options;
}

// What the chain and a register that nobody else has answer, over and over.
void use(Session& session, uint32_t serial, unsigned rounds) {
    const auto chain = session.discover();
    ASSERT_TRUE(chain) << headline(chain.error());
    ASSERT_EQ(chain->devices.size(), 1U);
    ASSERT_TRUE(chain->devices[0].idcode);
    EXPECT_EQ(chain->devices[0].idcode->value, idcode_of(serial));
    PodPort& port = session.port();
    const Bits select = Bits::from_uint(kScratch, 4);
    ASSERT_TRUE(port.scan({ScanPath::Ir, &select, nullptr, StableState::Idle}));
    std::mt19937_64 random(serial);
    Bits before(300);
    for (unsigned round = 0; round < rounds; ++round) {
        Bits out(300);
        for (size_t i = 0; i < out.size(); ++i) {
            out.set(i, (random() & 1U) != 0);
        }
        Bits in;
        const Status scanned = port.scan({ScanPath::Dr, &out, &in, StableState::Idle});
        ASSERT_TRUE(scanned) << headline(scanned.error());
        // The first finds what the session before has left.
        if (round != 0) {
            ASSERT_EQ(in.to_hex(), before.to_hex()) << "pod " << serial << ", round " << round;
        }
        before = out;
    }
}

template <typename Body>
void for_each_pod(Body body) {
    std::vector<std::thread> threads;
    for (uint32_t serial = kFirstSerial; serial < kFirstSerial + kPods; ++serial) {
        threads.emplace_back([&body, serial] { body(serial); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// All are opened, used and closed at the same moments.
TEST(SeveralPodsTest, AreOpenedUsedAndClosedAtOnce) {
    const PodsimProcess simulator(description());
    std::barrier<> together(kPods);
    for_each_pod([&together](uint32_t serial) {
        for (int again = 0; again < 3; ++again) {
            together.arrive_and_wait();
            auto session = Session::open(options_for(serial));
            together.arrive_and_wait();
            EXPECT_TRUE(session) << headline(session.error());
            if (session) {
                use(**session, serial, 40);
            }
            together.arrive_and_wait();
        }
    });
    EXPECT_NE(simulator.ctl("status").find("\"attached\":false"), std::string::npos);
    EXPECT_EQ(simulator.ctl("status").find("\"attached\":true"), std::string::npos);
}

// Errors are per handle, too: what one pod refuses, the others do not hear of.
TEST(SeveralPodsTest, TheFailuresOfOneAreItsOwn) {
    const PodsimProcess simulator(description("faults = [\"power off\"]\n"));
    for_each_pod([](uint32_t serial) {
        for (int again = 0; again < 3; ++again) {
            auto session = Session::open(options_for(serial));
            if (serial == kFirstSerial) {
                EXPECT_FALSE(session && (*session)->discover());
            } else if (session) {
                use(**session, serial, 20);
            } else {
                ADD_FAILURE() << "pod " << serial << ": " << headline(session.error());
            }
        }
    });
}

// The printing of the driver is turned away while pods are connected, whichever comes last.
TEST(SeveralPodsTest, TheStandardOutputIsTheProgramsOwnAfterwards) {
    const PodsimProcess simulator(description());
    testing::internal::CaptureStdout();
    for_each_pod([](uint32_t serial) {
        for (int again = 0; again < 5; ++again) {
            EXPECT_TRUE(Session::open(options_for(serial)));
        }
    });
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, "mine\n", 5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "mine\n");
}

} // namespace
} // namespace talvor
