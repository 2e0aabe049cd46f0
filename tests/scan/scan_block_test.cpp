// Random scans across the ends of markers and blocks, compared with an encoder that goes word by
// word: every word of every batch, the block's counters at each exchange, the words received.
#include "scan/scan_operation.h"
#include "scan/scan_rules.h"
#include "support/instant_pod.h"
#include "transport/port.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using scan_rules::Board;
using scan_rules::Generator;
using scan_rules::Kind;
using scan_rules::ScanCase;
using scan_rules::Words;
using test_support::InstantPod;

// A batch as it stands in the block.
struct Batch {
    Words words;
    uint32_t marker = 0;
    uint32_t marker_closed = 0;
    uint32_t reads_local = 0;
    uint32_t reads_global = 0;

    bool operator==(const Batch&) const = default;
};

Batch batch_of(const lcl_shm& block) {
    return {Words(block.tbcOMblock, block.tbcOMblock + block.tbcMblockPtr), block.lastWCNTR,
            block.useZeroOfs, block.rdCntrLcl, block.rdCntrGbl};
}

// Packs items into blocks, one after the other: a marker behind every 2048 reads, and a flush with
// its three status reads where the next item and such a flush would not fit any more.
class Packer {
public:
    Packer() { begin(); }

    std::vector<Batch> flushed;
    Batch now;

    void put(const Words& item, uint32_t reads) {
        if (size_with_flush(item.size(), reads) > SHM_BLOCK_WORDS) {
            flush();
        }
        append(item, reads);
    }

    // Items as the generator writes them, without a flush's reads.
    void put_all(const Words& words, size_t count, bool settles) {
        for (size_t at = 0; at < count;) {
            const bool write = words[at] < 0x8000 && (words[at] & 0x4000) != 0;
            const size_t length = !write ? 1 : words[at] == 0x4017 && settles ? 4 : 2;
            const auto item = words.begin() + static_cast<ptrdiff_t>(at);
            put(Words(item, item + static_cast<ptrdiff_t>(length)), words[at] < 0x4000 ? 1 : 0);
            at += length;
        }
    }

    void flush() {
        for (const uint16_t port : Words{31, 16, 17}) {
            append({port}, 1);
        }
        flushed.push_back(now);
        begin();
    }

private:
    void begin() { now = Batch{{0x8000, 0xC000}, 1, 0, 0, 0}; }

    size_t size_with_flush(size_t words, uint32_t reads) const {
        return now.words.size() + words + 3 + (now.reads_local + reads + 3) / 2048;
    }

    void append(const Words& item, uint32_t reads) {
        now.words.insert(now.words.end(), item.begin(), item.end());
        now.reads_global += reads;
        now.reads_local += reads;
        if (now.reads_local == 2048) {
            now.reads_local = 0;
            now.marker_closed = 1;
            now.words[now.marker] = 0xC7FF;
            now.marker = static_cast<uint32_t>(now.words.size());
            now.words.push_back(0xC000);
        }
    }
};

// What stands in the block before a scan.
struct Before {
    uint32_t reads;
    uint32_t waits;
};

class Blocks {
public:
    explicit Blocks(const Board& board) : board_(board), pod_(board.revision) {
        pod_.inform.qelVariable.aw = !board.host_waits;
        pod_.inform.qelVariable.slowclk = board.settles;
        pod_.control.emuRevision = board.revision;
        pod_.control.priorConfig = board.config;
        pod_.control.ambleDelay.preAmbleIR = board.pre_ir;
        pod_.control.ambleDelay.posAmbleIR = board.pos_ir;
        pod_.control.ambleDelay.preAmbleDR = board.pre_dr;
        pod_.control.ambleDelay.posAmbleDR = board.pos_dr;
        pod_.recording = false;
        pod_.before_flush = [this] { batches_.push_back(batch_of(*pod_.block)); };
        pod_.give = [this](uint16_t port) {
            return port == TBC_PORT_RECEIVE ? scan_rules::received_word(received_++) : uint16_t{0};
        };
    }

    // Whether the scan came out as the rules say.
    bool same(const ScanCase& scan, Before before) {
        const uint32_t buffer_words = (scan.bits / 32 + 2) * 2 * scan.repeat;
        const Generator rules(scan, board_, buffer_words);
        Packer packer;
        prepare(packer, before);
        for (size_t index = 0; index < rules.batches.size(); ++index) {
            const bool last = index + 1 == rules.batches.size();
            const Words& words = rules.batches[index];
            packer.put_all(words, words.size() - (last ? 0 : 3), board_.settles);
            if (!last) {
                packer.flush();
            }
        }
        Words destination(buffer_words, Generator::kUntouched);
        EXPECT_EQ(make(scan, destination), 0);
        flushes_ += batches_.size();
        return batches_ == packer.flushed && batch_of(*pod_.block) == packer.now &&
               destination == rules.destination;
    }

