#include "way_out.h"

#include "common/bsdl/reader.h"
#include "host/boundary/plan.h"
#include "host/waveform/vcd.h"

#include <gtest/gtest.h>

namespace talvor::cli {

std::vector<Act> acts_of(const std::string& vcd) {
    const auto seen = waveform::read_vcd_file(vcd);
    EXPECT_TRUE(seen) << headline(seen.error());
    std::vector<Act> acts;
    std::string bits;
    for (const waveform::Sample& sample : seen->samples) {
        switch (sample.state) {
        case TapState::CaptureDr:
        case TapState::CaptureIr:
            bits.clear();
            break;
        case TapState::ShiftDr:
        case TapState::ShiftIr:
            bits += sample.tdi ? '1' : '0';
            break;
        case TapState::UpdateDr:
            if (!bits.empty()) { // the driver passes through on its way to and from Pause-DR
                acts.push_back({Act::Kind::Data, bits});
            }
            break;
        case TapState::UpdateIr:
            acts.push_back({Act::Kind::Instruction, bits});
            break;
        case TapState::TestLogicReset:
            if (acts.empty() || acts.back().kind != Act::Kind::Reset) {
                acts.push_back({Act::Kind::Reset, ""});
            }
            break;
        default:
            break;
        }
    }
    return acts;
}

namespace {

// The end of a scan, which is what stays in the registers.
std::string last(const std::string& bits, size_t count) {
    return bits.size() < count ? bits : bits.substr(bits.size() - count);
}

} // namespace

WayOut::WayOut(const std::vector<Part>& parts) {
    for (const Part& part : parts) {
        devices_.insert(devices_.begin(),
                        {std::make_shared<const bsdl::Device>(bsdl::read_bsdl(part.file)->device),
                         part.tested});
    }
}

std::string WayOut::instructions(const char* of_tested) const {
    std::string bits;
    for (const Device& device : devices_) {
        const std::string code =
            device.tested
                ? bsdl::find_instruction(*device.description, of_tested)->opcodes.front().text
                : std::string(device.description->instruction_bits, '1');
        bits.append(code.rbegin(), code.rend());
    }
    return bits;
}

std::vector<size_t> WayOut::entries(const std::vector<Act>& acts) const {
    const std::string extest = instructions("EXTEST");
    std::vector<size_t> found;
    for (size_t i = 0; i < acts.size(); ++i) {
        if (acts[i].kind == Act::Kind::Instruction && last(acts[i].bits, extest.size()) == extest) {
            found.push_back(i);
        }
    }
    return found;
}

std::string WayOut::images_of(const Act& act) const {
    size_t all = 0;
    for (const Device& device : devices_) {
        all += device.tested ? device.description->boundary_bits : 1;
    }
    const std::string line = last(act.bits, all);
    std::string images;
    size_t at = 0;
    for (const Device& device : devices_) {
        const size_t bits = device.tested ? device.description->boundary_bits : 1;
        images += device.tested && at < line.size() ? line.substr(at, bits) : "";
        at += bits;
    }
    return images;
}

std::string WayOut::safe() const {
    std::string bits;
    for (const Device& device : devices_) {
        const Bits image = boundary::Plan::make(device.description)->safe();
        for (size_t i = 0; device.tested && i < image.size(); ++i) {
            bits += image[i] ? '1' : '0';
        }
    }
    return bits;
}

void WayOut::expect_taken(const std::vector<Act>& acts) const {
    ASSERT_GE(acts.size(), 5U);
    const Act* const end = &acts.back();
    EXPECT_EQ(end[0].kind, Act::Kind::Reset);
    EXPECT_EQ(end[-1].kind, Act::Kind::Instruction);
    const std::string bypass = std::string(instructions("BYPASS").size(), '1');
    EXPECT_EQ(last(end[-1].bits, bypass.size()), bypass);
    EXPECT_EQ(end[-2].kind, Act::Kind::Data);
    EXPECT_EQ(images_of(end[-2]), safe());
    const std::vector<size_t> entered = entries(acts);
    ASSERT_FALSE(entered.empty());
    for (size_t i = entered.back() + 1; i + 2 < acts.size(); ++i) {
        EXPECT_EQ(acts[i].kind, Act::Kind::Data) << "EXTEST holds to the safe values";
    }
    for (const size_t entry : entered) {
        EXPECT_EQ(acts[entry - 1].kind, Act::Kind::Data) << "PRELOAD comes before";
    }
}

} // namespace talvor::cli
