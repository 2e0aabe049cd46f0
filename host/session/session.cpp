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

// Another pod than the board file's own, by the same file: its controller block must not be that of
// the file's pod.
void set_block_apart(KeyStore& keys, uint32_t serial) {
    uint32_t own = 0;
    if (const Key* key = keys.find(kSerialKey); key != nullptr) {
        (void)parse_unsigned(key->text, own);
    }
    if (own == serial) {
        return;
    }
    const std::string port = fmt::format("{}", serial);
    if (keys.find("VEXIL.ECOM_DRVR") != nullptr) {
        keys.set("VEXIL.ECOM_PORT", port);
    } else if (keys.find("KELM.POD_DRVR") != nullptr) {
        keys.set("KELM.POD_PORT", port);
        keys.set("KELM.POD_SERIAL", "");
    }
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
    if (options.one_of_several) {
        set_block_apart(keys, pod.serial);
    }
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

Result<BoardDescriptions> read_descriptions(const Board& board, const SessionOptions& options) {
    BoardDescriptions descriptions;
    for (const BoardDevice& device : board.devices) {
        descriptions.devices.push_back(device.bsdl.empty() ? DescriptionFile{}
                                                           : TRY(read_description(device.bsdl)));
    }
    if (options.descriptions) {
        descriptions.folder = TRY(DescriptionFolder::open(*options.descriptions));
    }
    return descriptions;
}

namespace {

void describe_by_code(ChainDevice& device, const DescriptionFolder& folder) {
    if (device.description || !device.idcode) {
        return;
    }
    const std::vector<DescriptionFile> fitting = folder.find(*device.idcode);
    for (const DescriptionFile& file : fitting) {
        if (!device.description) {
            device.description = file.device;
            device.description_file = file.path;
        } else {
            device.other_files.push_back(file.path);
        }
    }
}

// Where the captures leave several answers, what board and descriptions say may leave one.
void complete_lengths(Chain& chain, const Board& board, bool is_board_chain) {
    std::vector<uint32_t> known;
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        const bsdl::Device* described = chain.devices[i].description.get();
        const auto said = described != nullptr ? described->instruction_bits : size_t{0};
        const uint32_t given = is_board_chain ? board.devices[i].instruction_bits : 0;
        known.push_back(given != 0 ? given : static_cast<uint32_t>(said));
    }
    const std::vector<uint32_t> lengths = fit_lengths(chain.instruction_capture, known);
    for (size_t i = 0; i < lengths.size(); ++i) {
        chain.devices[i].instruction_bits = lengths[i];
    }
    chain.lengths_known = !lengths.empty();
}

} // namespace

void describe(Chain& chain, const Board& board, const BoardDescriptions& descriptions) {
    const bool is_board_chain = board.devices.size() == chain.devices.size();
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        ChainDevice& device = chain.devices[i];
        if (is_board_chain) {
            device.name = board.devices[i].name;
            device.description = descriptions.devices[i].device;
            device.description_file = descriptions.devices[i].path;
        }
        describe_by_code(device, descriptions.folder);
        if (device.name.empty() && device.description) {
            device.name = device.description->name;
        }
    }
    if (!chain.lengths_known && chain.instruction_bits() != 0) {
        complete_lengths(chain, board, is_board_chain);
    }
}

Session::Session(const SessionOptions& options, Library library, Reserved reserved)
    : options_(options), board_(std::move(reserved.board)), library_(std::move(library)),
      record_(std::move(reserved.record)), lock_(std::move(reserved.lock)),
      watch_(record_, options.patience, options.lost) {}

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

Result<const BoardDescriptions*> Session::descriptions() {
    if (!descriptions_) {
        descriptions_ = TRY(read_descriptions(board_, options_));
    }
    return &*descriptions_;
}

Result<Chain> Session::discover() {
    const BoardDescriptions& known = *TRY(descriptions());
    std::vector<uint32_t> lengths = options_.instruction_lengths;
    if (lengths.empty()) {
        for (const BoardDevice& device : board_.devices) {
            lengths.push_back(device.instruction_bits);
        }
        if (std::find(lengths.begin(), lengths.end(), 0U) != lengths.end()) {
            lengths.clear();
        }
    }
    Chain chain = TRY(discover_chain(*port_, lengths));
    describe(chain, board_, known);
    return chain;
}

Result<std::optional<Chain>> Session::described_chain() {
    const BoardDescriptions& known = *TRY(descriptions());
    Chain chain;
    if (!options_.instruction_lengths.empty()) {
        for (const uint32_t length : options_.instruction_lengths) {
            chain.devices.push_back({"", std::nullopt, length});
        }
    } else {
        for (const BoardDevice& device : board_.devices) {
            chain.devices.push_back({"", std::nullopt, device.instruction_bits});
        }
    }
    describe(chain, board_, known);
    for (ChainDevice& device : chain.devices) {
        if (device.instruction_bits == 0 && device.description) {
            device.instruction_bits = static_cast<uint32_t>(device.description->instruction_bits);
        }
        if (device.instruction_bits == 0) {
            return std::optional<Chain>();
        }
    }
    if (chain.devices.empty()) {
        return std::optional<Chain>();
    }
    chain.lengths_known = true;
    return std::optional<Chain>(std::move(chain));
}

} // namespace talvor
