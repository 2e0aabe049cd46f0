// The devices of a chain, made ready for their boundary registers to be used.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"
#include "host/chain/chain.h"

#include <string>
#include <vector>

namespace talvor::boundary {

struct ChainMembers {
    std::vector<Member> members; // nearest TDI first
    // Why a device that has a description stays in BYPASS, and what devices say against theirs.
    std::vector<std::string> notes;
    // Whether pins may be driven. Not by the description of another part: nobody knows which pins
    // these would be, nor against what. An error (ErrorKind::Target) tells what says so.
    Status drivable;
};

// Makes a plan of each device of `chain` that has a description; with `device`, a name or a number
// from 1, of that device alone, and the others are in BYPASS. Errors: no such device; none has a
// description (ErrorKind::Usage); the instruction lengths are not known; as for Plan::make(), of
// the device that was named.
[[nodiscard]] Result<ChainMembers> members_of(const Chain& chain, const std::string& device);

} // namespace talvor::boundary
