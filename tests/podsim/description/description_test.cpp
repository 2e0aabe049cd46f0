#include "tests/podsim/description/described.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace talvor::podsim::description {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(DescriptionTest, APodNeedsASerialNumberAndNothingElse) {
    const Description description = parsed("[[pod]]\nserial = 1\n");
    ASSERT_EQ(description.pods.size(), 1U);
    const Pod& pod = description.pods[0];
    EXPECT_EQ(pod.serial, 1U);
    EXPECT_EQ(pod.controller.revision, 0x0200);
    EXPECT_EQ(pod.controller.kind, eJTI_CONTROL_ID_TBC);
    EXPECT_EQ(pod.controller.utility_revision, 1U);
    EXPECT_EQ(pod.controller.cable_delay_bits, 3U);
    EXPECT_EQ(pod.controller.return_pipeline_bits, 16U);
    EXPECT_EQ(pod.controller.max_tck_hz, 0U);
    EXPECT_FALSE(pod.controller.strict);
    EXPECT_THAT(pod.faults, IsEmpty());
    EXPECT_THAT(chain_of(pod).devices, IsEmpty());
}

TEST(DescriptionTest, ReadsEveryKeyOfAPod) {
    const Description description = parsed(R"(
        [[pod]]
        serial = 4294967295
        revision = 0x0403
        controller = "dpm"
        utility_revision = 8
        cable_delay = 31
        return_pipeline = 0
        max_tck_hz = 10_000_000
        strict = true
        faults = ["power off", "loopback low-00"]
        [[pod]]
        serial = 7
        controller = "exl"
        target = "localhost:9824"
        target_protocol = "jtag_vpi"
        target_resets = true
        target_quit = true
        target_patience_ms = 250
    )");
    ASSERT_EQ(description.pods.size(), 2U);
    const Pod& pod = description.pods[0];
    EXPECT_EQ(pod.serial, 4294967295U);
    EXPECT_EQ(pod.controller.revision, 0x0403);
    EXPECT_EQ(pod.controller.kind, eJTI_CONTROL_ID_DPM);
    EXPECT_EQ(pod.controller.utility_revision, 8U);
    EXPECT_EQ(pod.controller.cable_delay_bits, 31U);
    EXPECT_EQ(pod.controller.return_pipeline_bits, 0U);
    EXPECT_EQ(pod.controller.max_tck_hz, 10'000'000U);
    EXPECT_TRUE(pod.controller.strict);
    ASSERT_EQ(pod.faults.size(), 2U);
    EXPECT_EQ(pod.faults[0], (control::Command{.verb = control::Verb::Power, .on = false}));
    EXPECT_EQ(pod.faults[1],
              (control::Command{.verb = control::Verb::Loopback, .fault = LoopFault::LowZeros}));
    EXPECT_EQ(description.pods[1].controller.kind, eJTI_CONTROL_ID_EXL);
    EXPECT_EQ(std::get<External>(description.pods[1].target),
              (External{.address = "localhost:9824",
                        .protocol = TargetProtocol::JtagVpi,
                        .send_resets = true,
                        .quit = true,
                        .patience = std::chrono::milliseconds(250)}));
}

