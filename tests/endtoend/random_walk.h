// Random sessions: pods of every kind with random chains, and a host that walks over one, every bit
// compared with a chain that is clocked the plain way.
#pragma once

#include "description_text.h"
#include "host.h"
#include "target_model.h"

#include <random>

namespace endtoend {

// One pod with its chain, and what the host is told about it.
struct RandomPod {
    std::mt19937_64 random; // the source of all that is random here
    talvor::podsim::ChainDescription chain;
    PodText pod;
    Keys keys;
    uint32_t recipe = JSC_RECIPE_LONG_INIT;
};

// All of it follows from the seed; the generation of the pod from the serial number.
RandomPod make_random_pod(uint32_t serial, uint64_t seed);

// Walks over a pod that a host is connected to; each step fails the test when the host sees
// anything but what the model sees.
class RandomWalk {
public:
    // The target is as it is when its power has come.
    RandomWalk(RandomPod& pod, Host& host);

    // For a pod that was used before: shifts what its return path still holds out of it.
    void wash();
    void step();

    uint64_t received_words() const { return words_; }
    uint64_t received_ones() const { return ones_; }

private:
    void set_link_delay(unsigned link);
    void change_link_delay();
    void change_ambles();
    void move();
    void scan();
    void tally(const Words& received);
    int32_t run(ScanKind kind, const JSC_JtagCommand& command, uint32_t bits, uint32_t repeats,
                const Words& out, Words& in);

    std::mt19937_64& random_;
    Host& host_;
    const PodText& pod_;
    TargetModel model_;
    Ambles ir_;
    Ambles dr_;
    unsigned link_ = 0;
    uint64_t words_ = 0;
    uint64_t ones_ = 0;
};

} // namespace endtoend
