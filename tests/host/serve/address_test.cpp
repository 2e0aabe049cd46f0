// Addresses as users write them.
#include "host/serve/address.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor {
namespace {

ServeAddress tcp(const std::string& host, const std::string& port) {
    return {"", host, port};
}

TEST(ServeAddressTest, TakesHostsPortsAndPaths) {
    const std::pair<const char*, ServeAddress> cases[] = {
        {"127.0.0.1:2542", tcp("127.0.0.1", "2542")},
        {"2542", tcp("127.0.0.1", "2542")},
        {":2542", tcp("127.0.0.1", "2542")},
        {"0", tcp("127.0.0.1", "0")},
        {"65535", tcp("127.0.0.1", "65535")},
        {"*:2542", tcp("", "2542")},
        {"0.0.0.0:1", tcp("0.0.0.0", "1")},
        {"lab.example:1", tcp("lab.example", "1")},
        {"[::1]:2542", tcp("::1", "2542")},
        {"/run/pod.sock", {"/run/pod.sock", "127.0.0.1", ""}},
        {"./pod:1", {"./pod:1", "127.0.0.1", ""}},
    };
    for (const auto& [text, wanted] : cases) {
        const auto address = ServeAddress::parse("--xvc", text);
        ASSERT_TRUE(address) << text;
        EXPECT_EQ(*address, wanted) << text;
    }
}

TEST(ServeAddressTest, IsWrittenAsItWasRead) {
    for (const char* text : {"127.0.0.1:2542", "*:2542", "[::1]:2542", "/run/pod.sock"}) {
        EXPECT_EQ(ServeAddress::parse("--xvc", text)->text(), text);
    }
}

TEST(ServeAddressTest, RefusesWhatIsNone) {
    for (const char* text : {"", "localhost", "localhost:", "1:2:3", "::1:2542", "65536", "-1",
                             "25x", "host:99999999999999999999"}) {
        const auto address = ServeAddress::parse("--rbb", text);
        ASSERT_FALSE(address) << text;
        EXPECT_EQ(address.error().kind, ErrorKind::Usage);
        EXPECT_EQ(address.error().thing, std::string("--rbb ") + text);
        EXPECT_FALSE(address.error().next_step.empty());
    }
}

} // namespace
} // namespace talvor
