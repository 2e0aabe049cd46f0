#include "host/stapl/program.h"

#include "common/text.h"

#include <algorithm>

namespace talvor::stapl {

const Action* Program::action(std::string_view name) const {
    const auto found = std::find_if(actions.begin(), actions.end(), [name](const Action& action) {
        return same_name(action.name, name);
    });
    return found == actions.end() ? nullptr : &*found;
}

} // namespace talvor::stapl
