#include "support/foreign_locale.h"

#include <clocale>
#include <cstdlib>

namespace test_support {

ForeignLocale::ForeignLocale() : before_(std::setlocale(LC_ALL, nullptr)) {
    if (!folder_) {
        return;
    }
    const std::string build = "localedef --no-archive -i de_DE -f ISO-8859-1 " + folder_->path() +
                              "/de_DE.ISO-8859-1 > /dev/null 2>&1";
    if (std::system(build.c_str()) != 0) {
        return;
    }
    setenv("LOCPATH", folder_->path().c_str(), 1);
    set_ = std::setlocale(LC_ALL, "de_DE.ISO-8859-1") != nullptr;
}

ForeignLocale::~ForeignLocale() {
    std::setlocale(LC_ALL, before_.c_str());
    unsetenv("LOCPATH");
}

} // namespace test_support
