#include "host/play/whole_scan.h"

namespace talvor::play {

WholeScan::WholeScan(const ScanStep& scan) {
    for (const ScanPart& part : scan.parts) {
        if (part.length_bits == 0) {
            continue;
        }
        tdi.append(part.tdi, part.length_bits);
        if (!part.compares()) {
            tdo.append(Bits(part.length_bits));
            mask.append(Bits(part.length_bits));
            continue;
        }
        tdo.append(part.tdo, part.length_bits);
        if (part.mask == nullptr) {
            mask.append(Bits::ones(part.length_bits));
        } else {
            mask.append(part.mask, part.length_bits);
        }
    }
    tdo &= mask;
}

} // namespace talvor::play
