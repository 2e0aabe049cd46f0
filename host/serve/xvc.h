// Server side of XVC 1.0, a protocol of whole vectors of TMS and TDI.
//
//     getinfo:                              -> xvcServer_v1.0:<bytes>\n
//     settck: period                        -> period in force
//     shift: bits, TMS bytes, TDI bytes     -> TDO bytes
//
// Numbers are 32 bits, lowest byte first; periods are in ns; bit 0 of byte 0 goes first. Nothing
// ends a request. Where the TAP stands is wholly the client's affair. Requests that have come
// together are served together, so that a client which does not wait for each answer pays one
// exchange with the pod for many vectors.
#pragma once

#include "host/serve/edge_batch.h"
#include "host/serve/protocol.h"

#include <vector>

namespace talvor {

class Xvc final : public Protocol {
public:
    // The bytes of both vectors of a shift together, as they are advertised: a little over 1 MiB,
    // so that a client which keeps the number in 16 bits still finds a good one. Twice as much is
    // taken, since some clients take the number for the bytes of one vector.
    static constexpr size_t kDefaultBytes = (size_t{1} << 20) + (size_t{1} << 14);
    static constexpr size_t kLeastBytes = 64;
    static constexpr size_t kMostBytes = size_t{1} << 26;

    // The port outlives it.
    explicit Xvc(EdgePort& port, size_t advertised_bytes = kDefaultBytes)
        : port_(port), advertised_bytes_(advertised_bytes) {}

    [[nodiscard]] Result<Served> serve(std::span<const uint8_t> input, Answer& answer) override;
    [[nodiscard]] size_t longest_request() const noexcept override;

private:
    // How many bytes the first request of `input` has; 0: not all of it is here yet.
    [[nodiscard]] Result<size_t> serve_one(std::span<const uint8_t> input, Answer& answer);
    [[nodiscard]] Result<size_t> settck(std::span<const uint8_t> operands, Answer& answer);
    [[nodiscard]] Result<size_t> shift(std::span<const uint8_t> operands, Answer& answer);
    // Makes the edges that were collected, and answers their vectors.
    [[nodiscard]] Status make(Answer& answer);

    EdgePort& port_;
    size_t advertised_bytes_;
    EdgeBatch batch_;
    std::vector<size_t> lengths_; // of the vectors in the batch
};

} // namespace talvor
