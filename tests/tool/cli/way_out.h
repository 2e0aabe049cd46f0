// The way out of a test mode, as the waveform of the pod shows it.
#pragma once

#include "common/bsdl/model.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace talvor::cli {

// What an Update took over, or a reset.
struct Act {
    enum class Kind : uint8_t { Instruction, Data, Reset };
    Kind kind;
    std::string bits; // the first shifted first
};

// Of a trace file.
std::vector<Act> acts_of(const std::string& vcd);

// A chain, some of whose devices are in test mode and the others in BYPASS meanwhile.
class WayOut {
public:
    struct Part {
        std::string file; // BSDL
        bool tested = true;
    };
    // Nearest TDI first.
    explicit WayOut(const std::vector<Part>& parts);

    // The indices of acts after which every tested device has EXTEST.
    [[nodiscard]] std::vector<size_t> entries(const std::vector<Act>& acts) const;
    // What the boundary registers of the tested devices got by a data scan, and their safe values:
    // one behind the other, as they are shifted.
    [[nodiscard]] std::string images_of(const Act& act) const;
    [[nodiscard]] std::string safe() const;
    // The last acts are a scan of safe values while EXTEST holds the pins, BYPASS, and
    // Test-Logic-Reset; and each EXTEST before found its values in the registers already.
    void expect_taken(const std::vector<Act>& acts) const;

private:
    struct Device {
        std::shared_ptr<const bsdl::Device> description;
        bool tested;
    };
    // Instructions of the whole chain, as they are shifted.
    [[nodiscard]] std::string instructions(const char* of_tested) const;

    std::vector<Device> devices_; // nearest TDO first
};

} // namespace talvor::cli
