// The system helpers in-process: library text, resource-language lists and language matching.
#include "system/preferred_language.h"
#include "system/system_text.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace kavri::system;

TEST(LibraryText, NullReadsAsEmptyAndTextIsKept) {
    struct Row {
        char const* in;
        std::string out;
    };
    std::vector<Row> const rows = {{nullptr, ""}, {"", ""}, {"Grün", "Grün"}, {"a\tb", "a\tb"}};
    for (Row const& row : rows) {
        SCOPED_TRACE(row.out);
        EXPECT_EQ(LibraryText(row.in), row.out);
    }
}

TEST(ResourceLanguages, SplitsAtCommasTrimsBlanksAndDropsEmptyNames) {
    struct Row {
        char const* list;
        std::vector<std::string> names;
    };
    std::vector<Row> const rows = {
        {"", {}},
        {",", {}},
        {" , \t,", {}},
        {"en", {"en"}},
        {"en,ja", {"en", "ja"}},
        {" en ,\tja-JP\t,", {"en", "ja-JP"}},
        {"en,,en", {"en", "en"}},
        {"zh Hant,de", {"zh Hant", "de"}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.list);
        EXPECT_EQ(ResourceLanguages(row.list), row.names);
    }
}

TEST(LanguageServes, EqualOrOneIsTheOtherWithARegion) {
    struct Row {
        char const* resource;
        char const* user;
        bool serves;
    };
    std::vector<Row> const rows = {
        {"en", "en", true},        {"en", "en-US", true},    {"en-US", "en", true},
        {"en", "en_US", true},     {"EN", "en-us", true},    {"zh-Hant", "zh-Hant-TW", true},
        {"en-US", "en-GB", false}, {"en", "eng", false},     {"eng", "en", false},
        {"e", "en", false},        {"", "en", false},        {"en", "", false},
        {"", "", false},           {"de", "en", false},      {"en-", "en", true},
        {"ja_JP", "ja-JP", true},  {"ja-jp", "JA_JP", true}, {"ja_JP", "ja-JP-x", true},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string(row.resource) + " / " + row.user);
        EXPECT_EQ(LanguageServes(row.resource, row.user), row.serves);
    }
}

TEST(PreferredLanguage, FirstUserLanguageWithAServingResourceWins) {
    struct Row {
        char const* what;
        std::vector<std::string> user;
        std::vector<std::string> resources;
        std::string answer;
    };
    std::vector<Row> const rows = {
        {"user order beats resource order", {"ja", "en"}, {"en", "ja"}, "ja"},
        {"first serving resource", {"en-US"}, {"en", "en-US"}, "en"},
        {"second user language", {"fr-CA", "en"}, {"de", "en-GB"}, "en-GB"},
        {"no resources", {"en"}, {}, "fb"},
        {"nothing serves", {"en", "ja"}, {"de", "fr"}, "fb"},
        {"no user language", {}, {"en"}, "fb"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(PreferredLanguage(row.user, row.resources, "fb"), row.answer);
    }
}

} // namespace
