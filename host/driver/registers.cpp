#include "host/driver/registers.h"

#include <vector>

namespace talvor {

Result<std::span<const uint16_t>> read_registers(Pod& pod, const RegisterStretch& stretch) {
    // The words belong to the pod: the driver may still write to them if the read fails.
    std::vector<uint16_t>& words = pod.receive_buffer(stretch.count);
    const Status done = pod.run("reading registers", &JSC_Interface::RegisterRead, !stretch.same,
                                true, stretch.first, stretch.count, words.data());
    if (!done) {
        pod.retire_receive_buffer();
        return Failure(done.error());
    }
    return std::span<const uint16_t>(words.data(), stretch.count);
}

Status write_registers(Pod& pod, uint32_t first, bool same, std::span<const uint16_t> values) {
    std::vector<uint16_t> words(values.begin(), values.end());
    TRY(pod.run("writing registers", &JSC_Interface::RegisterWrite, !same, true, first,
                static_cast<uint32_t>(words.size()), words.data()));
    return pod.flush();
}

} // namespace talvor
