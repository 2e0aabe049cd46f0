// Every allocation of every operation fails once, alone and with all that come after it. Wanted
// each time: the documented code, the outputs as documented, nothing lost, and the same call
// succeeding when there is memory again.
#include "api/property.h"
#include "export/operations.h"
#include "log/store.h"
#include "sys/path.h"
#include "sys/strheap.h"
#include "torture_bench.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <optional>

namespace torture {
namespace {

constexpr size_t kSlots = sizeof(JSC_Interface) / sizeof(void (*)());

TEST(OperationCallsTest, CoverEverySlotOnce) {
    static_assert(kSlots == 54);
    ASSERT_EQ(operation_calls().size(), kSlots);
    for (size_t slot = 0; slot < kSlots; ++slot) {
        EXPECT_EQ(operation_calls()[slot].slot, slot) << operation_calls()[slot].name;
    }
}

int64_t called_slot;

template <size_t slot>
JTI_Error note_slot() {
    called_slot = slot;
    return 4711;
}

template <size_t... slots>
void fill(JSC_Interface& table, std::index_sequence<slots...>) {
    using Slot = JTI_Error (*)();
    const Slot notes[] = {note_slot<slots>...};
    std::memcpy(&table, notes, sizeof table);
}

// A row that calls another slot than the one that it names would leave one untried.
TEST(OperationCallsTest, EachCallsTheSlotThatItNames) {
    JSC_Interface table;
    fill(table, std::make_index_sequence<kSlots>());
    for (const OperationCall& operation : operation_calls()) {
        called_slot = -1;
        Outputs out = Outputs::spoiled();
        EXPECT_EQ(operation.make(table, nullptr, out), 4711) << operation.name;
        EXPECT_EQ(called_slot, static_cast<int64_t>(operation.slot)) << operation.name;
    }
}

// Whether a code is one that the operation may answer when memory was refused.
bool is_documented(const OperationCall& operation, int32_t code) {
    switch (operation.memory) {
    case Failure::Connect:
        return code == eJTI_ERROR_NO_MEMORY || code == eJTI_ERROR_POD_SETUP ||
               code == eJTI_ERROR_CONTROLLER_KIND || code == operation.answer;
    case Failure::Partly:
        return code == eJTI_ERROR_NO_MEMORY || code == operation.answer;
    default:
        return code == eJTI_ERROR_NO_MEMORY;
    }
}

// One operation under torture, in sessions that live as long as they are of use.
class Victim {
public:
    Victim(Bench& bench, const OperationCall& operation) : bench_(bench), operation_(operation) {
        reference_ = succeed();
    }

    // How many allocations failed.
    unsigned fail_each_allocation(bool lasting) {
        const OsEntry& entry = os_entry("malloc");
        return fail_each_call(entry, ENOMEM, lasting, [&](unsigned at) {
            ready();
            Outputs out = Outputs::spoiled();
            bench_.os.set(entry, at, ENOMEM, lasting);
            const int32_t code = session_->call(operation_, out);
            if (!bench_.os.clear()) {
                EXPECT_EQ(code, operation_.answer);
                return false;
            }
            judge(code, out);
            restore(code);
            EXPECT_EQ(succeed(), reference_) << "the same call afterwards";
            return true;
        });
    }

private:
    void ready() {
        if (operation_.stage != Stage::Connected || !session_) {
            session_.reset();
            session_.emplace(operation_.stage);
        }
    }

    Outputs succeed() {
        ready();
        Outputs out = Outputs::spoiled();
        EXPECT_EQ(session_->call(operation_, out), operation_.answer);
        if (operation_.stage == Stage::Connected) {
            session_->recover(0);
        }
        return out;
    }

    void judge(int32_t code, const Outputs& out) {
        EXPECT_TRUE(is_documented(operation_, code)) << code;
        Outputs expected = Outputs::spoiled();
        if (code == operation_.answer) {
            expected = reference_;
        } else if (operation_.preset != nullptr) {
            operation_.preset(expected);
        }
        EXPECT_EQ(out, expected) << "outputs after code " << code;
    }

    void restore(int32_t code) {
        if (operation_.stage == Stage::Connected) {
            session_->recover(code);
        }
    }

