// Samples of pins as a value change dump, for viewers of waveforms.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace talvor::boundary {

// Gives the text piece by piece; who uses it writes it where it should be. Times are microseconds.
class SampleRecord {
public:
    // The signals of a device.
    struct Module {
        std::string name;
        std::vector<std::string> signals;
    };

    explicit SampleRecord(const std::vector<Module>& modules);

    // What the dump begins with.
    [[nodiscard]] const std::string& header() const noexcept { return header_; }
    // A sample: a level for each signal, in their order, '0', '1', 'z' or 'x'. What has changed
    // since the one before; "" when nothing has. Times ascend.
    [[nodiscard]] std::string add(uint64_t time_us, std::span<const char> levels);
    // What it ends with: the levels lasted until then.
    [[nodiscard]] static std::string end(uint64_t time_us);

private:
    std::string header_;
    std::vector<std::string> codes_;
    std::vector<char> levels_; // empty before the first sample
};

} // namespace talvor::boundary
