// Functions of the driver's names, as a host or a preloaded library may happen to define them.
// Whoever calls one of them ends.
#include "scan/scan_engine.h"
#include "sys/memory.h"
#include "transport/port.h"

#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void called(const char* name) {
    std::fprintf(stderr, "interposer: %s was called\n", name);
    std::_Exit(99);
}

} // namespace

void* sys_MemAlloc(uint32_t /*size*/) {
    called("sys_MemAlloc");
}

void PortWrite(JSC_Inform* /*pJscInform*/, uint16_t /*port*/, uint16_t /*value*/) {
    called("PortWrite");
}

int32_t TbcScan(JSC_Inform* /*pJscInform*/, const JSC_JtagCommand* /*pCommand*/,
                uint16_t /*control*/, uint32_t /*count*/, bool /*lengthAdjust*/, bool /*sendOnly*/,
                bool /*sendFixed*/, uint32_t /*repeatCount*/, uint16_t* /*pBufferDst*/,
                uint16_t* /*pBufferSrc*/) {
    called("TbcScan");
}
