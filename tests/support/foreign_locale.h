// The locale of a host that speaks German, in ISO 8859-1: a decimal comma, and letters with accents
// in single bytes above 127.
#pragma once

#include "common/temporary.h"

#include <string>

namespace test_support {

// Builds the locale (with localedef, from the sources that Debian's package `locales` brings) and
// sets it for the process; restores the former one at its end.
class ForeignLocale {
public:
    ForeignLocale();
    ForeignLocale(const ForeignLocale&) = delete;
    ForeignLocale& operator=(const ForeignLocale&) = delete;
    ~ForeignLocale();

    // False where the machine has no locale sources; nothing was set then.
    bool is_set() const { return set_; }

private:
    talvor::Result<talvor::TemporaryFolder> folder_ = talvor::TemporaryFolder::create();
    std::string before_;
    bool set_ = false;
};

} // namespace test_support
