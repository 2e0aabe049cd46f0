// Everything between a board file and a connected pod, in the order in which it comes to be.
#pragma once

#include "common/result.h"
#include "host/chain/chain.h"
#include "host/chain/descriptions.h"
#include "host/driver/device_table.h"
#include "host/driver/library.h"
#include "host/driver/pod.h"
#include "host/driver/pod_lock.h"
#include "host/driver/proxy_watch.h"
#include "host/session/board_file.h"
#include "host/session/pod_port.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

struct SessionOptions {
    std::optional<std::string> board;          // a board file; without one the pod's own defaults
    std::optional<std::string> library;        // before the board file's
    std::optional<uint32_t> serial;            // before the board file's
    bool one_of_several = false;               // the board file is that of other pods, too
    std::optional<int32_t> link_delay;         // test clocks, before the board file's
    std::optional<double> max_hertz;           // test clock at most, before the board file's
    std::vector<uint32_t> instruction_lengths; // nearest TDI first, before the board file's
    std::optional<std::string> descriptions;   // folder of BSDL files, found by IDCODE
    PodLockOptions lock;                       // what to do about a pod that is in use
    std::chrono::milliseconds patience{60000}; // see ProxyWatch
    ProxyWatch::LostHandler lost;              // the last resort; must be given
};

// The board file of `options`, or an empty board.
[[nodiscard]] Result<Board> load_board(const SessionOptions& options);

// Chooses the pod and fills in what the board does not say: serial number, generation, a name for
// the controller block; then what `options` override. Errors: no pod with that serial number; the
// generation in the board file and the pod's revision are at odds; the pod's block is damaged; no
// test clock that slow.
[[nodiscard]] Result<PodRecord> complete_board(Board& board, const DeviceTable& table,
                                               const SessionOptions& options);

// The device table of a living proxy, or an error that says what is wrong with the proxy.
[[nodiscard]] Result<DeviceTable> living_proxy();

// The BSDL files that a board file and an option name.
struct BoardDescriptions {
    std::vector<DescriptionFile> devices; // of [[device]], as many; some without a file
    DescriptionFolder folder;
};
// Errors (ErrorKind::BadFile): a file that the board names cannot be read or is no BSDL; there is
// no such folder.
[[nodiscard]] Result<BoardDescriptions> read_descriptions(const Board& board,
                                                          const SessionOptions& options);
// Gives the devices of a chain names, descriptions and, where these leave only one answer and the
// target left several, instruction lengths.
void describe(Chain& chain, const Board& board, const BoardDescriptions& descriptions);

// The generation (KELM.POD_EMUVERSION) of a completed board.
[[nodiscard]] uint32_t generation(const Board& board);

class Session {
public:
    // Reserves the pod (see PodLock), then connects it.
    [[nodiscard]] static Result<std::unique_ptr<Session>> open(const SessionOptions& options);
    // What is still queued reaches the target before the pod is disconnected.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    [[nodiscard]] const Board& board() const noexcept { return board_; }
    [[nodiscard]] const Library& library() const noexcept { return library_; }
    [[nodiscard]] const PodRecord& record() const noexcept { return record_; }
    [[nodiscard]] const PodLock& lock() const noexcept { return lock_; }
    [[nodiscard]] Pod& pod() noexcept { return *pod_; }
    [[nodiscard]] PodPort& port() noexcept { return *port_; }

    // Finds the chain, with the lengths, names and descriptions that options and board file give.
    // Errors are those of discover_chain() and read_descriptions().
    [[nodiscard]] Result<Chain> discover();
    // The chain as options and board file describe it; the target is not asked. Nothing unless they
    // give every instruction length. Errors are those of read_descriptions().
    [[nodiscard]] Result<std::optional<Chain>> described_chain();
    // The files, read when they are first asked for.
    [[nodiscard]] Result<const BoardDescriptions*> descriptions();

private:
    // A pod that is this process's to use.
    struct Reserved {
        Board board;
        PodRecord record;
        PodLock lock;
    };

    Session(const SessionOptions& options, Library library, Reserved reserved);

    [[nodiscard]] static Result<Reserved> reserve(Board board, const SessionOptions& options);

    [[nodiscard]] Status connect();

    SessionOptions options_;
    std::optional<BoardDescriptions> descriptions_;
    Board board_;
    Library library_;
    PodRecord record_;
    PodLock lock_; // let go after the pod is
    ProxyWatch watch_;
    std::unique_ptr<Pod> pod_;
    std::optional<PodPort> port_;
};

} // namespace talvor
