#include "podsim/main/complaint.h"

#include <cstdio>
#include <string>

namespace talvor::podsim {

void complain(const Error& error) {
    std::string text = "talvor-podsim: " + headline(error) + "\n";
    if (!error.next_step.empty()) {
        text += "  next: " + error.next_step + "\n";
    }
    std::fputs(text.c_str(), stderr);
}

} // namespace talvor::podsim
