#include "description_text.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

namespace endtoend {
namespace {

// The widest value first, as numbers are written.
std::string wide_text(const std::vector<uint64_t>& words) {
    std::ostringstream text;
    text << "\"0x0";
    for (auto word = words.rbegin(); word != words.rend(); ++word) {
        text << std::hex << std::setw(16) << std::setfill('0') << *word;
    }
    return text.str() + "\"";
}

struct KindText {
    std::ostringstream& text;

    void operator()(const talvor::podsim::ConstantRegister& constant) const {
        text << "kind = \"constant\"\nlength = " << constant.bits
             << "\nvalue = " << wide_text(constant.value) << "\n";
    }
    void operator()(const talvor::podsim::ScratchRegister& scratch) const {
        text << "kind = \"scratch\"\nlength = " << scratch.bits
             << "\nvalue = " << wide_text(scratch.value) << "\n";
    }
    void operator()(const talvor::podsim::CounterRegister& counter) const {
        text << "kind = \"counter\"\nlength = " << counter.bits << "\n";
    }
    void operator()(const talvor::podsim::MemoryRegister& memory) const {
        text << "kind = \"memory\"\naddress_bits = " << memory.address_bits
             << "\ndata_bits = " << memory.data_bits << "\nwords = " << memory.words << "\n";
    }
    void operator()(const talvor::podsim::RiscvDescription&) const {
        ADD_FAILURE() << "it is described by the kind of its TAP, not as a register";
    }
    void operator()(const talvor::podsim::BoundaryRegister& boundary) const {
        text << "kind = \"boundary\"\nextest = " << boundary.extest
             << "\nsample = " << boundary.sample << "\n";
        for (size_t pin = 0; pin < boundary.pins.size(); ++pin) {
            text << "[[pod.tap.register.pin]]\nname = \"pin" << pin
                 << "\"\noutput = " << (boundary.pins[pin].output ? "true" : "false")
                 << "\nlevel = " << (boundary.pins[pin].level ? "true" : "false") << "\n";
        }
    }
};

void write_register(std::ostringstream& text, const talvor::podsim::RegisterDescription& one,
                    size_t index) {
    text << "[[pod.tap.register]]\nname = \"register" << index << "\"\n";
    if (!std::holds_alternative<talvor::podsim::BoundaryRegister>(one.kind)) {
        text << "instruction = [";
        for (const uint64_t code : one.instructions) {
            text << code << ", ";
        }
        text << "]\n";
    }
    std::visit(KindText{text}, one.kind);
}

void write_tap(std::ostringstream& text, const talvor::podsim::DeviceDescription& device,
               size_t index) {
    text << "[[pod.tap]]\nname = \"tap" << index << "\"\nir_length = " << device.instruction_bits
         << "\nir_capture = " << device.instruction_capture << "\n";
    if (device.idcode) {
        text << "idcode = " << *device.idcode
             << "\nidcode_instruction = " << device.idcode_instruction << "\n";
    }
    for (size_t i = 0; i < device.registers.size(); ++i) {
        write_register(text, device.registers[i], i);
    }
}

} // namespace

std::string pod_text(const PodText& pod, const talvor::podsim::ChainDescription& chain) {
    std::ostringstream text;
    text << "[[pod]]\nserial = " << pod.serial << "\nrevision = " << pod.revision
         << "\ncontroller = \"" << pod.controller << "\"\nreturn_pipeline = " << pod.return_pipeline
         << "\ncable_delay = " << pod.cable_delay << "\n";
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        write_tap(text, chain.devices[i], i);
    }
    return text.str();
}

std::string plain_pod_text(const PodText& pod) {
    talvor::podsim::DeviceDescription device;
    device.idcode = 0x1A2B3C4D;
    device.idcode_instruction = 2;
    device.registers.push_back({"", {8}, talvor::podsim::ScratchRegister{32, {0}}});
    return pod_text(pod, {{device}, {}});
}

} // namespace endtoend
