// Every call that the driver makes to the system fails once, at each place where it is made, for
// each reason that the call's manual page names. Wanted each time: the documented code, the outputs
// as documented, nothing left behind, and a fresh handle that works.
#include "export/operations.h"
#include "torture_bench.h"
#include "transport/batch_room.h"
#include "transport/port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <set>

namespace torture {
namespace {

// Places of one call that are tried: a wait asks again and again, and how often nobody knows.
const unsigned kPlacesMost = std::getenv("TALVOR_TORTURE") != nullptr ? 200 : 30;
// Words that a batch has room for before an operation.
const uint32_t kRoomMost = std::getenv("TALVOR_TORTURE") != nullptr ? 200 : 60;

TEST(OsEntriesTest, CoverTheWholeTable) {
    ASSERT_EQ(os_entries().size(), sizeof(OsCalls) / sizeof(void*));
    for (size_t slot = 0; slot < os_entries().size(); ++slot) {
        EXPECT_EQ(os_entries()[slot].slot, slot) << os_entries()[slot].name;
    }
}

// Calls that are made again when a signal interrupted them.
bool is_repeated(const std::string& entry, int error) {
    static const std::set<std::string> waits = {"sem_wait", "fcntl", "posix_fallocate", "pwrite",
                                                "ftruncate"};
    return error == EINTR && waits.contains(entry);
}

// What a step answers when the n-th call of an entry fails in it, for each n.
struct Places {
    const char* entry;
    std::vector<int32_t> codes;
};

class SystemCallTortureTest : public testing::Test {
protected:
    // The code of an initialisation in which the n-th call of an entry fails; nothing when fewer
    // are made.
    std::optional<int32_t> init(const OsEntry& entry, unsigned at, int error) {
        Session session;
        bench.os.set(entry, at, error);
        const int32_t code = session.init();
        if (bench.os.clear()) {
            return code;
        }
        EXPECT_EQ(code, 0);
        return std::nullopt;
    }

    void fail_each_place_of_init(const Places& places, const OsEntry& entry, int error) {
        const unsigned made = fail_each_call(entry, error, false, [&](unsigned at) {
            const std::optional<int32_t> code = init(entry, at, error);
            if (!code) {
                return false;
            }
            const bool known = at <= places.codes.size();
            EXPECT_TRUE(known) << "a place that the list does not have";
            EXPECT_EQ(*code, is_repeated(entry.name, error) || !known ? 0 : places.codes[at - 1]);
            if (entry.name == std::string("sem_post") && *code == 0) {
                post_mutex();
            }
            expect_a_good_session();
            return true;
        });
        EXPECT_EQ(made, places.codes.size()) << entry.name;
    }

    // A mutex that could not be posted because it has posts is free all the same.
    static void post_mutex() {
        sem_t* const mutex = sem_open(SHM_GLOBAL_MUTEX_NAME, 0);
        EXPECT_EQ(sem_post(mutex), 0);
        EXPECT_EQ(sem_close(mutex), 0);
    }

