#include "common/interrupt.h"
#include "host/session/chain_trial.h"
#include "host/session/shmoo_trials.h"
#include "python/src/connection.h"
#include "python/src/parts.h"

#include <algorithm>
#include <numeric>
#include <pybind11/stl.h>
#include <string>
#include <tuple>
#include <vector>

namespace talvor::python {
namespace {

struct ShmooRequest {
    std::optional<double> least;
    std::optional<double> most;
    size_t clocks = 16;
    std::optional<std::tuple<uint32_t, uint32_t>> delays; // the first and the last
    size_t bits = 1024;
    std::string title;
};

// Tells Python's callback after each cell. What it raises ends the trials.
class Teller final : public ShmooWatcher {
public:
    explicit Teller(const py::object& callback) : callback_(callback) {}

    void begin(const Shmoo& shmoo) override { total_ = shmoo.works.size(); }
    [[nodiscard]] bool cell(bool /*works*/) override {
        ++done_;
        if (callback_.is_none()) {
            return true;
        }
        const py::gil_scoped_acquire lock;
        try {
            callback_(done_, total_);
        } catch (py::error_already_set& error) {
            failed_.emplace(error);
        }
        return !failed_;
    }
    [[nodiscard]] bool failed() const noexcept { return failed_.has_value(); }
    [[noreturn]] void raise_failure() const { throw py::error_already_set(*failed_); }

private:
    const py::object& callback_;
    size_t done_ = 0;
    size_t total_ = 0;
    std::optional<py::error_already_set> failed_;
};

Result<std::vector<uint32_t>> delays_of(const ShmooRequest& request, uint32_t maximum) {
    const auto [first, last] = request.delays.value_or(std::tuple(0U, maximum));
    if (last < first || last > maximum) {
        return usage_error("delays", "are no range of link delays",
                           "give the first and the last, from 0 to " + std::to_string(maximum));
    }
    std::vector<uint32_t> delays(last - first + 1);
    std::iota(delays.begin(), delays.end(), first);
    return delays;
}

// The configured clock and link delay again. The clock first: connected anew, the pod has its
// configured link delay.
void renew(Connection& connection) {
    connection.use(Length::Short, [](Session& session) -> Status {
        TRY(session.port().renew());
        return session.port().reconnect();
    });
}

Result<Shmoo> try_all(Session& session, const ShmooRequest& request, ShmooWatcher& watcher) {
    const uint32_t maximum = TRY(read_link_delay(session.pod())).maximum;
    Shmoo shmoo(
        TRY(shmoo_clocks(session.port().clock(), request.least, request.most, request.clocks)),
        TRY(delays_of(request, maximum)));
    TRY(try_shmoo(session, request.bits, shmoo, watcher));
    return shmoo;
}

py::list clocks_of(const Shmoo& shmoo) {
    py::list list;
    for (const ShmooClock& clock : shmoo.clocks) {
        list.append(py::make_tuple(clock.hertz, clock.setting.divider, clock.setting.exponent,
                                   clock.setting.predivide));
    }
    return list;
}

py::list rows_of(const Shmoo& shmoo) {
    py::list rows;
    for (size_t clock = 0; clock < shmoo.clocks.size(); ++clock) {
        py::list row;
        for (size_t delay = 0; delay < shmoo.delays.size(); ++delay) {
            row.append(py::bool_(shmoo.at(clock, delay)));
        }
        rows.append(row);
    }
    return rows;
}

// Nothing where the callback has raised. What else goes wrong, and Ctrl-C, leave the pod as it was,
// too.
std::optional<Shmoo> trials(Connection& connection, const ShmooRequest& request, Teller& teller) {
    try {
        return connection.use(Length::Long, [&](Session& session) -> Result<std::optional<Shmoo>> {
            Result<Shmoo> all = try_all(session, request, teller);
            if (!all && teller.failed()) {
                return std::optional<Shmoo>();
            }
            return TRY(std::move(all));
        });
    } catch (py::error_already_set&) {
        if (!connection.closed()) {
            renew(connection);
        }
        throw;
    }
}

// (clocks, delays, rows, (index of the best clock, of the best delay) or None, SVG)
py::tuple shmoo(Connection& connection, std::optional<double> least, std::optional<double> most,
                size_t clocks, std::optional<std::tuple<uint32_t, uint32_t>> delays, size_t bits,
                const std::string& title, const py::object& progress) {
    const ShmooRequest request{least, most, clocks, delays, bits, title};
    Teller teller(progress);
    const std::optional<Shmoo> done = trials(connection, request, teller);
    renew(connection);
    if (!done) {
        teller.raise_failure();
    }
    const Shmoo& tried = *done;
    py::object best = py::none();
    if (const auto choice = choose(tried)) {
        best = py::make_tuple(choice->clock, choice->delay);
    }
    return py::make_tuple(clocks_of(tried), tried.delays, rows_of(tried), best,
                          to_svg(tried, title));
}

} // namespace

void add_shmoo(py::class_<Connection>& connection) {
    connection.def("shmoo", shmoo);
}

} // namespace talvor::python
