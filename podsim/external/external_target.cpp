#include "podsim/external/external_target.h"

#include "common/tap_state.h"
#include "podsim/external/protocol_choice.h"
#include "podsim/model/bits.h"

#include <algorithm>
#include <array>

namespace talvor::podsim::external {
namespace {

// Bits that are put at once: whole words, few enough to send a part while others are made.
constexpr uint64_t kPieceBits = 4096;
// Bytes that may wait to be sent: what a socket takes about at once.
constexpr size_t kMostUnsent = size_t{1} << 17;
constexpr size_t kReceiveBytes = 65'536;

} // namespace

Result<std::unique_ptr<ExternalTarget>> ExternalTarget::connect(const Options& options) {
    Connection connection = TRY(Connection::make(options.address, options.patience));
    std::unique_ptr<ExternalTarget> target(new ExternalTarget(options, std::move(connection)));
    TRY(target->open());
    TRY(target->reset_taps());
    return target;
}

ExternalTarget::~ExternalTarget() {
    if (options_.quit && protocol_ && connection_.check()) {
        protocol_->quit();
        (void)connection_.send(exchange().sendable());
    }
}

Status ExternalTarget::open() {
    TRY(connection_.open());
    protocol_ = make_protocol(options_.protocol);
    protocol_->begin();
    return run_until([this] { return exchange().idle(); });
}

// ---- bytes ------------------------------------------------------------------------------------

Status ExternalTarget::send() {
    while (!exchange().sendable().empty()) {
        const size_t sent = TRY(connection_.send(exchange().sendable()));
        if (sent == 0) {
            break;
        }
        exchange().sent(sent);
    }
    return {};
}

Status ExternalTarget::receive() {
    std::array<char, kReceiveBytes> room;
    const uint64_t outstanding = exchange().outstanding();
    const auto most = static_cast<size_t>(std::min<uint64_t>(outstanding, room.size()));
    const size_t came = TRY(connection_.receive(std::span(room).first(most)));
    exchange().came(came);
    if (const auto wrong = protocol_->take(std::span(room).first(came))) {
        return connection_.lose(*wrong);
    }
    if (came < outstanding) {
        connection_.acknowledge();
    }
    return {};
}

template <class Done>
Status ExternalTarget::run_until(Done done) {
    TRY(send());
    while (!done()) {
        if (TRY(connection_.wait(
                {.out = !exchange().sendable().empty(), .in = exchange().outstanding() != 0}))) {
            TRY(receive());
        }
        TRY(send());
    }
    return {};
}

// ---- clocks -----------------------------------------------------------------------------------

Status ExternalTarget::pass_on() {
    return mode_ == Mode::Direct ? settle() : relieve();
}

Status ExternalTarget::settle() {
    protocol_->finish();
    return run_until([this] { return exchange().idle(); });
}

Status ExternalTarget::relieve() {
    // The server has work while we make more of it.
    const auto within = [this](unsigned part) {
        return exchange().outstanding() + kPieceBits <= kMostOutstanding / part &&
               exchange().unsent() <= kMostUnsent / part;
    };
    return within(1) ? Status() : run_until([&] { return within(2); });
}

Status ExternalTarget::move(uint64_t tms, unsigned count, bool tdi) {
    TRY(connection_.check());
    if (mode_ == Mode::Repeat) {
        return {};
    }
    protocol_->move(tms, count, tdi);
    return pass_on();
}

Status ExternalTarget::shift_tail(std::span<const uint64_t> tdi, std::span<uint64_t> tdo,
                                  uint64_t count, bool leave, uint64_t unwanted) {
    TRY(connection_.check());
    if (mode_ != Mode::Repeat) {
        TRY(put_shift(tdi, count, leave, unwanted));
    }
    if (mode_ == Mode::Ahead) {
        std::ranges::fill(tdo.first(words_for(count)), 0);
        return {};
    }
    return fetch(tdo, count, unwanted);
}

Status ExternalTarget::put_shift(std::span<const uint64_t> tdi, uint64_t count, bool leave,
                                 uint64_t unwanted) {
    for (uint64_t first = 0; first < count; first += kPieceBits) {
        const uint64_t bits = std::min(kPieceBits, count - first);
        protocol_->shift(tdi.subspan(first / kWordBits, words_for(bits)), bits,
                         leave && first + bits == count,
                         std::min(bits, unwanted > first ? unwanted - first : 0));
        TRY(relieve());
    }
    return pass_on();
}

// Takes the levels of TDO of the bits from `unwanted` on.
Status ExternalTarget::fetch(std::span<uint64_t> tdo, uint64_t count, uint64_t unwanted) {
    BitQueue& levels = protocol_->levels();
    if (levels.size() < count - unwanted) {
        TRY(run_until([&] { return levels.size() >= count - unwanted || exchange().idle(); }));
    }
    if (levels.size() < count - unwanted) {
        return connection_.lose("has been sent other clocks than those of this batch");
    }
    for (uint64_t i = unwanted; i < count; i += kWordBits) {
        const auto step = static_cast<unsigned>(std::min<uint64_t>(kWordBits, count - i));
        put_bits(tdo, i, step, levels.take(step));
    }
    return {};
}

Status ExternalTarget::reset_taps() {
    return move(kResetPath.tms, kResetPath.count, true);
}

Status ExternalTarget::pulse_trst() {
    TRY(connection_.check());
    if (options_.send_resets && mode_ != Mode::Repeat) {
        protocol_->pulse_trst();
    }
    return reset_taps();
}

Status ExternalTarget::set_reset(bool asserted) {
    TRY(connection_.check());
    if (options_.send_resets && mode_ != Mode::Repeat) {
        protocol_->set_reset(asserted);
        return pass_on();
    }
    return {};
}

Status ExternalTarget::power_on() {
    if (!connection_.check()) {
        TRY(open());
    }
    return reset_taps();
}

// ---- batches ----------------------------------------------------------------------------------

void ExternalTarget::send_ahead() {
    mode_ = Mode::Ahead;
}

void ExternalTarget::repeat() {
    protocol_->finish();
    mode_ = Mode::Repeat;
}

Status ExternalTarget::end_repeat() {
    mode_ = Mode::Direct;
    TRY(connection_.check());
    TRY(settle());
    protocol_->levels().clear();
    return {};
}

void ExternalTarget::abandon() noexcept {
    mode_ = Mode::Direct;
    connection_.close();
}

} // namespace talvor::podsim::external
