#include "host/interconnect/board_test.h"

#include "common/interrupt.h"
#include "host/boundary/test_mode.h"

#include <utility>

namespace talvor::interconnect {
namespace {

using boundary::Images;

class Tester {
public:
    Tester(boundary::Access& access, const TestPlan& plan)
        : access_(access), plan_(plan), images_(plan.rest) {
        result_.readings.resize(plan.nets.size());
        for (size_t net = 0; net < plan.nets.size(); ++net) {
            result_.readings[net].resize(plan.nets[net].receivers.size());
        }
    }

    Result<TestResult> run() {
        const uint64_t data_scans = access_.data_scans();
        const uint64_t instruction_scans = access_.instruction_scans();
        TRY(in_test_mode());
        result_.diagnosis = diagnose(plan_.nets, result_.vectors, result_.readings);
        result_.data_scans = access_.data_scans() - data_scans;
        result_.instruction_scans = access_.instruction_scans() - instruction_scans;
        return std::move(result_);
    }

private:
    Status in_test_mode() {
        std::vector<boundary::Instruction> instructions;
        for (const boundary::Member& member : access_.members()) {
            instructions.push_back(member.plan == nullptr ? boundary::Instruction::Bypass
                                                          : boundary::Instruction::Extest);
        }
        boundary::TestMode mode(access_);
        TRY(mode.enter(instructions, plan_.rest));
        TRY(apply(counting_sequence(plan_.nets.size())));
        result_.counting = result_.vectors.size();
        const std::vector<size_t> closer =
            suspects(plan_.nets, result_.vectors, result_.readings, kMostSuspects);
        if (!closer.empty()) {
            TRY(apply(closer_look(closer)));
        }
        return mode.leave();
    }

    // One scan for each vector, and one that reads the last.
    Status apply(const std::vector<Vector>& vectors) {
        const size_t before = result_.vectors.size();
        for (auto& net : result_.readings) {
            for (Bits& bits : net) {
                bits.resize(before + vectors.size());
            }
        }
        for (size_t v = 0; v <= vectors.size(); ++v) {
            TRY(check_interrupt());
            if (v < vectors.size()) {
                put_vector(plan_, vectors[v], images_);
            }
            TRY(access_.exchange(v < vectors.size() ? images_ : plan_.rest,
                                 v == 0 ? nullptr : &captured_));
            if (v != 0) {
                read(before + v - 1);
            }
        }
        result_.vectors.insert(result_.vectors.end(), vectors.begin(), vectors.end());
        return {};
    }

    void read(size_t vector) {
        for (size_t net = 0; net < plan_.nets.size(); ++net) {
            const std::vector<Receiver>& receivers = plan_.nets[net].receivers;
            for (size_t r = 0; r < receivers.size(); ++r) {
                result_.readings[net][r].set(vector,
                                             captured_[receivers[r].pin.device][receivers[r].cell]);
            }
        }
    }

    boundary::Access& access_;
    const TestPlan& plan_;
    Images images_;
    Images captured_;
    TestResult result_;
};

} // namespace

Result<TestResult> test_board(boundary::Access& access, const TestPlan& plan) {
    return Tester(access, plan).run();
}

} // namespace talvor::interconnect
