#include "host/stapl/program.h"

#include <algorithm>
#include <cctype>

namespace talvor::stapl {

bool same_name(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](char a, char b) {
        return std::toupper(static_cast<unsigned char>(a)) ==
               std::toupper(static_cast<unsigned char>(b));
    });
}

const Action* Program::action(std::string_view name) const {
    const auto found = std::find_if(actions.begin(), actions.end(), [name](const Action& action) {
        return same_name(action.name, name);
    });
    return found == actions.end() ? nullptr : &*found;
}

} // namespace talvor::stapl
