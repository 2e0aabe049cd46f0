#include "podsim/model/chain_description.h"

namespace talvor::podsim {

uint64_t register_bits(const RegisterDescription& description) {
    struct Length {
        uint64_t operator()(const ConstantRegister& r) const { return r.bits; }
        uint64_t operator()(const ScratchRegister& r) const { return r.bits; }
        uint64_t operator()(const CounterRegister& r) const { return r.bits; }
        uint64_t operator()(const MemoryRegister& r) const {
            return uint64_t{kMemoryOperationBits} + r.data_bits + r.address_bits;
        }
        uint64_t operator()(const BoundaryRegister& r) const { return r.pins.size(); }
        uint64_t operator()(const RiscvDescription&) const {
            return kRiscvOperationBits + kRiscvDataBits + kRiscvAddressBits;
        }
    };
    return std::visit(Length{}, description.kind);
}

} // namespace talvor::podsim
