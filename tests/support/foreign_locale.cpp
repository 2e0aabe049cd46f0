#include "support/foreign_locale.h"

#include <clocale>
#include <cstdlib>
#include <filesystem>

namespace test_support {

ForeignLocale::ForeignLocale() : before_(std::setlocale(LC_ALL, nullptr)) {
    char name[] = "/tmp/talvor_locale_XXXXXX";
    if (mkdtemp(name) == nullptr) {
        return;
    }
    folder_ = name;
    const std::string build = "localedef --no-archive -i de_DE -f ISO-8859-1 " + folder_ +
                              "/de_DE.ISO-8859-1 > /dev/null 2>&1";
    if (std::system(build.c_str()) != 0) {
        return;
    }
    setenv("LOCPATH", folder_.c_str(), 1);
    set_ = std::setlocale(LC_ALL, "de_DE.ISO-8859-1") != nullptr;
}

ForeignLocale::~ForeignLocale() {
    std::setlocale(LC_ALL, before_.c_str());
    unsetenv("LOCPATH");
    if (!folder_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
}

} // namespace test_support