    size_t flushes() const { return flushes_; }

private:
    void prepare(Packer& packer, Before before) {
        batches_.clear();
        received_ = 0;
        batch_take_reads(pod_.get());
        test_support::empty_batch(*pod_.block);
        std::fill_n(pod_.control.registerCache, std::size(pod_.control.registerCache), uint16_t{0});
        for (uint32_t read = 0; read < before.reads; ++read) {
            PortReadNoCache(pod_.get(), TBC_PORT_VERSION, &sink_);
            packer.put({TBC_PORT_VERSION}, 1);
        }
        const Words waits(before.waits, SHM_WAIT_DONE);
        std::copy(waits.begin(), waits.end(), pod_.block->tbcOMblock + pod_.block->tbcMblockPtr);
        pod_.block->tbcMblockPtr += before.waits;
        packer.now.words.insert(packer.now.words.end(), waits.begin(), waits.end());
    }

    int32_t make(const ScanCase& scan, Words& destination) {
        const JSC_JtagCommand command = scan_rules::command_of(scan);
        if (scan.kind == Kind::Zeros || scan.kind == Kind::Ones) {
            const JSC_JtagParam01 param{scan.repeat, 0, scan.bits, scan.kind == Kind::Ones};
            return jsc_ScanFixed01(pod_.get(), &command, &param);
        }
        Words source(destination.size());
        for (uint32_t index = 0; index < source.size(); ++index) {
            source[index] = scan_rules::source_word(index);
        }
        const JSC_JtagParam16 param{scan.repeat, 0, scan.bits, source.data(), destination.data()};
        const auto operation = scan.kind == Kind::Send   ? jsc_ScanSend16
                               : scan.kind == Kind::Both ? jsc_ScanBoth16
                                                         : jsc_ScanRecv16;
        return operation(pod_.get(), &command, &param);
    }

    Board board_;
    InstantPod pod_;
    std::vector<Batch> batches_;
    uint32_t received_ = 0;
    uint16_t sink_ = 0;
    size_t flushes_ = 0;
};

// Lengths of all sizes, as often as not a word's last or first bit; what surrounds the shift.
class RandomScans {
public:
    uint32_t number(uint32_t least, uint32_t most) {
        return std::uniform_int_distribution<uint32_t>(least, most)(random_);
    }

    ScanCase scan() {
        ScanCase scan;
        scan.kind = pick({Kind::Both, Kind::Receive, Kind::Send, Kind::Both, Kind::Zeros,
                          Kind::Receive, Kind::Ones, Kind::Send});
        scan.ir = number(0, 1) != 0;
        const uint32_t words = number(1, 1U << number(1, 16));
        scan.bits = 16 * words - pick({0U, 15U, 8U});
        scan.end = pick({eJSC_JTAG_STATE_RESET, eJSC_JTAG_STATE_IDLE, eJSC_JTAG_STATE_PAUSE_DR,
                         eJSC_JTAG_STATE_PAUSE_IR});
        scan.amble =
            pick({eJSC_JTAG_AMBLE_NEITHER, eJSC_JTAG_AMBLE_NEITHER, eJSC_JTAG_AMBLE_PREAMBLE,
                  eJSC_JTAG_AMBLE_POSTAMBLE, eJSC_JTAG_AMBLE_BOTH});
        scan.adjust = number(0, 1) != 0;
        scan.repeat = words < 4000 ? number(1, 3) : 1;
        scan.reuse = number(0, 1) != 0;
        scan.before = transit();
        scan.after = transit();
        return scan;
    }

    // Where the scan finds the batch: empty, somewhere, near a marker, near the block's end.
    Before before() {
        const uint32_t reads = pick({0U, number(0, 3000), number(2030, 2060)});
        const uint32_t left = SHM_BLOCK_WORDS - reads - 8;
        return {reads, pick({0U, number(0, left), left - number(0, 100), left - number(0, 20000)})};
    }

private:
    template <typename T>
    T pick(std::initializer_list<T> choices) {
        return choices.begin()[number(0, static_cast<uint32_t>(choices.size() - 1))];
    }

    JSC_JtagTransit transit() {
        return pick({eJSC_JTAG_TRANSIT_QUICKEST, eJSC_JTAG_TRANSIT_VIA_CAPTURE,
                     eJSC_JTAG_TRANSIT_VIA_IDLE});
    }

    std::mt19937 random_{20261122};
};

Board board_where(bool host_waits, bool settles) {
    Board board;
    board.host_waits = host_waits;
    board.settles = settles;
    board.revision = host_waits ? 0x0100 : 0x0200;
    return board;
}

void compare_random_scans(const Board& board, int count) {
    Blocks blocks(board);
    RandomScans random;
    for (int done = 0; done < count; ++done) {
        const ScanCase scan = random.scan();
        const Before before = random.before();
        ASSERT_TRUE(blocks.same(scan, before)) << describe(scan) << ", behind " << before.reads
                                               << " reads and " << before.waits << " waits";
    }
    EXPECT_GT(blocks.flushes(), static_cast<size_t>(count)) << "many of them fill blocks";
}

TEST(ScanBlockTest, EveryWordAndCounterIsThatOfTheRules) {
    compare_random_scans(board_where(true, false), 200);
}

TEST(ScanBlockTest, APodThatWaitsByItself) {
    compare_random_scans(board_where(false, false), 100);
}

TEST(ScanBlockTest, AnOldPodWithASlowClock) {
    compare_random_scans(board_where(true, true), 100);
}

} // namespace
