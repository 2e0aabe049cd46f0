#include "torture_bench.h"

#include "api/diagnose.h"
#include "export/operations.h"

#include <gtest/gtest.h>

#include <cstring>

namespace torture {
namespace {

constexpr const char* kDescription = R"(
[[pod]]
serial = 1
revision = 0x0200
[[pod.tap]]
name = "tap"
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

} // namespace

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
    Outputs out = Outputs::spoiled();
    EXPECT_EQ(session.call(operation_call("ScanRecv16"), out), 0);
    EXPECT_EQ(out.words[0], 0x3C4D);
    EXPECT_EQ(out.words[1], 0x1A2B);
    bool last = false;
    EXPECT_EQ(jsc_Disconnect(session.get(), &last), 0);
    EXPECT_TRUE(last);
    EXPECT_EQ(jsc_QuitHandle(session.get()), 0);
}

} // namespace torture
