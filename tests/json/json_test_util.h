// Helpers shared by the JSON tests: one-call parse and write, and a comma-decimal locale scope.
#pragma once

#include "json/pocketjson.h"

#include <locale.h>
#include <string>

namespace pocketjson::test {

struct ParseResult {
    bool ok;
    Value value;
    std::string error;
};

inline ParseResult parseText(std::string const& text, ParseOption options = 0) {
    Parser parser;
    ParseResult result{false, Value(), ""};
    result.ok = parser.parse(text, result.value, options);
    result.error = parser.error();
    return result;
}

inline std::string compact(Value const& v) {
    std::string out;
    Serializer::serialize(out, v);
    return out;
}

// Switches this thread to de_DE.UTF-8 (decimal point ',') for the scope, as a host's UI thread
// might run. available() is false when the locale is not installed.
class CommaLocaleScope {
public:
    CommaLocaleScope()
        : locale_(newlocale(LC_ALL_MASK, "de_DE.UTF-8", static_cast<locale_t>(nullptr))) {
        if (locale_ != static_cast<locale_t>(nullptr))
            previous_ = uselocale(locale_);
    }
    ~CommaLocaleScope() {
        if (locale_ != static_cast<locale_t>(nullptr)) {
            uselocale(previous_);
            freelocale(locale_);
        }
    }
    CommaLocaleScope(CommaLocaleScope const&) = delete;
    CommaLocaleScope& operator=(CommaLocaleScope const&) = delete;

    bool available() const { return locale_ != static_cast<locale_t>(nullptr); }

private:
    locale_t locale_;
    locale_t previous_ = LC_GLOBAL_LOCALE;
};

} // namespace pocketjson::test
