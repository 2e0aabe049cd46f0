#include "host/serve/engine_port.h"

#include "common/tap_state.h"

#include <algorithm>

namespace talvor {

Status EnginePort::start() {
    if (broken_ && recover_) {
        TRY(recover_());
        TRY(engine_.open());
        broken_ = false;
    }
    return noted(begin());
}

Status EnginePort::begin() {
    TRY(engine_.set_trst(false));
    TRY(engine_.set_srst(false));
    engine_.new_client();
    const Bits ones = Bits::ones(kResetPath.count);
    TRY(engine_.clock(ones, ones, nullptr));
    return engine_.hertz() == first_hertz_ ? Status() : engine_.set_max_frequency(first_hertz_);
}

Status EnginePort::set_max_frequency(double hertz) {
    const double wanted = first_hertz_ > 0 ? std::min(hertz, first_hertz_) : hertz;
    return wanted == engine_.hertz() ? Status() : noted(engine_.set_max_frequency(wanted));
}

} // namespace talvor
