#include "host/serve/edge_batch.h"

#include <algorithm>

namespace talvor {

void EdgeBatch::make_room(size_t count) {
    constexpr size_t kLeast = 4096;
    if (tms_.size() < count) {
        const size_t bits = std::max({count, 2 * tms_.size(), kLeast});
        for (Bits* bitmap : {&tms_, &tdi_, &asked_}) {
            bitmap->resize(bits);
        }
    }
}

void EdgeBatch::push(bool tms, bool tdi) {
    make_room(count_ + 1);
    tms_.set(count_, tms);
    tdi_.set(count_, tdi);
    asked_.set(count_, false);
    ++count_;
}

void EdgeBatch::append(const Bits& tms, const Bits& tdi) {
    tms_.resize(count_);
    tdi_.resize(count_);
    asked_.resize(count_);
    tms_.append(tms);
    tdi_.append(tdi);
    count_ += tms.size();
    asked_.resize(count_);
}

void EdgeBatch::ask(size_t edge) {
    asked_.set(edge, true);
    some_asked_ = true;
}

Status EdgeBatch::make(EdgePort& port, Bits& tdo, size_t keep) {
    const size_t made = count_ - keep;
    const Bits kept_tms = tms_.slice(made, keep);
    const Bits kept_tdi = tdi_.slice(made, keep);
    if (made != 0) {
        for (Bits* bitmap : {&tms_, &tdi_, &asked_}) {
            bitmap->resize(made);
        }
        TRY(port.clock(tms_, tdi_, some_asked_ || all_asked_ ? &tdo : nullptr,
                       all_asked_ ? nullptr : &asked_));
    }
    clear();
    append(kept_tms, kept_tdi);
    return {};
}

void EdgeBatch::clear() noexcept {
    count_ = 0;
    some_asked_ = false;
    all_asked_ = false;
}

} // namespace talvor
