// The processor that a thread runs on.
#pragma once

namespace talvor::podsim::proxy {

// Takes the calling thread to another one of the processors that it may use, and leaves it to the
// scheduler again: which ones it may use stays as it was. False when it may use no other, or the
// kernel does not tell.
bool leave_processor() noexcept;

} // namespace talvor::podsim::proxy
