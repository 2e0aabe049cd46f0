// The head of a value change dump (IEEE 1364): what signals it has, and by what codes its changes
// call them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace talvor {

// The code of the signal `index`: one character for the first 94 signals, then two, and so on.
[[nodiscard]] std::string vcd_code(size_t index);

class VcdHeader {
public:
    // `timescale` is the unit of its times: "1 ns".
    VcdHeader(std::string_view program, std::string_view timescale);

    // Signals stand in modules. Blanks of a name, which no reader takes, become '_'.
    void begin_module(std::string_view name);
    void end_module();
    void wire(std::string_view code, std::string_view name); // of one bit
    void text(std::string_view code, std::string_view name); // of words, for readers that know them

    // The whole head.
    [[nodiscard]] std::string finish() &&;

private:
    std::string text_;
};

} // namespace talvor
