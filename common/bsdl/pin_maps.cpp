#include "common/bsdl/pin_maps.h"

#include "common/bsdl/words.h"
#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

namespace talvor::bsdl {
namespace {

constexpr size_t kMostMaps = 256;

class PinMap {
public:
    PinMap(const Constant& map, const Draft& draft)
        : map_(map), draft_(draft), pins_(draft.device.signals.size()),
          words_(map.value.text, fmt::format("the pin map {}", map.name), draft.report) {}

    // The pin of each signal, "" for those that have none.
    std::vector<std::string> read() {
        while (!words_.at_end()) {
            entry();
            if (!words_.more() && !words_.at_end()) {
                words_.fault("a ',' or the end");
            }
        }
        check_cover();
        return std::move(pins_);
    }

private:
    // "PA : (12, 13, 14)".
    void entry() {
        const PortReference reference = read_port(words_, draft_.ports, draft_.report);
        (void)words_.expect(':', "behind a port");
        std::vector<std::pair<std::string_view, Place>> pins;
        if (words_.take('(')) {
            do {
                pins.push_back(pin());
            } while (words_.more());
            (void)words_.expect(')', "behind the pins of a vector");
        } else {
            pins.push_back(pin());
        }
        if (reference.port != nullptr && !draft_.report.failed()) {
            assign(reference, pins);
        }
    }

    std::pair<std::string_view, Place> pin() {
        const Word word = words_.expect_word("a pin of the package");
        return {word.text, words_.place_of(word)};
    }

    void assign(const PortReference& reference,
                const std::vector<std::pair<std::string_view, Place>>& pins) {
        const SignalRange signals = signals_of(reference);
        if (signals.count != pins.size()) {
            draft_.report.error(reference.place,
                                fmt::format("the port {} has {}, and the pin map {} gives it {}",
                                            reference.text, count_text(signals.count, "signal"),
                                            map_.name, count_text(pins.size(), "pin")));
        }
        for (size_t i = 0; i < std::min(signals.count, pins.size()); ++i) {
            assign(signals.first + i, pins[i].first, pins[i].second);
        }
    }

    void assign(size_t signal, std::string_view pin, Place place) {
        const auto [user, is_free] = users_.emplace(folded(pin), signal);
        const std::string& name = draft_.device.signals[signal].name;
        if (!is_free) {
            draft_.report.error(
                place, fmt::format("the pin map {} gives the pin {} to {} and to {}", map_.name,
                                   shown(pin), draft_.device.signals[user->second].name, name));
        } else if (!pins_[signal].empty()) {
            draft_.report.error(place,
                                fmt::format("the pin map {} names {} twice", map_.name, name));
        } else {
            pins_[signal] = pin;
        }
    }

    void check_cover() {
        std::vector<std::string> missing;
        for (size_t i = 0; i < pins_.size(); ++i) {
            if (pins_[i].empty()) {
                missing.push_back(draft_.device.signals[i].name);
            }
        }
        if (!missing.empty()) {
            draft_.report.warning(map_.place, fmt::format("the pin map {} has no pin for {}",
                                                          map_.name, listed(missing)));
        }
    }

    const Constant& map_;
    const Draft& draft_;
    std::vector<std::string> pins_;
    std::unordered_map<std::string, size_t> users_; // of each pin
    WordReader words_;
};

std::vector<const Constant*> maps_of(const Source& source) {
    std::vector<const Constant*> maps;
    for (const Constant& constant : source.constants) {
        if (same_name(constant.type, "PIN_MAP_STRING") && constant.value.is_text) {
            maps.push_back(&constant);
        }
    }
    return maps;
}

const Constant* find_map(const std::vector<const Constant*>& maps, std::string_view name) {
    const auto found = std::find_if(maps.begin(), maps.end(), [name](const Constant* map) {
        return same_name(map->name, name);
    });
    return found == maps.end() ? nullptr : *found;
}

std::string default_of(const Source& source) {
    if (!source.default_package) {
        return {};
    }
    const Value& given = *source.default_package;
    std::string text = given.is_text ? given.text.text() : given.words;
    std::erase(text, ' ');
    return text;
}

const Constant* choose(const Draft& draft, const std::vector<const Constant*>& maps,
                       const std::optional<std::string>& wanted) {
    if (wanted) {
        const Constant* map = find_map(maps, *wanted);
        if (map == nullptr) {
            draft.report.fail(draft.source.place,
                              fmt::format("the device has no pin map {}", shown(*wanted)),
                              maps.empty() ? "the file has none at all"
                                           : "it has " + listed(draft.device.packages));
        }
        return map;
    }
    const std::string name = default_of(draft.source);
    if (const Constant* map = find_map(maps, name)) {
        return map;
    }
    if (maps.size() > 1) {
        draft.report.warning(draft.source.place,
                             fmt::format("no pin map is the default; {} is taken, the first of {}",
                                         maps.front()->name, listed(draft.device.packages)));
    }
    return maps.empty() ? nullptr : maps.front();
}

} // namespace

void read_pin_maps(Draft& draft, const std::optional<std::string>& wanted) {
    const std::vector<const Constant*> maps = maps_of(draft.source);
    for (const Constant* map : maps) {
        draft.device.packages.emplace_back(map->name);
    }
    if (maps.size() > kMostMaps) {
        draft.report.fail(maps[kMostMaps]->place,
                          fmt::format("the file has more than {} pin maps", kMostMaps));
        return;
    }
    const Constant* chosen = choose(draft, maps, wanted);
    if (maps.empty() && !draft.source.ports.empty()) {
        draft.report.warning(draft.source.place, "the file has no pin map");
    }
    for (const Constant* map : maps) {
        std::vector<std::string> pins = PinMap(*map, draft).read();
        if (map != chosen) {
            continue;
        }
        draft.device.package = map->name;
        for (size_t i = 0; i < pins.size(); ++i) {
            draft.device.signals[i].pin = std::move(pins[i]);
        }
    }
}

} // namespace talvor::bsdl
