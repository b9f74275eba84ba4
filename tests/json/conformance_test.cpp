// A public JSON conformance suite: what must be accepted is, what must be rejected is, except where
// this parser accepts by design, and nothing crashes.
#include "json/pocketjson.h"

#include <dirent.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace pocketjson {
namespace {

std::string const kSuiteDir = std::string(TOLMA_TEST_DATA_DIR) + "/JSONTestSuite/test_parsing";

std::vector<std::string> suiteFiles(char prefix) {
    std::vector<std::string> names;
    DIR* dir = opendir(kSuiteDir.c_str());
    if (!dir)
        return names;
    while (dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name.size() > 2 && name[0] == prefix && name[1] == '_')
            names.push_back(name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

std::string readFile(std::string const& name) {
    std::ifstream in(kSuiteDir + "/" + name, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

bool parses(std::string const& text, Value& out, std::string& error) {
    Parser parser;
    bool ok = parser.parse(text, out);
    error = parser.error();
    return ok;
}

// n_ files this parser accepts on purpose, each with the rule that makes it so.
std::map<std::string, std::string> const kAcceptedByDesign = {
    {"n_array_newlines_unclosed.json", "an array left open after a comma at the end of the text"},
    {"n_array_unclosed_trailing_comma.json", "an array left open after a comma at the end"},
    {"n_multidigit_number_then_00.json", "a NUL byte ends the text before the garbage check"},
    {"n_string_unescaped_ctrl_char.json", "raw control bytes inside strings are copied"},
    {"n_string_unescaped_newline.json", "a raw line feed inside a string is copied"},
    {"n_string_unescaped_tab.json", "a raw tab inside a string is copied"},
    {"n_structure_comma_instead_of_closing_brace.json", "an object left open after a comma"},
    {"n_structure_incomplete_UTF8_BOM.json", "each byte-order-mark byte is dropped on its own"},
    {"n_structure_lone-open-bracket.json", "a lone '[' is an array left open at the end"},
    {"n_structure_open_object.json", "a lone '{' is an object left open at the end"},
};

TEST(Conformance, AcceptsEveryMustAcceptFileAsAFixedPoint) {
    auto names = suiteFiles('y');
    ASSERT_EQ(names.size(), 95u) << kSuiteDir;
    for (auto const& name : names) {
        Value first;
        std::string error;
        ASSERT_TRUE(parses(readFile(name), first, error)) << name << ": " << error;
        std::string once;
        ASSERT_TRUE(Serializer::serialize(once, first)) << name;
        Value second;
        ASSERT_TRUE(parses(once, second, error)) << name << ": " << error;
        std::string twice;
        ASSERT_TRUE(Serializer::serialize(twice, second)) << name;
        EXPECT_EQ(once, twice) << name;
    }
}

TEST(Conformance, RejectsEveryMustRejectFileUnlessAcceptedByDesign) {
    auto names = suiteFiles('n');
    ASSERT_EQ(names.size(), 188u) << kSuiteDir;
    std::vector<std::string> accepted;
    for (auto const& name : names) {
        Value v;
        std::string error;
        if (parses(readFile(name), v, error))
            accepted.push_back(name);
    }
    for (auto const& name : accepted)
        EXPECT_TRUE(kAcceptedByDesign.count(name)) << name << " is accepted without a listed reason";
    for (auto const& listed : kAcceptedByDesign)
        EXPECT_TRUE(std::count(accepted.begin(), accepted.end(), listed.first))
            << listed.first << " is listed as accepted but is rejected";
}

TEST(Conformance, ImplementationDefinedFilesNeitherCrashNorHang) {
    auto names = suiteFiles('i');
    ASSERT_EQ(names.size(), 35u) << kSuiteDir;
    for (auto const& name : names) {
        Value v;
        std::string error;
        bool ok = parses(readFile(name), v, error);
        EXPECT_EQ(ok, error.empty()) << name; // failure always explains itself here
        if (ok) {
            std::string out;
            std::string writeError;
            bool written = Serializer::serialize(out, v, SerializeAttributes(), -1, &writeError);
            EXPECT_TRUE(written || writeError == "Floating point is nan or inf.") << name;
        }
    }
}

} // namespace
} // namespace pocketjson