    Bench& bench_;
    const OperationCall& operation_;
    std::optional<Session> session_;
    Outputs reference_;
};

// A log record without words is left by the store, which hosts are told of.
size_t leftovers_of(const OperationCall& operation) {
    return std::string(operation.name) == "LogFileCreate" ? 1 : 0;
}

TEST(AllocationTortureTest, OfEveryOperation) {
    Bench bench;
    for (const OperationCall& operation : operation_calls()) {
        for (const bool lasting : {false, true}) {
            SCOPED_TRACE(operation.name);
            unsigned failed = 0;
            {
                Victim victim(bench, operation);
                failed = victim.fail_each_allocation(lasting);
            }
            EXPECT_EQ(failed != 0, operation.memory != Failure::None) << failed << " allocations";
            EXPECT_EQ(bench.free_leftovers(), leftovers_of(operation));
            ASSERT_FALSE(HasFailure()) << bench.simulator.log();
        }
    }
    expect_a_good_session();
}

// Readers, reset log, channel and controller block.
TEST(AllocationTortureTest, OfTheInitialisation) {
    Bench bench;
    for (const bool lasting : {false, true}) {
        const OsEntry& entry = os_entry("malloc");
        const unsigned failed = fail_each_call(entry, ENOMEM, lasting, [&](unsigned at) {
            bool hit = false;
            {
                Session session;
                bench.os.set(entry, at, ENOMEM, lasting);
                const int32_t code = session.init();
                hit = bench.os.clear();
                EXPECT_EQ(code, hit ? eJTI_ERROR_NO_MEMORY : eJTI_ERROR_NONE);
            }
            EXPECT_EQ(bench.free_leftovers(), at == 7 ? 1U : 0U) << "a log record without words";
            expect_a_good_session();
            return hit;
        });
        EXPECT_EQ(failed, 7U) << "five scratch records, the log and its words";
    }
}

// ---- what needs no handle ---------------------------------------------------------------------

// Runs to its end, asking for memory; whether it succeeded. On failure it has undone what it did,
// but for what it is known to leave.
struct Errand {
    const char* name;
    unsigned allocations;
    size_t left_by_last; // blocks that stay when the last allocation fails
    bool (*run)();
};

bool build_path() {
    strheap_t path = sys_StrHeapInit(200);
    const std::string input = "/a/folder/with/a/long/name/and/a/file.old";
    const std::string extension = "." + std::string(60, 'n');
    const bool failed = zdl_PathNameToStrHeap(&path, input.c_str(), extension.c_str(), true);
    const std::string text = path.str == nullptr ? "" : path.str;
    EXPECT_TRUE(failed ? text.empty() || input.starts_with(text) || text.starts_with("/a/folder")
                       : text == "/a/folder/with/a/long/name/and/a/file" + extension)
        << text;
    EXPECT_EQ(text.size(), path.len);
    EXPECT_FALSE(sys_StrHeapFree(&path));
    return !failed;
}

bool append_texts() {
    strheap_t text = sys_StrHeapInit(100'000);
    bool failed = sys_StrHeapCopyStr(&text, "x");
    for (int doubling = 0; doubling < 12 && !failed; ++doubling) {
        const uint32_t before = sys_StrHeapGetLen(&text);
        failed = sys_StrHeapApnd(&text, &text);
        EXPECT_EQ(sys_StrHeapGetLen(&text), failed ? before : 2 * before);
        EXPECT_EQ(std::string(sys_StrHeapGetStr(&text)),
                  std::string(sys_StrHeapGetLen(&text), 'x'));
    }
    EXPECT_FALSE(sys_StrHeapFree(&text));
    return !failed;
}

bool make_table() {
    JSC_Interface* table = nullptr;
    const int32_t code = JSC_CreateInterface(&table);
    EXPECT_EQ(code, table == nullptr ? eJTI_ERROR_NO_MEMORY : eJTI_ERROR_NONE);
    return code == 0 && JSC_DeleteInterface(&table) == 0;
}

bool make_property() {
    JTI_Property* property = nullptr;
    const int32_t code = JSC_CreateProperty(&property);
    EXPECT_EQ(code, property == nullptr ? eJTI_ERROR_NO_MEMORY : eJTI_ERROR_NONE);
    return code == 0 && JSC_DeleteProperty(&property) == 0;
}

bool make_handle() {
    JSC_Inform* handle = nullptr;
    const int32_t code = jsc_CreateHandle(&handle);
    EXPECT_EQ(code, handle == nullptr ? eJTI_ERROR_NO_MEMORY : eJTI_ERROR_NONE);
    return code == 0 && jsc_DeleteHandle(&handle) == 0;
}

bool make_log() {
    LOG_HANDLE log = nullptr;
    const int32_t code = zdl_LogFileCreate(&log, 64);
    EXPECT_EQ(code, log == nullptr ? eJTI_ERROR_NO_MEMORY : eJTI_ERROR_NONE);
    return code == 0 && zdl_LogFileDelete(&log) == 0;
}

constexpr Errand kErrands[] = {
    {"a path in a string heap", 2, 0, build_path},
    {"a string heap that grows", 8, 0, append_texts},
    {"a table of operations", 1, 0, make_table},
    {"a property", 2, 1, make_property}, // its record, which hosts are told of
    {"a handle", 1, 0, make_handle},
    {"a log", 2, 1, make_log}, // and this one's
};

TEST(AllocationTortureTest, OfWhatNeedsNoHandle) {
    test_support::FailingHeap heap;
    FaultyOs os;
    for (const Errand& errand : kErrands) {
        for (const bool lasting : {false, true}) {
            SCOPED_TRACE(errand.name);
            const OsEntry& entry = os_entry("malloc");
            const unsigned failed = fail_each_call(entry, ENOMEM, lasting, [&](unsigned at) {
                os.set(entry, at, ENOMEM, lasting);
                const bool done = errand.run();
                const bool hit = os.clear();
                EXPECT_EQ(done, !hit);
                EXPECT_EQ(heap.blocks().size(), at == errand.allocations ? errand.left_by_last : 0);
                for (void* block : std::vector<void*>(heap.blocks())) {
                    os_calls.free(block);
                }
                EXPECT_TRUE(errand.run()) << "afterwards";
                return hit;
            });
            EXPECT_EQ(failed, errand.allocations);
        }
    }
}

} // namespace
} // namespace torture
