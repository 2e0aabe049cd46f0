#include "host/session/session.h"

#include "common/interrupt.h"
#include "common/text.h"
#include "host/board/configuration.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {
namespace {

using Clock = std::chrono::steady_clock;

// For a proxy that is just being started.
constexpr std::chrono::milliseconds kLookEvery{50};

// Names the controller block where the board file names no driver; hosts that share a pod must give
// the same one.
constexpr const char* kDefaultDriver = "talvor-pod";

constexpr const char* kSerialKey = "KELM.POD_SN";
constexpr const char* kGenerationKey = "KELM.POD_EMUVERSION";
constexpr const char* kLinkKey = "VEXIL.LINKDLY";
constexpr const char* kLinkModeKey = "VEXIL.LINKDELAY_MODE";
constexpr const char* kLinkValueKey = "VEXIL.LINKDELAY_VALUE";

uint32_t wanted_serial(const Board& board, const SessionOptions& options) {
    uint32_t serial = 0;
    if (options.serial) {
        return *options.serial;
    }
    if (const Key* key = board.keys.find(kSerialKey)) {
        // What is no number is left to the driver, which refuses it.
        (void)parse_unsigned(key->text, serial);
    }
    return serial;
}

Status check_generation(const Board& board, const PodRecord& pod) {
    const Key* key = board.keys.find(kGenerationKey);
    uint32_t version = 0;
    if (key == nullptr || !parse_unsigned(key->text, version) || version == 0 ||
        version > kGenerations || version == pod.generation()) {
        return {};
    }
    return pod_error(fmt::format("pod {}", pod.serial),
                     fmt::format("{}:{} says generation {}, but the pod's revision is {}",
                                 board.name, key->line, version, revision_text(pod.revision)),
                     fmt::format("set {} = {}, or choose another pod with --pod", kGenerationKey,
                                 pod.generation()));
}

void override_link_delay(KeyStore& keys, int32_t delay) {
    // The mode key chooses which of the other two is read.
    const Key* mode = keys.find(kLinkModeKey);
    if (mode != nullptr) {
        keys.set(kLinkModeKey, "enable");
    }
    keys.set(mode != nullptr ? kLinkValueKey : kLinkKey, fmt::format("{}", delay));
}

Status override_clock(Board& board, double hertz) {
    const TestClock clock(board.clock, generation(board));
    const auto setting = clock.at_most(hertz);
    if (!setting) {
        return usage_error(fmt::format("test clock of {}", frequency_text(hertz)),
                           fmt::format("the pod's slowest is {}",
                                       frequency_text(static_cast<double>(clock.slowest()))));
    }
    clock.apply(*setting, board.keys);
    return {};
}

// Completes `given` once more: the proxy may have been started anew, with another pod of that
// serial number, and may still be about to publish it, until `end`.
Result<PodRecord> complete_anew(const Board& given, Board& board, const SessionOptions& options,
                                Clock::time_point end) {
    for (;;) {
        board = given;
        const Result<DeviceTable> table = living_proxy();
        const bool late = Clock::now() >= end;
        if (table || late) {
            Result<PodRecord> record = complete_board(board, TRY(table), options);
            if (record || late) {
                return record;
            }
        }
        sleep_unless_interrupted(kLookEvery);
        TRY(check_interrupt());
    }
}

} // namespace

Result<Board> load_board(const SessionOptions& options) {
    if (options.board) {
        return read_board(*options.board);
    }
    Board board;
    board.name = "defaults";
    return board;
}

uint32_t generation(const Board& board) {
    uint32_t version = 1;
    if (const Key* key = board.keys.find(kGenerationKey)) {
        (void)parse_unsigned(key->text, version);
    }
    return version;
}

Result<DeviceTable> living_proxy() {
    const ProxyState state = proxy_state();
    if (state.life == ProxyLife::Dead) {
        return pod_error("pod proxy",
                         "it has ended and left its objects behind; nobody serves the pods",
                         "start the proxy again: it takes the objects over");
    }
    return read_device_table();
}

Result<PodRecord> complete_board(Board& board, const DeviceTable& table,
                                 const SessionOptions& options) {
    PodRecord pod = TRY(choose_pod(table, wanted_serial(board, options)));
    if (!pod.block_good) {
        return pod_error(fmt::format("pod {}", pod.serial),
                         fmt::format("its block {} is missing or has a wrong size", pod.block_name),
                         "start the proxy again");
    }
    TRY(check_generation(board, pod));
    KeyStore& keys = board.keys;
    if (options.serial || keys.find(kSerialKey) == nullptr) {
        keys.set(kSerialKey, fmt::format("{}", pod.serial));
    }
    keys.set_default(kGenerationKey, fmt::format("{}", pod.generation()));
    if (keys.find("VEXIL.ECOM_DRVR") == nullptr && keys.find("KELM.POD_DRVR") == nullptr) {
        keys.set("KELM.POD_DRVR", kDefaultDriver);
        keys.set_default("KELM.POD_PORT", fmt::format("{}", pod.serial));
    }
    if (options.link_delay) {
        override_link_delay(keys, *options.link_delay);
    }
    if (options.max_hertz) {
        TRY(override_clock(board, *options.max_hertz));
    }
    return pod;
}

Session::Session(const SessionOptions& options, Library library, Reserved reserved)
    : instruction_lengths_(options.instruction_lengths), board_(std::move(reserved.board)),
      library_(std::move(library)), record_(std::move(reserved.record)),
      lock_(std::move(reserved.lock)), watch_(record_, options.patience, options.lost) {}

Result<Session::Reserved> Session::reserve(Board board, const SessionOptions& options) {
    const Clock::time_point end = Clock::now() + options.lock.wait;
    Reserved reserved{board, {}, {}};
    reserved.record = TRY(complete_board(reserved.board, TRY(living_proxy()), options));
    reserved.lock = TRY(PodLock::take(reserved.record, options.lock));
    if (reserved.lock.waited()) {
        reserved.record = TRY(complete_anew(board, reserved.board, options, end));
    }
    return reserved;
}

Session::~Session() {
    if (port_) {
        port_->close();
    }
}

Result<std::unique_ptr<Session>> Session::open(const SessionOptions& options) {
    Board board = TRY(load_board(options));
    Library library = TRY(Library::load(options.library ? options.library : board.library));
    Reserved reserved = TRY(reserve(std::move(board), options));
    std::unique_ptr<Session> session(new Session(options, std::move(library), std::move(reserved)));
    TRY(session->connect());
    return session;
}

Status Session::connect() {
    pod_ = TRY(Pod::open(library_, watch_, board_.name, board_.keys));
    port_ = TRY(PodPort::open(*pod_, TestClock(board_.clock, generation(board_)), board_.keys));
    return {};
}

Result<Chain> Session::discover() {
    std::vector<uint32_t> lengths = instruction_lengths_;
    if (lengths.empty()) {
        for (const BoardDevice& device : board_.devices) {
            lengths.push_back(device.instruction_bits);
        }
        if (std::find(lengths.begin(), lengths.end(), 0U) != lengths.end()) {
            lengths.clear();
        }
    }
    Chain chain = TRY(discover_chain(*port_, lengths));
    if (board_.devices.size() == chain.devices.size()) {
        for (size_t i = 0; i < chain.devices.size(); ++i) {
            chain.devices[i].name = board_.devices[i].name;
        }
    }
    return chain;
}

} // namespace talvor
