#include "torture_bench.h"

#include "api/diagnose.h"
#include "export/operations.h"

#include <gtest/gtest.h>

#include <cstring>

namespace torture {
namespace {

// The device nearer TDI has no IDCODE.
constexpr const char* kDescription = R"(
[[pod]]
serial = 1
revision = 0x0200
[[pod.tap]]
name = "plain"
ir_length = 5
[[pod.tap]]
name = "marked"
ir_length = 4
idcode = 0x1A2B3C4D
idcode_instruction = 2
)";

constexpr uint32_t kRecipe = JSC_RECIPE_LONG_INIT | JSC_RECIPE_RESET_LOG | JSC_RECIPE_MODE_CONFIG;

int32_t move_to_reset(JSC_Inform* handle) {
    JSC_JtagCommand command{};
    command.jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST;
    command.jtagEnd = eJSC_JTAG_STATE_RESET;
    return operations.PutState(handle, &command, 0, 1);
}

// Nothing queued and the TAP in Test-Logic-Reset.
void settle(JSC_Inform* handle) {
    EXPECT_EQ(move_to_reset(handle), 0);
    JSC_JtagState state{};
    EXPECT_EQ(operations.GetState(handle, &state), 0);
    EXPECT_EQ(state, eJSC_JTAG_STATE_RESET);
}

// What comes back of a scan that sends `out`; nothing when it fails.
std::vector<uint16_t> shift(JSC_Inform* handle, JSC_JtagShift path, uint32_t bits,
                            std::vector<uint16_t> out) {
    const JSC_JtagCommand command{eJSC_JTAG_TRANSIT_QUICKEST, path,
                                  eJSC_JTAG_TRANSIT_QUICKEST, eJSC_JTAG_STATE_IDLE,
                                  eJSC_JTAG_DELAY_USE_END,    eJSC_JTAG_AMBLE_NEITHER,
                                  eJSC_JTAG_USAGE_FRESH,      eJSC_JTAG_WIDTH_16,
                                  eJSC_JTAG_ADJUST_AUTO};
    std::vector<uint16_t> in(out.size());
    const JSC_JtagParam16 param{1, 0, bits, out.data(), in.data()};
    return operations.ScanBoth16(handle, &command, &param) == 0 ? in : std::vector<uint16_t>{};
}

// What comes back of these words through two bits of BYPASS, which capture zeros. An adjusted scan
// sends a word of ones before them.
std::vector<uint16_t> through_bypass(const std::vector<uint16_t>& words) {
    std::vector<uint16_t> back;
    unsigned carried = 0;
    unsigned next = 0xFFFF;
    for (const uint16_t word : words) {
        back.push_back(static_cast<uint16_t>(next << 2 | carried));
        carried = next >> 14;
        next = word;
    }
    return back;
}

} // namespace

bool discover_chain(JSC_Inform* handle, uint32_t words) {
    using Words = std::vector<uint16_t>;
    constexpr uint16_t kOnes = 0xFFFF;
    if (move_to_reset(handle) != 0) {
        return false;
    }
    const Words codes = shift(handle, eJSC_JTAG_SHIFT_DR, 64, Words(4, kOnes));
    const Words lengths = shift(handle, eJSC_JTAG_SHIFT_IR, 16, Words(1, kOnes));
    Words pattern(words);
    for (uint32_t i = 0; i < words; ++i) {
        pattern[i] = static_cast<uint16_t>(i * 40503U >> 3);
    }
    const Words through = shift(handle, eJSC_JTAG_SHIFT_DR, words * 16, pattern);
    return codes == Words{0x3C4D, 0x1A2B, 0xFFFE, kOnes} && lengths == Words{0xFE11} &&
           through == through_bypass(pattern);
}

const char* description() {
    return kDescription;
}

Bench::Bench() : simulator(kDescription, {"--strict"}) {}

size_t Bench::free_leftovers() {
    const std::vector<void*> left = heap.blocks();
    for (void* block : left) {
        os_calls.free(block);
    }
    return left.size();
}

Session::Session()
    : host_({{"KELM.POD_EMUVERSION", "2"}, {"KELM.POD_LOGMODE", "yes"}, {"KELM.POD_SERIAL", "x"}}) {
}

Session::Session(Stage stage) : Session() {
    EXPECT_EQ(init(), 0);
    if (stage != Stage::Initialised) {
        EXPECT_EQ(host_.connect(), 0);
        settle(get());
    }
}

Session::~Session() {
    if (get() == nullptr) {
        return;
    }
    bool last = false;
    (void)jsc_Disconnect(get(), &last); // refused when there is nothing to disconnect
    (void)jsc_QuitHandle(get());
}

int32_t Session::init() {
    return host_.init(kRecipe);
}

int32_t Session::call(const OperationCall& operation, Outputs& out) {
    batch_release(get());
    return operation.make(operations, get(), out);
}

void Session::recover(int32_t code) {
    (void)jsc_Diagnose(get(), code);
    JSC_ResetAction action{};
    action.resetHard = true;
    EXPECT_EQ(operations.Reset(get(), &action), 0);
    EXPECT_EQ(jsc_Diagnose(get(), 0), 0);
    settle(get());
}

unsigned fail_each_call(const OsEntry& entry, int error, bool lasting, const Attempt& attempt,
                        unsigned most) {
    for (unsigned at = 1; at <= most; ++at) {
        SCOPED_TRACE(testing::Message()
                     << entry.name << " fails at call " << at << (lasting ? " and later" : "")
                     << ": " << strerrorname_np(error));
        if (!attempt(at) || testing::Test::HasFailure()) {
            return at - 1;
        }
    }
    return most;
}

const OperationCall& operation_call(const char* name) {
    for (const OperationCall& operation : operation_calls()) {
        if (std::strcmp(operation.name, name) == 0) {
            return operation;
        }
    }
    ADD_FAILURE() << name;
    return operation_calls().front();
}

void expect_a_good_session() {
    Session session(Stage::Connected);
    EXPECT_TRUE(discover_chain(session.get(), kShortScanWords));
    bool last = false;
    EXPECT_EQ(jsc_Disconnect(session.get(), &last), 0);
    EXPECT_TRUE(last);
    EXPECT_EQ(jsc_QuitHandle(session.get()), 0);
}

} // namespace torture
