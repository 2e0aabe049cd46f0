// One pod of the station with what is about it: its target, its trace.
#pragma once

#include "common/result.h"
#include "podsim/base/log.h"
#include "podsim/control/command.h"
#include "podsim/description/description.h"
#include "podsim/model/chain.h"
#include "podsim/pod/simulated_pod.h"
#include "podsim/station/options.h"
#include "podsim/trace/vcd_writer.h"

#include <memory>
#include <string>

namespace talvor::podsim {

struct Place {
    std::unique_ptr<trace::VcdWriter> trace; // outlives the pod
    std::unique_ptr<pod::SimulatedPod> pod;
    Chain* chain = nullptr; // its target, which it owns; null where that is an external one
    bool plugged = true;    // in the device table
};

// Makes the pod of a description, reaches its external target, and opens its trace in the file
// `vcd` (empty: none). `log` must outlive the place.
[[nodiscard]] Result<Place> make_place(const description::Pod& pod, const StationOptions& options,
                                       const std::string& vcd, Log& log);

// What a command changes in a pod; plugging has a second half in the device table.
void change_by(const control::Command& command, Faults& faults, pod::Troubles& troubles);

} // namespace talvor::podsim
