// write_lists PAGE...: writes the lists of options and commands of the manual pages anew, from the
// programs' own descriptions. They stand between two comments of a page; all else is left as it is.
#include "common/manual_lists.h"
#include "podsim/main/options.h"
#include "tool/commands/app.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

constexpr std::string_view kBegin =
    ".\\\" The lists begin here; the target manual-pages writes them.\n";
constexpr std::string_view kEnd = ".\\\" The lists end here.\n";

std::string lists_for(const std::string& page) {
    const std::string name = page.substr(page.rfind('/') + 1);
    return talvor::manual_lists(name == "talvor-podsim.1" ? talvor::podsim::describe_command_line()
                                                          : talvor::describe_program());
}

// Whether it was written.
bool write_lists(const std::string& page) {
    std::ostringstream content;
    content << std::ifstream(page).rdbuf();
    std::string text = content.str();
    const size_t begin = text.find(kBegin);
    const size_t end = text.find(kEnd);
    if (begin == std::string::npos || end == std::string::npos || end < begin) {
        std::fprintf(stderr, "write_lists: %s: the two comments are not in it\n", page.c_str());
        return false;
    }
    const size_t from = begin + kBegin.size();
    text.replace(from, end - from, lists_for(page));
    std::ofstream out(page);
    out << text;
    return static_cast<bool>(out.flush());
}

} // namespace

int main(int argc, char** argv) {
    bool done = argc > 1;
    for (int i = 1; i < argc; ++i) {
        done = write_lists(argv[i]) && done;
    }
    return done ? 0 : 1;
}
