// Lengths of the scans that measure the test clock and the paths, in bits.
#pragma once

#include <cstdint>

constexpr uint32_t kScanBitsShortest = 1024;
constexpr uint32_t kScanBitsDefault = 16384;
constexpr uint32_t kScanBitsLongest = 524288;
// A scan length is cut to a multiple of this.
constexpr uint32_t kScanBitsUnit = 32;
