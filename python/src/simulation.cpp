#include "host/simulator/simulator.h"
#include "python/src/connection.h"
#include "python/src/parts.h"

#include <optional>
#include <pybind11/stl.h>
#include <string>
#include <unistd.h>

namespace talvor::python {
namespace {

// A running talvor-podsim of this process's own.
class Simulation {
public:
    explicit Simulation(const SimulatorOptions& options) {
        Result<Simulator> started = [&] {
            const py::gil_scoped_release free;
            return Simulator::start(options);
        }();
        // The thread may stand in another mount namespace from now on.
        (void)mount_namespace(true);
        simulator_.emplace(value_of(std::move(started)));
    }
    ~Simulation() {
        if (owner_ != getpid()) {
            (void)new std::optional<Simulator>(std::move(simulator_)); // it is the parent's
        }
    }
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    void stop() {
        if (!simulator_ || owner_ != getpid()) {
            return;
        }
        const Status stopped = [this] {
            const py::gil_scoped_release free;
            return simulator_->stop();
        }();
        words_ = simulator_->last_words();
        simulator_.reset();
        (void)value_of(stopped);
    }
    [[nodiscard]] std::string note() const { return simulator_ ? simulator_->note() : ""; }
    [[nodiscard]] std::string last_words() const {
        return simulator_ ? simulator_->last_words() : words_;
    }
    [[nodiscard]] bool running() const { return simulator_.has_value(); }

private:
    std::optional<Simulator> simulator_;
    std::string words_;
    pid_t owner_ = getpid();
};

std::unique_ptr<Simulation> start(const std::string& description, const std::string& control,
                                  const std::string& vcd, uint64_t vcd_bytes) {
    SimulatorOptions options;
    options.description = description;
    options.control = control;
    if (!vcd.empty()) {
        options.vcd = WaveformFile{.path = vcd, .bytes = vcd_bytes};
    }
    return std::make_unique<Simulation>(options);
}

} // namespace

void add_simulation(py::module_& module) {
    py::class_<Simulation>(module, "Simulation")
        .def(py::init(&start))
        .def("stop", &Simulation::stop)
        .def("note", &Simulation::note)
        .def("last_words", &Simulation::last_words)
        .def("running", &Simulation::running);
    module.def("built_in_description", [] { return std::string(built_in_description()); });
}

} // namespace talvor::python
