// The controller's registers through the host library, with a simulated pod.
#include "hardware/tbc_registers.h"
#include "host/driver/registers.h"
#include "session_options.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace endtoend {
namespace {

using talvor::read_registers;
using talvor::Session;
using talvor::write_registers;
using test_support::PodsimProcess;

class RegistersTest : public testing::Test {
protected:
    RegistersTest() {
        auto opened = Session::open(session_options(1));
        EXPECT_TRUE(opened) << headline(opened.error());
        session_ = std::move(*opened);
    }
    talvor::Pod& pod() { return session_->pod(); }
    std::vector<uint16_t> read(const talvor::RegisterStretch& stretch) {
        const auto words = read_registers(pod(), stretch);
        EXPECT_TRUE(words) << headline(words.error());
        return words ? std::vector<uint16_t>(words->begin(), words->end())
                     : std::vector<uint16_t>();
    }

private:
    PodsimProcess simulator_;
    std::unique_ptr<Session> session_;
};

TEST_F(RegistersTest, AreReadInARowOrOneAgainAndAgain) {
    const auto row = read({.first = 0, .count = 16});
    ASSERT_EQ(row.size(), 16U);
    EXPECT_EQ(read({.first = 5}), std::vector<uint16_t>{row[5]});
    EXPECT_EQ(read({.first = 5, .count = 3, .same = true}), std::vector<uint16_t>(3, row[5]));
}

TEST_F(RegistersTest, KeepWhatIsWritten) {
    const std::array<uint16_t, 2> values{0x1234, 0x0056};
    ASSERT_TRUE(write_registers(pod(), TBC_PORT_COUNT_LOW, false, values));
    EXPECT_EQ(read({.first = TBC_PORT_COUNT_LOW, .count = 2}),
              std::vector<uint16_t>(values.begin(), values.end()));
    ASSERT_TRUE(write_registers(pod(), TBC_PORT_COUNT_LOW, true, values));
    EXPECT_EQ(read({.first = TBC_PORT_COUNT_LOW}), std::vector<uint16_t>{0x0056}) << "the last";
    EXPECT_EQ(read({.first = TBC_PORT_COUNT_HIGH}), std::vector<uint16_t>{0x0056}) << "as before";
}

TEST_F(RegistersTest, ThatThereAreNotAreTheDriversToRefuse) {
    const auto none = read_registers(pod(), {.first = 99});
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error().code, -170);
    EXPECT_FALSE(write_registers(pod(), 99, false, std::array<uint16_t, 1>{0}));
    EXPECT_EQ(read({.first = 0, .count = 2}).size(), 2U) << "the pod goes on";
}

} // namespace
} // namespace endtoend