TEST(DescriptionTest, ErrorsOfAPodNameFileLineKeyAndExpectation) {
    const std::string generation = "3: pod[0].revision: expected the pod's generation, 1 to 4, in "
                                   "the high byte, as in 0x0200";
    expect_reasons({
        {"", "1: pod: missing, expected at least one pod, written [[pod]]"},
        {"pods = 1\n", "1: pods: unknown key, expected one of pod"},
        {"pod = 1\n", "1: pod: expected an array of tables, written [[pod]], found an integer"},
        {"\n[[pod]]\nrevision = 0x0200\n",
         "2: pod[0].serial: missing, expected the pod's serial number"},
        {"[[pod]]\nserial = \"one\"\n",
         "2: pod[0].serial: expected an integer from 0 to 4294967295, found a text"},
        {"[[pod]]\nserial = 4294967296\n",
         "2: pod[0].serial: expected an integer from 0 to 4294967295, found 4294967296"},
        {"[[pod]]\nserial = -1\n",
         "2: pod[0].serial: expected an integer from 0 to 4294967295, found -1"},
        {"[[pod]]\nserial = 1\n[[pod]]\nserial = 1\n",
         "4: pod[1].serial: expected a serial number of its own, found 1 again"},
        {pod_with("revision = 0x0500\n"), generation},
        {pod_with("revision = 0x00FF\n"), generation},
        {pod_with("controller = \"abc\"\n"),
         "3: pod[0].controller: expected tbc, exl or dpm, found \"abc\""},
        {pod_with("utility_revision = 9\n"),
         "3: pod[0].utility_revision: expected an integer from 1 to 8, found 9"},
        {pod_with("cable_delay = 32\n"),
         "3: pod[0].cable_delay: expected an integer from 0 to 31, found 32"},
        {pod_with("return_pipeline = 65\n"),
         "3: pod[0].return_pipeline: expected an integer from 0 to 64, found 65"},
        {pod_with("strict = 1\n"), "3: pod[0].strict: expected true or false, found an integer"},
        {pod_with("faults = \"power off\"\n"),
         "3: pod[0].faults: expected an array of texts, found a text"},
        {pod_with("faults = [\"power maybe\"]\n"),
         "3: pod[0].faults: power takes off or on, not 'maybe'"},
        {pod_with("faults = [\"pod 2 power off\"]\n"),
         "3: pod[0].faults: expected faults of this pod, found \"pod 2 power off\""},
        {pod_with("target = \"9000\"\n[[pod.tap]]\nname = \"a\"\nir_length = 4\n"),
         "3: pod[0].target: expected no tap and no net beside an external target"},
        {pod_with("target_resets = true\n"), "3: pod[0].target_resets: expected only with target"},
        {pod_with("target_quit = true\n"), "3: pod[0].target_quit: expected only with target"},
        {pod_with("target_protocol = \"xvc\"\n"),
         "3: pod[0].target_protocol: expected only with target"},
        {pod_with("target = \"9000\"\ntarget_protocol = \"spi\"\n"),
         "4: pod[0].target_protocol: expected remote_bitbang, xvc or jtag_vpi, found \"spi\""},
        {pod_with("target = \"9000\"\ntarget_protocol = \"xvc\"\ntarget_quit = false\n"),
         "5: pod[0].target_quit: expected only with remote_bitbang or jtag_vpi, for xvc has no "
         "request for it"},
        {pod_with("colour = 1.5\n"),
         "3: pod[0].colour: unknown key, expected one of serial, revision, controller, "
         "utility_revision, cable_delay, return_pipeline, max_tck_hz, strict, faults, tap, net, "
         "fault, floating, target, target_protocol, target_resets, target_quit, "
         "target_patience_ms"},
        {"[[pod]\nserial = 1\n",
         "1: not TOML: Error while parsing table header: expected ']', saw '\\n'"},
    });
}

TEST(DescriptionTest, AFileThatIsNotThereIsNamed) {
    EXPECT_EQ(reason_of(read("/nowhere/pods.toml")),
              "/nowhere/pods.toml: cannot be read: No such file or directory");
}

TEST(DescriptionTest, TheBuiltInOneIsTheSingleDeviceOfTheExamples) {
    const Description built = built_in();
    const auto file = read(EXAMPLES_FOLDER "/single.toml");
    ASSERT_TRUE(file) << reason_of(file);
    ASSERT_EQ(built.pods.size(), 1U);
    ASSERT_EQ(file.value().pods.size(), 1U);
    EXPECT_EQ(built.pods[0].serial, file.value().pods[0].serial);
    ASSERT_EQ(chain_of(built.pods[0]).devices.size(), 1U);
    EXPECT_EQ(chain_of(built.pods[0]).devices[0].idcode,
              chain_of(file.value().pods[0]).devices[0].idcode);
}

TEST(DescriptionTest, TheExampleOfFiveIsWhatItSays) {
    const auto file = read(EXAMPLES_FOLDER "/five.toml");
    ASSERT_TRUE(file) << reason_of(file);
    const ChainDescription& chain = chain_of(file.value().pods[0]);
    std::vector<unsigned> lengths;
    unsigned without_idcode = 0;
    for (const DeviceDescription& device : chain.devices) {
        lengths.push_back(device.instruction_bits);
        without_idcode += device.idcode ? 0 : 1;
    }
    EXPECT_THAT(lengths, ElementsAre(6, 4, 5, 8, 10));
    EXPECT_EQ(without_idcode, 1U);
}

TEST(DescriptionTest, BuiltInTextsAreThoseOfTheExamples) {
    for (const std::string name : {"single", "five"}) {
        const std::string path = std::string(EXAMPLES_FOLDER "/") + name + ".toml";
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        EXPECT_FALSE(text.str().empty());
        EXPECT_EQ(built_in_text(name), text.str());
    }
    EXPECT_EQ(built_in_text("six"), "");
}

TEST(DescriptionTest, TheExampleOfTwoPodsHasTwo) {
    const auto file = read(EXAMPLES_FOLDER "/two-pods.toml");
    ASSERT_TRUE(file) << reason_of(file);
    ASSERT_EQ(file.value().pods.size(), 2U);
    EXPECT_EQ(file.value().pods[0].controller.revision, 0x0100);
    EXPECT_EQ(file.value().pods[1].controller.revision, 0x0400);
}

} // namespace
} // namespace talvor::podsim::description
