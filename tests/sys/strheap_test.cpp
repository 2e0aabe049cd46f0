#include "support/failing_os.h"
#include "sys/strheap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <strings.h>

namespace {

// A record that frees itself; converts to what the functions take.
struct Heap {
    explicit Heap(uint32_t max) : record(sys_StrHeapInit(max)) {}
    Heap(uint32_t max, const std::string& text) : Heap(max) {
        EXPECT_FALSE(sys_StrHeapCopyLen(&record, text.data(), static_cast<uint32_t>(text.size())));
    }
    Heap(const Heap&) = delete;
    Heap& operator=(const Heap&) = delete;
    ~Heap() { sys_StrHeapFree(&record); }

    strheap_t* operator&() { return &record; }
    strheap_t* operator->() { return &record; }

    std::string text() const {
        EXPECT_EQ(record.str[record.len], '\0');
        return {record.str, record.len};
    }

    strheap_t record;
};

// 32 times 'x' in a buffer of 33 bytes, which the next character must make grow.
void fill(Heap& heap) {
    EXPECT_FALSE(sys_StrHeapCopyStr(&heap, std::string(31, 'x').c_str()));
    EXPECT_FALSE(sys_StrHeapPutChar(&heap, 'x'));
    EXPECT_EQ(heap->mem, 33U);
}

// What a failed operation must leave as it was.
struct Snapshot {
    explicit Snapshot(const Heap& heap)
        : record(heap.record), text(heap.record.str == nullptr ? "" : heap.text()) {}
    void expect_unchanged(const Heap& heap) const {
        EXPECT_EQ(heap.record.str, record.str);
        EXPECT_EQ(heap.record.mem, record.mem);
        EXPECT_EQ(heap.record.max, record.max);
        EXPECT_EQ(heap.record.len, record.len);
        if (record.str != nullptr) {
            EXPECT_EQ(heap.text(), text);
        }
    }
    strheap_t record;
    std::string text;
};

TEST(StrHeapTest, AFreshRecordHasNoBuffer) {
    const strheap_t fresh = sys_StrHeapInit(100);
    EXPECT_EQ(fresh.str, nullptr);
    EXPECT_EQ(fresh.mem, 0U);
    EXPECT_EQ(fresh.max, 100U);
    EXPECT_EQ(fresh.len, 0U);
}

TEST(StrHeapTest, BuffersHave33BytesOrAnEighthInReserve) {
    const std::pair<uint32_t, uint32_t> cases[] = {
        {0, 33},  {1, 33},  {31, 33},   {32, 37},     {39, 44},
        {40, 46}, {80, 91}, {100, 113}, {1000, 1126}, {65536, 73729},
    };
    for (const auto& [length, size] : cases) {
        Heap heap(100'000);
        EXPECT_FALSE(sys_StrHeapAloc(&heap, length));
        EXPECT_EQ(heap->mem, size) << length;
        EXPECT_EQ(heap->len, 0U);
        EXPECT_EQ(heap.text(), "");
    }
}

TEST(StrHeapTest, AppendingGrowsAsNeeded) {
    Heap heap(100);
    EXPECT_FALSE(sys_StrHeapPutChar(&heap, 'a'));
    EXPECT_EQ(heap->mem, 33U);
    for (int i = 1; i < 32; ++i) {
        EXPECT_FALSE(sys_StrHeapPutChar(&heap, 'a'));
    }
    EXPECT_EQ(heap->mem, 33U);
    EXPECT_FALSE(sys_StrHeapPutChar(&heap, 'b'));
    EXPECT_EQ(heap->mem, 33U + 4 + 1);
    EXPECT_EQ(heap.text(), std::string(32, 'a') + "b");
}

TEST(StrHeapTest, GrowingTo32And80CharactersTakes37And91Bytes) {
    Heap heap(100);
    sys_StrHeapPutChar(&heap, 'a');
    EXPECT_FALSE(sys_StrHeapAloc(&heap, 32));
    EXPECT_EQ(heap->mem, 33U) << "32 characters and the NUL are within 33 bytes";
    Heap fresh(100);
    EXPECT_FALSE(sys_StrHeapAloc(&fresh, 32));
    EXPECT_EQ(fresh->mem, 37U);
    EXPECT_FALSE(sys_StrHeapAloc(&fresh, 80));
    EXPECT_EQ(fresh->mem, 91U);
}

TEST(StrHeapTest, ABufferThatSufficesIsNotTouched) {
    Heap heap(100, "abc");
    const test_support::FailingHeap no_memory(0);
    const Snapshot before(heap);
    EXPECT_FALSE(sys_StrHeapAloc(&heap, 0));
    EXPECT_FALSE(sys_StrHeapAloc(&heap, 32));
    before.expect_unchanged(heap);
    EXPECT_TRUE(sys_StrHeapAloc(&heap, 33));
    before.expect_unchanged(heap);
}

TEST(StrHeapTest, TheBoundCountsOnlyWhenTheBufferMustGrow) {
    Heap ten(10, "0123456789");
    EXPECT_EQ(ten->mem, 33U);
    EXPECT_FALSE(sys_StrHeapPutChar(&ten, 'x'));
    EXPECT_EQ(ten.text(), "0123456789x");
    EXPECT_FALSE(sys_StrHeapCopyStr(&ten, "01234567890123456789012345678901"));
    EXPECT_EQ(ten->len, 32U);
    const Snapshot before(ten);
    EXPECT_TRUE(sys_StrHeapPutChar(&ten, 'x'));
    before.expect_unchanged(ten);

    Heap forty(40, "a");
    EXPECT_EQ(forty->mem, 33U);
    EXPECT_TRUE(sys_StrHeapAloc(&forty, 41));
    EXPECT_EQ(forty->mem, 33U);
    EXPECT_FALSE(sys_StrHeapAloc(&forty, 40));
    EXPECT_EQ(forty->mem, 46U);
    EXPECT_FALSE(sys_StrHeapAloc(&forty, 45));
}

TEST(StrHeapTest, AFirstBufferKeepsToTheBound) {
    Heap heap(5);
    EXPECT_TRUE(sys_StrHeapAloc(&heap, 6));
    EXPECT_EQ(heap->str, nullptr);
    EXPECT_FALSE(sys_StrHeapAloc(&heap, 5));
    EXPECT_EQ(heap->mem, 33U);
}

TEST(StrHeapTest, ABoundOfZeroNeverAllocates) {
    Heap heap(0);
    EXPECT_TRUE(sys_StrHeapAloc(&heap, 0));
    EXPECT_TRUE(sys_StrHeapPutChar(&heap, 'a'));
    EXPECT_TRUE(sys_StrHeapCopyStr(&heap, ""));
    EXPECT_EQ(heap->str, nullptr);
    EXPECT_EQ(heap->mem, 0U);
}

TEST(StrHeapTest, ARecordInDisorderGetsNoBuffer) {
    strheap_t heap = sys_StrHeapInit(100);
    heap.mem = 5;
    EXPECT_TRUE(sys_StrHeapAloc(&heap, 1));
    EXPECT_TRUE(sys_StrHeapCopyStr(&heap, "a"));
    heap.mem = 0;
    heap.len = 1;
    EXPECT_TRUE(sys_StrHeapAloc(&heap, 1));
    EXPECT_TRUE(sys_StrHeapPutChar(&heap, 'a'));
    EXPECT_EQ(heap.str, nullptr);
    EXPECT_EQ(heap.len, 1U);
}

TEST(StrHeapTest, LengthsBeyond32BitsFail) {
    Heap heap(0xFFFFFFFF, "abc");
    const Snapshot before(heap);
    const test_support::FailingHeap no_memory(0);
    EXPECT_TRUE(sys_StrHeapAloc(&heap, 0xFFFFFFFF));
    EXPECT_TRUE(sys_StrHeapAloc(&heap, 0xE38E38E4));
    EXPECT_TRUE(sys_StrHeapApndLen(&heap, "x", 0xFFFFFFFF));
    EXPECT_TRUE(sys_StrHeapApndLen(&heap, "x", 0xFFFFFFFD));
    before.expect_unchanged(heap);
}

TEST(StrHeapTest, AnExhaustedHeapFailsEachWriterUnchanged) {
    Heap source(100, std::string(40, 's'));
    for (const bool fresh : {true, false}) {
        Heap heap(100);
        if (!fresh) {
            fill(heap);
        }
        const Snapshot before(heap);
        const test_support::FailingHeap no_memory(0);
        EXPECT_TRUE(sys_StrHeapAloc(&heap, 40));
        EXPECT_TRUE(sys_StrHeapPutChar(&heap, 'x'));
        EXPECT_TRUE(sys_StrHeapPutPntr(&heap, source->str));
        EXPECT_TRUE(sys_StrHeapCopyLen(&heap, source->str, 40));
        EXPECT_TRUE(sys_StrHeapCopyStr(&heap, source->str));
        EXPECT_TRUE(sys_StrHeapCopy(&heap, &source));
        EXPECT_TRUE(sys_StrHeapApndLen(&heap, source->str, 40));
        EXPECT_TRUE(sys_StrHeapApndStr(&heap, source->str));
        EXPECT_TRUE(sys_StrHeapApnd(&heap, &source));
        before.expect_unchanged(heap);
    }
}

TEST(StrHeapTest, GrowthFreesTheOldBuffer) {
    const test_support::FailingHeap heap_use;
    Heap heap(1000, "abc");
    EXPECT_FALSE(sys_StrHeapAloc(&heap, 500));
    EXPECT_EQ(heap_use.blocks(), std::vector<void*>{heap->str});
    EXPECT_EQ(heap.text(), "abc");
    sys_StrHeapFree(&heap);
    EXPECT_TRUE(heap_use.blocks().empty());
}

TEST(StrHeapTest, FreeKeepsTheBoundAndAllowsReuse) {
    Heap heap(50, "abc");
    EXPECT_FALSE(sys_StrHeapFree(&heap));
    EXPECT_EQ(heap->str, nullptr);
    EXPECT_EQ(heap->mem, 0U);
    EXPECT_EQ(heap->len, 0U);
    EXPECT_EQ(heap->max, 50U);
    EXPECT_FALSE(sys_StrHeapFree(&heap));
    EXPECT_FALSE(sys_StrHeapCopyStr(&heap, "again"));
    EXPECT_EQ(heap.text(), "again");
}

TEST(StrHeapTest, PutAppendsOneCharacter) {
    Heap heap(50);
    char b = 'b';
    EXPECT_FALSE(sys_StrHeapPutChar(&heap, 'a'));
    EXPECT_FALSE(sys_StrHeapPutPntr(&heap, &b));
    EXPECT_FALSE(sys_StrHeapPutChar(&heap, '\0'));
    EXPECT_EQ(heap.text(), std::string("ab\0", 3));
}

TEST(StrHeapTest, GettersGiveTextAndLength) {
    Heap heap(50);
    EXPECT_EQ(sys_StrHeapGetStr(&heap), nullptr);
    EXPECT_EQ(sys_StrHeapGetLen(&heap), 0U);
    sys_StrHeapCopyStr(&heap, "text");
    EXPECT_EQ(sys_StrHeapGetStr(&heap), heap->str);
    EXPECT_EQ(sys_StrHeapGetLen(&heap), 4U);
}

TEST(StrHeapTest, CopyReplacesTheText) {
    Heap heap(100, "before");
    EXPECT_FALSE(sys_StrHeapCopyLen(&heap, "abcdef", 3));
    EXPECT_EQ(heap.text(), "abc");
    EXPECT_FALSE(sys_StrHeapCopyLen(&heap, "a\0b", 3));
    EXPECT_EQ(heap.text(), std::string("a\0b", 3));
    EXPECT_FALSE(sys_StrHeapCopyStr(&heap, "whole"));
    EXPECT_EQ(heap.text(), "whole");
    Heap other(100, "other");
    EXPECT_FALSE(sys_StrHeapCopy(&heap, &other));
    EXPECT_EQ(heap.text(), "other");
    EXPECT_FALSE(sys_StrHeapCopyStr(&heap, ""));
    EXPECT_EQ(heap.text(), "");
}

TEST(StrHeapTest, ApndAddsBehindTheText) {
    Heap heap(100, "a");
    EXPECT_FALSE(sys_StrHeapApndLen(&heap, "bcd", 2));
    EXPECT_FALSE(sys_StrHeapApndStr(&heap, "de"));
    Heap other(100, "fg");
    EXPECT_FALSE(sys_StrHeapApnd(&heap, &other));
    EXPECT_FALSE(sys_StrHeapApndLen(&heap, "x", 0));
    EXPECT_EQ(heap.text(), "abcdefg");
    EXPECT_EQ(other.text(), "fg");
}

TEST(StrHeapTest, AFreshRecordCountsAsAnEmptyText) {
    Heap heap(100, "abc");
    Heap fresh(100);
    EXPECT_FALSE(sys_StrHeapApnd(&heap, &fresh));
    EXPECT_EQ(heap.text(), "abc");
    EXPECT_FALSE(sys_StrHeapCopy(&heap, &fresh));
    EXPECT_EQ(heap.text(), "");
}

TEST(StrHeapTest, ItsOwnTextMayBeTheSource) {
    Heap heap(1000, std::string(20, 'a') + std::string(12, 'b'));
    EXPECT_FALSE(sys_StrHeapApnd(&heap, &heap));
    EXPECT_EQ(heap->len, 64U);
    EXPECT_FALSE(sys_StrHeapPutPntr(&heap, heap->str + 25));
    EXPECT_EQ(heap.text().back(), 'b');
    EXPECT_FALSE(sys_StrHeapCopyLen(&heap, heap->str + 18, 4));
    EXPECT_EQ(heap.text(), "aabb");
    EXPECT_FALSE(sys_StrHeapCopy(&heap, &heap));
    EXPECT_EQ(heap.text(), "aabb");

    Heap full(1000);
    fill(full);
    EXPECT_FALSE(sys_StrHeapPutPntr(&full, full->str));
    EXPECT_EQ(full.text(), std::string(33, 'x'));
}

TEST(StrHeapTest, NullFails) {
    Heap heap(100, "abc");
    const Snapshot before(heap);
    EXPECT_TRUE(sys_StrHeapAloc(nullptr, 1));
    EXPECT_TRUE(sys_StrHeapFree(nullptr));
    EXPECT_TRUE(sys_StrHeapPutChar(nullptr, 'a'));
    EXPECT_TRUE(sys_StrHeapPutPntr(nullptr, heap->str));
    EXPECT_TRUE(sys_StrHeapPutPntr(&heap, nullptr));
    EXPECT_EQ(sys_StrHeapGetStr(nullptr), nullptr);
    EXPECT_EQ(sys_StrHeapGetLen(nullptr), 0U);
    EXPECT_TRUE(sys_StrHeapCopyLen(nullptr, "a", 1));
    EXPECT_TRUE(sys_StrHeapCopyLen(&heap, nullptr, 1));
    EXPECT_TRUE(sys_StrHeapCopyStr(nullptr, "a"));
    EXPECT_TRUE(sys_StrHeapCopyStr(&heap, nullptr));
    EXPECT_TRUE(sys_StrHeapCopy(nullptr, &heap));
    EXPECT_TRUE(sys_StrHeapCopy(&heap, nullptr));
    EXPECT_TRUE(sys_StrHeapApndLen(nullptr, "a", 1));
    EXPECT_TRUE(sys_StrHeapApndLen(&heap, nullptr, 1));
    EXPECT_TRUE(sys_StrHeapApndStr(nullptr, "a"));
    EXPECT_TRUE(sys_StrHeapApndStr(&heap, nullptr));
    EXPECT_TRUE(sys_StrHeapApnd(nullptr, &heap));
    EXPECT_TRUE(sys_StrHeapApnd(&heap, nullptr));
    EXPECT_TRUE(sys_StrHeapCmpLen(nullptr, "a", 1, false, false));
    EXPECT_TRUE(sys_StrHeapCmpLen(&heap, nullptr, 3, false, false));
    EXPECT_TRUE(sys_StrHeapCmpStr(nullptr, "a", false, false));
    EXPECT_TRUE(sys_StrHeapCmpStr(&heap, nullptr, true, false));
    EXPECT_TRUE(sys_StrHeapCmp(nullptr, &heap, false, false));
    EXPECT_TRUE(sys_StrHeapCmp(&heap, nullptr, true, false));
    before.expect_unchanged(heap);
}

struct Comparison {
    const char* heap;
    const char* other;
    bool prefix;
    bool nocase;
    bool differs;
};

TEST(StrHeapTest, Comparison) {
    const Comparison cases[] = {
        {"path/name", "path", true, false, false},
        {"path/name", "path", false, false, true},
        {"path", "path/name", true, false, true},
        {"path", "path", false, false, false},
        {"path", "path", true, false, false},
        {"path", "PATH", false, false, true},
        {"path", "PATH", false, true, false},
        {"path/name", "PATH", true, true, false},
        {"path/name", "PATX", true, true, true},
        {"path", "patx", false, true, true},
        {"path", "", true, false, false},
        {"path", "", false, false, true},
        {"", "", false, false, false},
        {"a[", "A{", false, true, true},
    };
    for (const Comparison& c : cases) {
        Heap heap(100, c.heap);
        Heap other(100, c.other);
        const auto length = static_cast<uint32_t>(std::strlen(c.other));
        EXPECT_EQ(sys_StrHeapCmpLen(&heap, c.other, length, c.prefix, c.nocase), c.differs)
            << c.heap << ' ' << c.other;
        EXPECT_EQ(sys_StrHeapCmpStr(&heap, c.other, c.prefix, c.nocase), c.differs)
            << c.heap << ' ' << c.other;
        EXPECT_EQ(sys_StrHeapCmp(&heap, &other, c.prefix, c.nocase), c.differs)
            << c.heap << ' ' << c.other;
    }
}

TEST(StrHeapTest, AFreshRecordEqualsTheEmptyText) {
    Heap fresh(100);
    Heap also_fresh(100);
    for (const bool flag : {false, true}) {
        EXPECT_FALSE(sys_StrHeapCmpStr(&fresh, "", flag, flag));
        EXPECT_FALSE(sys_StrHeapCmp(&fresh, &also_fresh, flag, flag));
        EXPECT_FALSE(sys_StrHeapCmpLen(&fresh, nullptr, 0, flag, flag));
        EXPECT_TRUE(sys_StrHeapCmpStr(&fresh, "a", flag, flag));
    }
}

TEST(StrHeapTest, ComparisonGoesOverANul) {
    Heap heap(100, std::string("a\0b", 3));
    EXPECT_FALSE(sys_StrHeapCmpLen(&heap, "a\0b", 3, false, false));
    EXPECT_TRUE(sys_StrHeapCmpLen(&heap, "a\0c", 3, false, false));
    EXPECT_FALSE(sys_StrHeapCmpLen(&heap, "A\0B", 3, false, true));
    EXPECT_TRUE(sys_StrHeapCmpLen(&heap, "A\0C", 3, false, true));
}

// The record's rules on a std::string: when a write succeeds, and how large the buffer then is.
struct Model {
    uint32_t max;
    uint32_t mem = 0;
    std::string text;

    bool fails_to_hold(size_t length) {
        if (mem > length) {
            return false;
        }
        if (length > max) {
            return true;
        }
        mem = static_cast<uint32_t>(length < 32 ? 33 : length + length / 8 + 1);
        return false;
    }
    bool replace(const std::string& with) {
        if (fails_to_hold(with.size())) {
            return true;
        }
        text = with;
        return false;
    }
};

class RandomOperations {
public:
    RandomOperations(uint32_t seed, uint32_t max) : random_(seed), model_{max, 0, ""}, heap_(max) {}

    void run(int operations) {
        for (int i = 0; i < operations && !testing::Test::HasFailure(); ++i) {
            one();
            EXPECT_EQ(heap_->len, model_.text.size());
            EXPECT_EQ(heap_->mem, model_.mem);
            EXPECT_EQ(heap_->str == nullptr ? "" : heap_.text(), model_.text);
        }
    }

private:
    std::string any_text() {
        std::string text(random_() % 40, ' ');
        for (char& character : text) {
            character = "aAbB\0"[random_() % 5];
        }
        return text;
    }

    void one() {
        const std::string text = any_text();
        const auto length = static_cast<uint32_t>(text.size());
        Heap other(1000, text);
        char letter = 'L';
        switch (random_() % 13) {
        case 0:
            EXPECT_EQ(sys_StrHeapPutChar(&heap_, letter), model_.replace(model_.text + letter));
            break;
        case 1:
            EXPECT_EQ(sys_StrHeapPutPntr(&heap_, &letter), model_.replace(model_.text + letter));
            break;
        case 2:
            EXPECT_EQ(sys_StrHeapCopyLen(&heap_, text.data(), length), model_.replace(text));
            break;
        case 3:
            EXPECT_EQ(sys_StrHeapCopyStr(&heap_, text.c_str()), model_.replace(text.c_str()));
            break;
        case 4:
            EXPECT_EQ(sys_StrHeapCopy(&heap_, &other), model_.replace(text));
            break;
        case 5:
            EXPECT_EQ(sys_StrHeapApndLen(&heap_, text.data(), length),
                      model_.replace(model_.text + text));
            break;
        case 6:
            EXPECT_EQ(sys_StrHeapApndStr(&heap_, text.c_str()),
                      model_.replace(model_.text + text.c_str()));
            break;
        case 7:
            EXPECT_EQ(sys_StrHeapApnd(&heap_, &other), model_.replace(model_.text + text));
            break;
        case 8:
            EXPECT_EQ(sys_StrHeapApnd(&heap_, &heap_), model_.replace(model_.text + model_.text));
            break;
        case 9:
            EXPECT_EQ(sys_StrHeapAloc(&heap_, length * 4), model_.fails_to_hold(length * 4));
            break;
        case 10:
            if (random_() % 8 == 0) {
                EXPECT_FALSE(sys_StrHeapFree(&heap_));
                model_ = {model_.max, 0, ""};
            }
            break;
        case 11:
            compare(text);
            break;
        default:
            compare(model_.text.substr(0, random_() % (model_.text.size() + 1)));
            break;
        }
    }

    void compare(const std::string& text) {
        const auto length = static_cast<uint32_t>(text.size());
        const auto lower = [](std::string of) {
            for (char& character : of) {
                character = static_cast<char>(std::tolower(character));
            }
            return of;
        };
        const std::string& own = model_.text;
        EXPECT_EQ(sys_StrHeapCmpLen(&heap_, text.data(), length, false, false), own != text);
        EXPECT_EQ(sys_StrHeapCmpLen(&heap_, text.data(), length, false, true),
                  lower(own) != lower(text));
        EXPECT_EQ(sys_StrHeapCmpLen(&heap_, text.data(), length, true, false),
                  !own.starts_with(text));
        EXPECT_EQ(sys_StrHeapCmpLen(&heap_, text.data(), length, true, true),
                  !lower(own).starts_with(lower(text)));
    }

    std::mt19937 random_;
    Model model_;
    Heap heap_;
};

TEST(StrHeapTest, AgreesWithAStandardStringUnderRandomOperations) {
    for (const uint32_t max : {1U, 20U, 33U, 64U, 100U, 500U, 100'000U}) {
        for (uint32_t seed = 0; seed < 5; ++seed) {
            RandomOperations(seed * 1000 + max, max).run(2'000);
        }
    }
}

} // namespace
