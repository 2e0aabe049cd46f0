// The driver beside a proxy that may leave anything in shared memory. The input: a byte of options,
// the number of changes to the device table and those (place, byte); the length of the host's part,
// the host's operations, and what the proxy does behind each exchange. Where that ends the proxy is
// an honest one.
#include "fuzz/base/check.h"
#include "fuzz/driver_session.h"
#include "fuzz/targets.h"
#include "host/board/configuration.h"

#include <array>

namespace talvor::fuzz {
namespace {

constexpr size_t kMostOperations = 40;
constexpr uint8_t kMostTableChanges = 16;

// The fields that a proxy's side of the block has.
constexpr std::array<uint32_t lcl_shm::*, 8> kFields{
    &lcl_shm::cmd,        &lcl_shm::data,      &lcl_shm::exit_req,  &lcl_shm::tbcMblockPtr,
    &lcl_shm::useZeroOfs, &lcl_shm::lastWCNTR, &lcl_shm::rdCntrLcl, &lcl_shm::rdCntrGbl};

// Small changes of a counter are as telling as large ones.
uint32_t spoilt(uint32_t value, uint8_t how, Input& input) {
    switch (how & 3U) {
    case 0:
        return value + 1;
    case 1:
        return value - 1;
    case 2:
        return SHM_BLOCK_WORDS - input.byte() + 4U;
    default:
        return input.word();
    }
}

// What the proxy does behind an exchange, or between two looks of the driver.
void spoil(lcl_shm& block, Input& input) {
    const uint8_t what = input.byte();
    switch (what & 7U) {
    case 1:
        block.status = static_cast<int32_t>(
            spoilt(static_cast<uint32_t>(block.status), static_cast<uint8_t>(what >> 3), input));
        break;
    case 2:
    case 3: {
        uint32_t& field = block.*kFields.at((what >> 3) % kFields.size());
        field = spoilt(field, input.byte(), input);
        break;
    }
    case 4:
        block.tbcIMblock[input.half() % 64U] = input.half();
        break;
    case 5:
        block.tbcOMblock[input.byte() % 8U] = input.half();
        break;
    case 6:
        block.status = -static_cast<int32_t>(input.byte());
        break;
    default:
        break;
    }
}

KeyStore keys() {
    KeyStore keys;
    keys.set("KELM.POD_DRVR", "jscpod.so");
    keys.set("KELM.POD_PORT", "0");
    return keys;
}

struct Options {
    explicit Options(uint8_t bits)
        : changed_table((bits & 1U) != 0), long_init((bits & 2U) != 0), log((bits & 4U) != 0),
          between((bits & 8U) != 0) {}
    bool changed_table;
    bool long_init;
    bool log;
    bool between; // the proxy also acts while the driver takes memory, in the middle of its work
};

void change_table(gbl_shm& table, Input& input) {
    auto* const bytes = reinterpret_cast<uint8_t*>(&table);
    for (uint8_t left = input.up_to(kMostTableChanges); left != 0; --left) {
        const uint16_t place = input.half();
        // The first two records and the last one are what is looked at most.
        const size_t offset = place < 0x8000 ? place % 164U : place % sizeof(gbl_shm);
        bytes[offset] = input.byte();
    }
}

void play(Input& input, MemoryOs& os, MemoryProxy& proxy, const Options& options) {
    Input operations(input.take(input.half() % 512U));
    Configuration configuration(keys());
    JSC_Parameter parameter{true,
                            (options.long_init ? JSC_RECIPE_LONG_INIT : 0U) |
                                (options.log ? JSC_RECIPE_RESET_LOG : 0U),
                            eJTI_CLIENT_ANONYMOUS, configuration.table(), configuration.handle()};
    proxy.spoil = [&input](lcl_shm& block) { spoil(block, input); };
    if (options.between) {
        os.on_allocation = [&input, &proxy] { spoil(proxy.block(), input); };
    }
    DriverHost host;
    if (host.create(parameter) != 0) {
        return;
    }
    (void)host.connect();
    for (size_t done = 0; done < kMostOperations && !operations.empty(); ++done) {
        (void)host.operate(operations);
    }
}

// The next host finds a pod that works, whatever the last one met.
void check_aftermath() {
    MemoryOs os;
    MemoryProxy proxy(os, POD_REVISION_1, eJTI_CONTROL_ID_TBC);
    Configuration configuration(keys());
    {
        JSC_Parameter parameter{true, JSC_RECIPE_LONG_INIT, eJTI_CLIENT_ANONYMOUS,
                                configuration.table(), configuration.handle()};
        DriverHost host;
        FUZZ_CHECK(host.create(parameter) == 0 && host.connect() == 0, "an honest pod connects");
        host.check_chain();
    }
    os.check_nothing_left();
}

} // namespace

void run_hostile(Bytes bytes) {
    Input input(bytes);
    const Options options(input.byte());
    {
        MemoryOs os;
        MemoryProxy proxy(os, POD_REVISION_1, eJTI_CONTROL_ID_TBC);
        if (options.changed_table) {
            change_table(proxy.table(), input);
        }
        play(input, os, proxy, options);
        os.check_nothing_left();
    }
    if (input.empty()) {
        check_aftermath();
    }
}

} // namespace talvor::fuzz