    Bench bench;
};

// ---- a handle comes and goes ------------------------------------------------------------------

// In the order of the places: the mutex (its lock by the device table, without which none can be
// taken over), the device table, the pod's block, the controller block.
const std::vector<Places> kInitialisation = {
    {"shm_open",
     {0, -141, 0, -164}}, // without the pod's block nothing is attached, and no error told
    {"fstat", {-141, -141, 0, -164}}, // the third asks whether the controller block has its name
    {"mmap", {-141, -141, -164}},
    {"munmap", {0}},
    {"close", {0, 0}},
    {"sem_open", {-141, 0, 0}}, // without the pod's semaphores: as without its block
    {"sem_close", {0}},
    {"sem_wait", {-141}},
    {"sem_post", {0, -141}}, // the mutex; the handshake
    // Two for the mutex, one for the pod's block, three for the controller block, which without
    // locks is one that no driver marks.
    {"fcntl", {0, 0, 0, 0, 0, 0}},
    {"pwrite", {-164}},
    {"posix_fallocate", {-164}},
    {"fchmod", {0}},
    {"shm_unlink", {}},
    {"ftruncate", {}},
    {"usleep", {}},
    {"clock_gettime", {}},
};

TEST_F(SystemCallTortureTest, OfTheInitialisation) {
    testing::internal::CaptureStderr(); // semaphores that cannot be opened are told there
    for (const Places& places : kInitialisation) {
        const OsEntry& entry = os_entry(places.entry);
        for (const int error : entry.errors) {
            fail_each_place_of_init(places, entry, error);
        }
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::MatchesRegex("(failed to open local semaphore \\[[sc]\\]\n)+"));
    EXPECT_EQ(bench.free_leftovers(), 0U);
}

// A wait that fails asks again: nobody can tell how often it does.
TEST_F(SystemCallTortureTest, OfTheWaitForTheHandshake) {
    const OsEntry& entry = os_entry("sem_timedwait");
    for (const int error : entry.errors) {
        fail_each_call(
            entry, error, false,
            [&](unsigned at) {
                Session session;
                bench.os.set(entry, at, error);
                EXPECT_EQ(session.init(), 0);
                return bench.os.clear();
            },
            kPlacesMost);
    }
    expect_a_good_session();
}

// Where there are no locks, the object gets its size the plain way.
TEST_F(SystemCallTortureTest, OfTheInitialisationWithoutLocks) {
    const std::vector<Places> without_locks = {{"ftruncate", {-164}},
                                               {"fstat", {-141, -141, -164}}};
    for (const Places& places : without_locks) {
        const OsEntry& entry = os_entry(places.entry);
        for (const int error : entry.errors) {
            const unsigned made = fail_each_call(entry, error, false, [&](unsigned at) {
                {
                    Session session;
                    bench.os.set(os_entry("fcntl"), 1, ENOLCK, true);
                    bench.os.set(entry, at, error);
                    const int32_t code = session.init();
                    if (!bench.os.clear()) {
                        EXPECT_EQ(code, 0);
                        return false;
                    }
                    EXPECT_EQ(code, is_repeated(entry.name, error) ? 0 : places.codes.at(at - 1));
                }
                expect_a_good_session();
                return true;
            });
            EXPECT_EQ(made, places.codes.size());
        }
    }
}

// Nothing that fails on the way out is told, and nothing stays but a name that may not be removed,
// which the next handle finds and takes over.
const std::vector<Places> kRelease = {
    {"sem_post", {0}},    {"sem_close", {0, 0}},   {"munmap", {0, 0}},  {"close", {0, 0}},
    {"fcntl", {0, 0, 0}}, {"fstat", {0}},          {"shm_unlink", {0}}, {"shm_open", {}},
    {"mmap", {}},         {"sem_open", {}},        {"sem_wait", {}},    {"pwrite", {}},
    {"ftruncate", {}},    {"posix_fallocate", {}}, {"fchmod", {}},      {"clock_gettime", {}},
    {"usleep", {}},
};

TEST_F(SystemCallTortureTest, OfTheRelease) {
    for (const Places& places : kRelease) {
        const OsEntry& entry = os_entry(places.entry);
        for (const int error : entry.errors) {
            const unsigned made = fail_each_call(entry, error, false, [&](unsigned at) {
                bool hit = false;
                {
                    Session session(Stage::Connected);
                    bool last = false;
                    EXPECT_EQ(jsc_Disconnect(session.get(), &last), 0);
                    bench.os.set(entry, at, error);
                    EXPECT_EQ(jsc_QuitHandle(session.get()), 0);
                    hit = bench.os.clear();
                }
                expect_a_good_session();
                return hit;
            });
            EXPECT_EQ(made, places.codes.size()) << entry.name;
            ASSERT_FALSE(HasFailure()) << entry.name << " " << strerrorname_np(error);
        }
    }
    EXPECT_EQ(bench.free_leftovers(), 0U);
}

// ---- operations -------------------------------------------------------------------------------

// Runs an operation on a session of its own for each place of an entry's call, and has the result
// judged.
template <typename Judge>
unsigned torture_operation(Bench& bench, const OperationCall& operation, const OsEntry& entry,
                           int error, const Judge& judge) {
    return fail_each_call(
        entry, error, false,
        [&](unsigned at) {
            bool hit = false;
            {
                Session session(operation.stage);
                Outputs out = Outputs::spoiled();
                bench.os.set(entry, at, error);
                const int32_t code = session.call(operation, out);
                hit = bench.os.clear();
                judge(hit, code, out);
            }
            return hit;
        },
        kPlacesMost);
}

Outputs undisturbed(const OperationCall& operation) {
    Session session(operation.stage);
    Outputs out = Outputs::spoiled();
    EXPECT_EQ(session.call(operation, out), operation.answer);
    return out;
}

bool is_exchange_failure(const OperationCall& operation, int32_t code) {
    const bool lost = code == eJTI_ERROR_BATCH_FAILED || code == eJTI_ERROR_SUPPORT_WRITE;
    switch (operation.exchange) {
    case Failure::Connect:
        return lost || code == eJTI_ERROR_POD_SETUP || code == eJTI_ERROR_CONTROLLER_KIND;
    case Failure::Partly:
        return lost || code == operation.answer;
    default:
        return lost;
    }
}

void fail_each_exchange(Bench& bench, const OperationCall& operation) {
    const OsEntry& entry = os_entry("sem_post");
    const Outputs reference = undisturbed(operation);
    for (const int error : entry.errors) {
        const unsigned exchanges = torture_operation(
            bench, operation, entry, error, [&](bool hit, int32_t code, const Outputs& out) {
                if (!hit) {
                    EXPECT_EQ(code, operation.answer);
                    EXPECT_EQ(out, reference);
                    return;
                }
                EXPECT_TRUE(is_exchange_failure(operation, code)) << code;
                Outputs expected = code == operation.answer ? reference : Outputs::spoiled();
                if (code != operation.answer && operation.preset != nullptr) {
                    operation.preset(expected);
                }
                EXPECT_EQ(out, expected) << "outputs after code " << code;
            });
        EXPECT_EQ(exchanges != 0, operation.exchange != Failure::None) << exchanges;
    }
    ASSERT_FALSE(testing::Test::HasFailure());
    EXPECT_EQ(undisturbed(operation), reference) << "afterwards";
}

// The proxy cannot be told of a command: it was never given, so nobody waits for its answer.
TEST_F(SystemCallTortureTest, OfTheExchangesOfEveryOperation) {
    for (const auto& operations : {operation_calls(), operation_variants()}) {
        for (const OperationCall& operation : operations) {
            SCOPED_TRACE(operation.name);
            ASSERT_NO_FATAL_FAILURE(fail_each_exchange(bench, operation));
        }
    }
    expect_a_good_session();
}

// Leaves a batch that has room for so many words, or one more, before it must be sent.
void fill_batch(JSC_Inform* handle, uint32_t room) {
    const lcl_shm* const block = handle->ProxyShm;
    const uint32_t words = SHM_BLOCK_WORDS - kBatchStatusReads - room;
    while (block->tbcMblockPtr + 2 <= words) {
        PortWriteNoCache(handle, TBC_PORT_STATUS0, 0); // a delay, which changes nothing
    }
}

// A full batch has to be sent in the middle of an operation, wherever that is, and cannot be.
TEST_F(SystemCallTortureTest, OfTheFlushThatAFullBatchForcesOnAnOperation) {
    const OsEntry& entry = os_entry("sem_post");
    for (const OperationCall& operation : operation_calls()) {
        SCOPED_TRACE(operation.name);
        unsigned forced = 0;
        for (uint32_t room = 0; room <= kRoomMost; room += 2) {
            SCOPED_TRACE(testing::Message() << "room for " << room << " words");
            Session session(operation.stage);
            fill_batch(session.get(), room);
            Outputs out = Outputs::spoiled();
            bench.os.set(entry, 1, entry.errors.front());
            const int32_t code = session.call(operation, out);
            const bool hit = bench.os.clear();
            forced += hit ? 1 : 0;
            EXPECT_TRUE(code == operation.answer || (hit && is_exchange_failure(operation, code)))
                << code;
            ASSERT_FALSE(HasFailure());
            if (!hit) {
                break; // it queues less, and sends nothing
            }
        }
        EXPECT_TRUE(forced != 0 || operation.exchange == Failure::None);
    }
    expect_a_good_session();
}

// Signals come while an operation waits or sleeps: nothing of it shows.
TEST_F(SystemCallTortureTest, OfTheWaitsOfEveryOperation) {
    for (const OperationCall& operation : operation_calls()) {
        SCOPED_TRACE(operation.name);
        const Outputs reference = undisturbed(operation);
        for (const char* name : {"sem_timedwait", "usleep"}) {
            const OsEntry& entry = os_entry(name);
            for (const int error : entry.errors) {
                torture_operation(bench, operation, entry, error,
                                  [&](bool, int32_t code, const Outputs& out) {
                                      EXPECT_EQ(code, operation.answer);
                                      EXPECT_EQ(out, reference);
                                  });
            }
        }
        ASSERT_FALSE(HasFailure());
    }
    expect_a_good_session();
}

// A sleep that a signal interrupts lasts as long as it should all the same.
TEST_F(SystemCallTortureTest, OfASleep) {
    Session session(Stage::Connected);
    const OperationCall& operation = operation_call("ModifyTrstn");
    Outputs out = Outputs::spoiled();
    bench.sleeps.forget();
    bench.os.set(os_entry("usleep"), 1, EINTR);
    EXPECT_EQ(session.call(operation, out), 0);
    EXPECT_TRUE(bench.os.clear());
    ASSERT_EQ(bench.sleeps.delays_us().size(), 1U) << "the rest of it";
    EXPECT_GT(bench.sleeps.delays_us().front(), 0U);
    EXPECT_LE(bench.sleeps.delays_us().front(), 10'000U);
}

// Without a clock a limit for the wait cannot be kept: the operation ends, one way or the other.
TEST_F(SystemCallTortureTest, OfTheClockOfALimitedWait) {
    // An answer that is there at the first look would need no clock.
    os_calls.sem_timedwait = [](sem_t* semaphore, const timespec* deadline) {
        static unsigned looks = 0;
        errno = ETIMEDOUT;
        const bool is_look = deadline->tv_sec == 10; // and no wait for the mutex
        return is_look && ++looks % 2 == 1 ? -1 : ::sem_timedwait(semaphore, deadline);
    };
    setenv("TALVOR_PROXY_PATIENCE_MS", "60000", 1);
    ASSERT_EQ(bench.simulator.ctl("latency 500"), "ok"); // a quick answer needs no clock
    const OsEntry& entry = os_entry("clock_gettime");
    const OperationCall& operation = operation_call("GetState");
    unsigned hits = 0;
    for (const int error : entry.errors) {
        torture_operation(
            bench, operation, entry, error, [&](bool hit, int32_t code, const Outputs&) {
                hits += hit ? 1 : 0;
                EXPECT_TRUE(code == 0 || (hit && code == eJTI_ERROR_BATCH_FAILED)) << code;
            });
    }
    EXPECT_GT(hits, 0U);
    EXPECT_EQ(bench.simulator.ctl("latency 0"), "ok");
    unsetenv("TALVOR_PROXY_PATIENCE_MS");
    expect_a_good_session();
}

} // namespace
} // namespace torture
