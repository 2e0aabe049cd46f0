// The time slice of a proxy's threads.
#include "common/time_slice.h"
#include "host.h"
#include "podsim/proxy/proxy.h"

#include <gtest/gtest.h>

#include <thread>

namespace talvor::podsim::proxy {
namespace {

// Notes the slice of the thread that serves it.
class Witness : public Backend {
public:
    void attach() override { slice = time_slice(); }
    void detach() override {}
    Status write_support(uint16_t) override { return {}; }
    batch::Outcome execute(const batch::Batch&, std::span<uint16_t>) override { return {}; }
    void request_stop() override {}
    void note(std::string_view) override {}

    std::optional<std::chrono::nanoseconds> slice;
};

TEST(WorkerSliceTest, IsShortWhereTheKernelGivesShortOnesAndTheOtherThreadsKeepTheirs) {
    const auto before = time_slice();
    bool given = false;
    std::thread([&given] { given = shorten_time_slice(); }).join();
    Witness pod;
    auto proxy = Proxy::start({{{42, 0x0200, 0, 0}, &pod}}, {});
    ASSERT_TRUE(proxy);
    Host host(42);
    ASSERT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
    EXPECT_EQ(pod.slice == kShortTimeSlice, given);
    EXPECT_EQ(time_slice(), before);
}

} // namespace
} // namespace talvor::podsim::proxy
