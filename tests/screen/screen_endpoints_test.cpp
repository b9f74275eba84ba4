// The four screen resources called through libtolma.so.2: answers, errors and log lines.
#include "plugin_test.h"
#include "screen_worlds.h"
#include "sim/sim_control.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace screentest;
using namespace test;

// `size` numbers first, first + step, ...; each plus 0.5 with `half`. Written as the plug-in
// writes doubles: 0 as "0.0", whole numbers without a decimal point.
std::string ramp(int first, int step, bool half = false, int size = 256) {
    std::string text = "[";
    for (int i = 0; i < size; ++i) {
        int const v = first + step * i;
        text += i ? "," : "";
        text += half ? std::to_string(v) + ".5" : v == 0 ? "0.0" : std::to_string(v);
    }
    return text + "]";
}

std::string gamma(std::string const& red, std::string const& green, std::string const& blue) {
    return R"({"red":)" + red + R"(,"green":)" + green + R"(,"blue":)" + blue + "}";
}
// The plug-in's answer for ramps: keys in byte order.
std::string gammaAnswer(std::string const& red, std::string const& green, std::string const& blue) {
    return R"({"blue":)" + blue + R"(,"green":)" + green + R"(,"red":)" + red + "}";
}

std::string const kRedA = ramp(0, 1);
std::string const kGreenA = ramp(255, -1);
std::string const kBlueA = ramp(0, 1, true);

// A: the maker's monitor 12345678 at the origin; B: right of it, no EDID, no adapter; C: mirrors
// A on monitor 87654321.
std::string mainWorld(std::string const& profileA = "/icc/a.icc") {
    return worldOf(
        R"([{"id":"A","bounds":{"x":0,"y":0,"width":1920,"height":1080},"primary":true,)"
        R"("profile":")" +
        profileA + R"(","graphicsAdapter":"gpu","gamma":)" + gamma(kRedA, kGreenA, kBlueA) +
        R"(,"edid":{"isOvakMonitor":true,"productName":"OVK-P24","serialNumber":"12345678"}},)"
        R"({"id":"B","bounds":{"x":1920,"y":0,"width":1366,"height":768},"profile":"/icc/b.icc"},)"
        R"({"id":"C","bounds":{"x":0,"y":0,"width":1920,"height":1080},"mirroring":true,)"
        R"("profile":"/icc/c.icc","graphicsAdapter":"gpu",)"
        R"("edid":{"productName":"OVK-P24","serialNumber":"87654321"}}])");
}

// P: neither profiles nor gamma ramps; Q: both, over the same desktop area.
std::string const kFailureWorld = worldOf(
    R"([{"id":"P","bounds":{"x":0,"y":0,"width":100,"height":100},"supportsProfile":false,)"
    R"("supportsGraphicsCardGamma":false},)"
    R"({"id":"Q","bounds":{"x":0,"y":0,"width":100,"height":100},"profile":"/icc/q.icc"}])");

std::string valueOf(Answer const& answer) {
    std::string const head = R"({"error":null,"value":)";
    if (answer.json.compare(0, head.size(), head) != 0)
        return "not a success: " + answer.json;
    return answer.json.substr(head.size(), answer.json.size() - head.size() - 1);
}

std::size_t occurrences(std::string const& text, std::string const& part) {
    std::size_t n = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}

bool fileExists(std::string const& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0;
}

class ScreenEndpoints : public PluginTest {
protected:
    void SetUp() override {
        SimWorldClearFailures();
        SimScrinfoResetCounts();
    }
    void TearDown() override {
        SimWorldClearFailures();
        EXPECT_EQ(SimScrinfoStaleHandleCount(), 0u);
    }
    static Answer profiles() { return call("Screens", "get", "{}", R"({"profile":1})"); }
};

class ScreenDescription : public ScreenEndpoints {};
class ScreenAtIndex : public ScreenEndpoints {};
class ScreensForPoint : public ScreenEndpoints {};
class ScreensForMonitor : public ScreenEndpoints {};
class ScreenProfile : public ScreenEndpoints {};
class ScreenGamma : public ScreenEndpoints {};
class ScreenFailures : public ScreenEndpoints {};
class ScreensResource : public ScreenEndpoints {};

TEST_F(ScreenDescription, KeysInByteOrderOptionalKeysAndNumberText) {
    for (DescriptionRow const& row : descriptionRows()) {
        SCOPED_TRACE(row.what);
        ASSERT_NO_FATAL_FAILURE(loadWorld(worldOf("[" + row.screen + "]")));
        EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})"),
                  ok("GET", "Screens/0", row.description));
        EXPECT_EQ(call("Screens", "get", "{}"), ok("GET", "Screens", "[" + row.description + "]"));
    }
}

TEST_F(ScreenDescription, GraphicsCardOfAnAdapterAndEmptyWithoutOne) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    char const* const query = R"({"graphicsCard":1})";
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})", query),
              ok("GET", "Screens/0", kGraphicsCard));
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":1})", query), ok("GET", "Screens/1", "{}"));
    EXPECT_EQ(call("Screens", "get", "{}", query),
              ok("GET", "Screens", "[" + kGraphicsCard + ",{}," + kGraphicsCard + "]"));
}

TEST_F(ScreenDescription, FirstOptionPresentChoosesTheReadingWhateverItsValue) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    struct Row {
        char const* query;
        std::string value;
    } const rows[] = {
        {R"({"graphicsCard":1,"gamma":1,"profile":null})", R"("/icc/a.icc")"},
        {R"({"graphicsCard":false,"gamma":false})", gammaAnswer(kRedA, kGreenA, kBlueA)},
        {R"({"graphicsCard":null})", kGraphicsCard},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})", row.query),
                  ok("GET", "Screens/0", row.value))
            << row.query;
    }
}

TEST_F(ScreenAtIndex, EveryIndexFormSelectsItsScreen) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    struct Row {
        char const* index;
        char const* uri;
        char const* profile;
    } const rows[] = {
        {"0", "0", "a"},
        {"2", "2", "c"},
        {"true", "true", "b"},
        {"false", "false", "a"},
        {"0.6", "0.59999999999999998", "b"},
        {"0.5", "0.5", "b"},
        {"1.49", "1.49", "b"},
        {"1.5", "1.5", "c"},
        {"2.0", "2", "c"},
        {R"("0x1")", "0x1", "b"},
        {R"("0X2")", "0X2", "c"},
        {R"("01")", "01", "b"},
        {R"("00")", "00", "a"},
        {R"("1")", "1", "b"},
        // Strings read as strtoll reads them: leading blanks and a sign, and "" as 0.
        {R"("+1")", "+1", "b"},
        {R"(" 1")", " 1", "b"},
        {R"(" \t+0x2")", " %09+0x2", "c"},
        {R"("\n1")", "%0A1", "b"},
        {R"("")", "", "a"},
        {R"("-0")", "-0", "a"},
        // A real that rounds to zero from below is zero.
        {"-0.4", "-0.40000000000000002", "a"},
    };
    for (Row const& row : rows) {
        std::string const parameters = std::string(R"({"index":)") + row.index + "}";
        EXPECT_EQ(call("ScreenAtIndex", "get", parameters.c_str(), R"({"profile":1})"),
                  ok("GET", std::string("Screens/") + row.uri,
                     std::string(R"("/icc/)") + row.profile + R"(.icc")"))
            << row.index;
    }
}

TEST_F(ScreenAtIndex, PutAndDeleteActOnTheSelectedScreen) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    EXPECT_EQ(
        call("ScreenAtIndex", "put", R"({"index":"0x1"})", "{}", R"({"profile":"/icc/new.icc"})"),
        ok("PUT", "Screens/0x1", "null"));
    EXPECT_EQ(profiles(), ok("GET", "Screens", R"(["/icc/a.icc","/icc/new.icc","/icc/c.icc"])"));
    EXPECT_EQ(call("ScreenAtIndex", "delete", R"({"index":true})", R"({"profile":""})"),
              ok("DELETE", "Screens/true", "null"));
    EXPECT_EQ(profiles(), internalError("GET", "Screens", "Failed to get screen profile."));
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":2})", R"({"profile":1})"),
              ok("GET", "Screens/2", R"("/icc/c.icc")"));
}

TEST_F(ScreenAtIndex, BadIndexFormsAreInvalidForEveryMethod) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    struct Row {
        char const* parameters;
        char const* uri;
    } const rows[] = {
        {"{}", ""},
        {R"({"index":null})", ""},
        {R"({"index":3})", "3"},
        {R"({"index":-1})", "-1"},
        {R"({"index":4294967296})", "4294967296"},
        {R"({"index":2.5})", "2.5"},
        {R"({"index":4294967295.5})", "4294967295.5"},
        {R"({"index":"1a"})", "1a"},
        {R"({"index":"-1"})", "-1"},
        {R"({"index":" "})", " "},
        {R"({"index":"1 "})", "1 "},
        {R"({"index":"\u00000"})", "%000"},
        {R"({"index":"0\u0000"})", "0%00"},
        {R"({"index":"-4294967295"})", "-4294967295"},
        {R"({"index":"0x100000000"})", "0x100000000"},
        {R"({"index":"0x"})", "0x"},
        {R"({"index":"08"})", "08"},
        {R"({"index":"010"})", "010"},
        {R"({"index":"3"})", "3"},
        {R"({"index":"4294967296"})", "4294967296"},
        {R"({"index":[0]})", "[0]"},
        {R"({"index":{"i":0}})", R"({"i":0})"},
    };
    char const* const methods[] = {"get", "put", "delete"};
    char const* const upper[] = {"GET", "PUT", "DELETE"};
    for (Row const& row : rows) {
        for (int m = 0; m < 3; ++m) {
            EXPECT_EQ(call("ScreenAtIndex", methods[m], row.parameters, R"({"profile":""})",
                           R"({"profile":"/icc/new.icc"})"),
                      badRequest(upper[m], std::string("Screens/") + row.uri, "index is invalid."))
                << row.parameters << " " << upper[m];
        }
    }
    EXPECT_EQ(profiles(), ok("GET", "Screens", R"(["/icc/a.icc","/icc/b.icc","/icc/c.icc"])"));
}

TEST_F(ScreensForPoint, PointSelectsTheScreensContainingIt) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    struct Row {
        char const* point;
        char const* profiles;
    } const rows[] = {
        {"10x20", R"(["/icc/a.icc","/icc/c.icc"])"},  {"x10x20", R"(["/icc/a.icc","/icc/c.icc"])"},
        {"10xx20", R"(["/icc/a.icc","/icc/c.icc"])"}, {"1930x5", R"(["/icc/b.icc"])"},
        {"axb", R"(["/icc/a.icc","/icc/c.icc"])"},    {"3285x767", R"(["/icc/b.icc"])"},
    };
    for (Row const& row : rows) {
        std::string const parameters = std::string(R"({"point":")") + row.point + "\"}";
        EXPECT_EQ(call("ScreensForPoint", "get", parameters.c_str(), R"({"profile":1})"),
                  ok("GET", std::string("Screens/") + row.point, row.profiles));
    }
    for (char const* outside : {"3000x900", "3286x0", "-1x-1"}) {
        std::string const parameters = std::string(R"({"point":")") + outside + "\"}";
        std::string const path = std::string("Screens/") + outside;
        EXPECT_EQ(call("ScreensForPoint", "get", parameters.c_str()), notFound("GET", path));
        EXPECT_EQ(call("ScreensForPoint", "put", parameters.c_str(), "{}",
                       R"({"profile":"/icc/new.icc"})"),
                  notFound("PUT", path));
        EXPECT_EQ(call("ScreensForPoint", "delete", parameters.c_str(), R"({"profile":""})"),
                  notFound("DELETE", path));
    }
    EXPECT_EQ(call("ScreensForPoint", "put", R"({"point":"10x20"})", "{}",
                   R"({"profile":"/icc/new.icc"})"),
              ok("PUT", "Screens/10x20", "null"));
    EXPECT_EQ(profiles(), ok("GET", "Screens", R"(["/icc/new.icc","/icc/b.icc","/icc/new.icc"])"));
    EXPECT_EQ(occurrences(SimWorldText(0), "/icc/new.icc"), 2u);
}

TEST_F(ScreensForPoint, PointsNotOfTwoPartsAreInvalid) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    struct Row {
        char const* parameters;
        char const* uri;
    } const rows[] = {
        {R"({"point":"10,20"})", "10,20"},
        {R"({"point":"10x20x30"})", "10x20x30"},
        {R"({"point":"10"})", "10"},
        {R"({"point":"10x"})", "10x"},
        {R"({"point":"x"})", "x"},
        {R"({"point":""})", ""},
        {"{}", ""},
        {R"({"point":1020})", "1020"},
        {R"({"point":["10x20"]})", R"(["10x20"])"},
    };
    for (Row const& row : rows) {
        std::string const path = std::string("Screens/") + row.uri;
        EXPECT_EQ(call("ScreensForPoint", "get", row.parameters),
                  badRequest("GET", path, "point is invalid."));
        EXPECT_EQ(call("ScreensForPoint", "put", row.parameters, "{}", R"({"profile":"/x"})"),
                  badRequest("PUT", path, "point is invalid."));
        EXPECT_EQ(call("ScreensForPoint", "delete", row.parameters, R"({"profile":""})"),
                  badRequest("DELETE", path, "point is invalid."));
    }
}

TEST_F(ScreensForMonitor, ProductAndSerialOfTheParametersSelectTheScreens) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    EXPECT_EQ(call("ScreensForMonitor", "get", R"({"product":"OVK-P24","serial":"12345678"})",
                   R"({"profile":1})"),
              ok("GET", "Screens/OVK-P24/12345678", R"(["/icc/a.icc"])"));
    EXPECT_EQ(call("ScreensForMonitor", "get", R"({"serial":"87654321","product":"OVK-P24"})",
                   R"({"profile":1})"),
              ok("GET", "Screens/OVK-P24/87654321", R"(["/icc/c.icc"])"));
    struct Row {
        char const* parameters;
        char const* query;
        char const* path;
    } const missing[] = {
        {R"({"product":"OVK-P27","serial":"12345678"})", "{}", "Screens/OVK-P27/12345678"},
        {R"({"product":"12345678","serial":"OVK-P24"})", "{}", "Screens/12345678/OVK-P24"},
        {R"({"serial":"12345678"})", "{}", "Screens//12345678"},
        {"{}", R"({"product":"OVK-P24","serial":"12345678"})", "Screens//"},
    };
    for (Row const& row : missing) {
        EXPECT_EQ(call("ScreensForMonitor", "get", row.parameters, row.query),
                  notFound("GET", row.path));
        EXPECT_EQ(call("ScreensForMonitor", "put", row.parameters, row.query,
                       R"({"profile":"/icc/new.icc"})"),
                  notFound("PUT", row.path));
        EXPECT_EQ(call("ScreensForMonitor", "delete", row.parameters, row.query),
                  notFound("DELETE", row.path));
    }
}

// A profile file in a directory of its own.
class ProfileFile {
public:
    ProfileFile() {
        char pattern[] = "/tmp/tolma-screen-XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            return;
        directory_ = pattern;
        path_ = directory_ + "/display.icc";
        if (FILE* f = std::fopen(path_.c_str(), "w")) {
            std::fputs("profile", f);
            std::fclose(f);
        }
    }
    ~ProfileFile() {
        unlink(path_.c_str());
        rmdir(directory_.c_str());
    }
    std::string const& path() const { return path_; }

private:
    std::string directory_;
    std::string path_;
};

TEST_F(ScreenProfile, DeleteUnsetsTheProfileAndDeletesItsFile) {
    // The path as the page sends it (JSON text after the file's path) and whether the file goes:
    // one trailing separator is dropped, a second one is kept.
    struct Row {
        char const* suffix;
        bool deleted;
    } const rows[] = {{"", true}, {"/", true}, {R"(\\)", true}, {"//", false}};
    for (Row const& row : rows) {
        ProfileFile const file;
        ASSERT_TRUE(fileExists(file.path()));
        ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld(file.path())));
        std::string const query = R"({"profile":")" + file.path() + row.suffix + "\"}";
        EXPECT_EQ(call("ScreenAtIndex", "delete", R"({"index":0})", query.c_str()),
                  ok("DELETE", "Screens/0", "null"))
            << row.suffix;
        EXPECT_EQ(fileExists(file.path()), !row.deleted) << row.suffix;
        EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})", R"({"profile":1})"),
                  internalError("GET", "Screens/0", "Failed to get screen profile."));
        EXPECT_EQ(occurrences(SimWorldText(0), file.path()), 0u) << row.suffix;
    }
}

TEST_F(ScreenProfile, FailedUnsettingDeletesNothing) {
    ProfileFile const file;
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld(file.path())));
    SimWorldFailCalls("MiSetScreenProfile", 1);
    std::string const query = R"({"profile":")" + file.path() + "\"}";
    EXPECT_EQ(call("ScreenAtIndex", "delete", R"({"index":0})", query.c_str()),
              internalError("DELETE", "Screens/0", "Failed to remove screen profile."));
    EXPECT_TRUE(fileExists(file.path()));
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})", R"({"profile":1})"),
              ok("GET", "Screens/0", "\"" + file.path() + "\""));
}

TEST_F(ScreenProfile, DeleteWithoutProfileLeavesProfilesAlone) {
    ProfileFile const file;
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld(file.path())));
    char const* const monitor = R"({"product":"OVK-P24","serial":"12345678"})";
    for (char const* query : {"{}", R"({"gamma":1})", "", "[1]"}) {
        EXPECT_EQ(call("ScreensForMonitor", "delete", monitor, query),
                  ok("DELETE", "Screens/OVK-P24/12345678", "null"))
            << query;
    }
    EXPECT_TRUE(fileExists(file.path()));
    EXPECT_EQ(profiles(),
              ok("GET", "Screens", "[\"" + file.path() + R"(","/icc/b.icc","/icc/c.icc"])"));
}

TEST_F(ScreenProfile, DeleteWithAnEmptyPathUnsetsAndDeletesNothing) {
    ProfileFile const file;
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld(file.path())));
    EXPECT_EQ(call("ScreensForPoint", "delete", R"({"point":"10x20"})", R"({"profile":""})"),
              ok("DELETE", "Screens/10x20", "null"));
    EXPECT_TRUE(fileExists(file.path()));
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})", R"({"profile":1})"),
              internalError("GET", "Screens/0", "Failed to get screen profile."));
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":1})", R"({"profile":1})"),
              ok("GET", "Screens/1", R"("/icc/b.icc")"));
}

TEST_F(ScreenGamma, GetGivesTheRampsOfTheScreen) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})", R"({"gamma":1})"),
              ok("GET", "Screens/0", gammaAnswer(kRedA, kGreenA, kBlueA)));
}

TEST_F(ScreenGamma, PutWithProfileAndGammaAppliesBoth) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    std::string const red = ramp(10, 1);
    std::string const green = ramp(0, 2, true);
    std::string const blue = ramp(300, -1);
    std::string const body =
        R"({"profile":"/icc/both.icc","gamma":)" + gamma(red, green, blue) + "}";
    EXPECT_EQ(call("ScreensForMonitor", "put", R"({"product":"OVK-P24","serial":"87654321"})", "{}",
                   body.c_str()),
              ok("PUT", "Screens/OVK-P24/87654321", "null"));
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":2})", R"({"gamma":1})"),
              ok("GET", "Screens/2", gammaAnswer(red, green, blue)));
    EXPECT_EQ(profiles(), ok("GET", "Screens", R"(["/icc/a.icc","/icc/b.icc","/icc/both.icc"])"));
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})", R"({"gamma":1})"),
              ok("GET", "Screens/0", gammaAnswer(kRedA, kGreenA, kBlueA)));
}

TEST_F(ScreenGamma, EachRampMustBe256NumbersCheckedBeforeAnythingIsSet) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    Answer const before = call("ScreenAtIndex", "get", R"({"index":0})", R"({"gamma":1})");
    std::string const good = ramp(1, 1);
    std::string const withText = ramp(1, 1, false, 255).insert(1, R"("0",)");
    std::string const withNull = ramp(1, 1, false, 255).insert(1, "null,");
    struct Row {
        std::string gamma;
        char const* colour;
    } const rows[] = {
        {"{}", "red"},
        {"5", "red"},
        {gamma(ramp(1, 1, false, 255), good, good), "red"},
        {gamma(R"("ramp")", good, good), "red"},
        {gamma(withText, good, good), "red"},
        {gamma(good, ramp(1, 1, false, 255), good), "green"},
        {gamma(good, "{}", good), "green"},
        {gamma(good, good, ramp(1, 1, false, 257)), "blue"},
        {gamma(good, good, withNull), "blue"},
        {R"({"red":)" + good + R"(,"green":)" + good + "}", "blue"},
    };
    for (Row const& row : rows) {
        std::string const body = R"({"gamma":)" + row.gamma + "}";
        EXPECT_EQ(call("ScreenAtIndex", "put", R"({"index":0})", "{}", body.c_str()),
                  badRequest("PUT", "Screens/0",
                             std::string("gamma.") + row.colour + " is invalid size."))
            << row.gamma.substr(0, 60);
    }
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})", R"({"gamma":1})"), before);
}

TEST_F(ScreenFailures, EachFailureHasItsMessage) {
    std::string const validGamma = R"({"gamma":)" + gamma(ramp(0, 1), ramp(0, 1), ramp(0, 1)) + "}";
    struct Row {
        char const* failing; // a library function made to fail once, or null
        char const* resource;
        char const* method;
        char const* parameters;
        char const* query;
        std::string body;
        Answer expected;
    } const rows[] = {
        {nullptr, "ScreenAtIndex", "get", R"({"index":0})", R"({"profile":1})", "{}",
         internalError("GET", "Screens/0", "Failed to get screen profile.")},
        {nullptr, "Screens", "get", "{}", R"({"profile":1})", "{}",
         internalError("GET", "Screens", "Failed to get screen profile.")},
        {"MiGetScreenProfile", "ScreenAtIndex", "get", R"({"index":1})", R"({"profile":1})", "{}",
         internalError("GET", "Screens/1", "Failed to get screen profile.")},
        {nullptr, "ScreenAtIndex", "get", R"({"index":0})", R"({"gamma":1})", "{}",
         internalError("GET", "Screens/0", "Failed to get screen gamma.")},
        {"MiGetScreenGraphicsCardGamma", "ScreenAtIndex", "get", R"({"index":1})", R"({"gamma":1})",
         "{}", internalError("GET", "Screens/1", "Failed to get screen gamma.")},
        {nullptr, "ScreenAtIndex", "put", R"({"index":0})", "{}", R"({"profile":"/icc/n.icc"})",
         internalError("PUT", "Screens/0", "Failed to set screen profile.")},
        {"MiSetScreenProfile", "ScreenAtIndex", "put", R"({"index":1})", "{}",
         R"({"profile":"/icc/n.icc"})",
         internalError("PUT", "Screens/1", "Failed to set screen profile.")},
        {nullptr, "ScreenAtIndex", "put", R"({"index":0})", "{}", validGamma,
         internalError("PUT", "Screens/0", "Failed to set screen gamma.")},
        {"MiSetScreenGraphicsCardGamma", "ScreenAtIndex", "put", R"({"index":1})", "{}", validGamma,
         internalError("PUT", "Screens/1", "Failed to set screen gamma.")},
        {nullptr, "ScreenAtIndex", "put", R"({"index":1})", "{}", "{}",
         badRequest("PUT", "Screens/1", "data must contains profile or gamma.")},
        {nullptr, "ScreensForPoint", "put", R"({"point":"1x1"})", "{}", R"({"graphicsCard":1})",
         badRequest("PUT", "Screens/1x1", "data must contains profile or gamma.")},
        {nullptr, "ScreenAtIndex", "put", R"({"index":1})", R"({"profile":"/icc/n.icc"})", "",
         badRequest("PUT", "Screens/1", "data must contains profile or gamma.")},
        {nullptr, "ScreenAtIndex", "delete", R"({"index":0})", R"({"profile":"/icc/n.icc"})", "{}",
         internalError("DELETE", "Screens/0", "Failed to remove screen profile.")},
        {nullptr, "ScreensForPoint", "delete", R"({"point":"5x5"})", R"({"profile":""})", "{}",
         internalError("DELETE", "Screens/5x5", "Failed to remove screen profile.")},
        {"MiSetScreenProfile", "ScreenAtIndex", "delete", R"({"index":1})", R"({"profile":""})",
         "{}", internalError("DELETE", "Screens/1", "Failed to remove screen profile.")},
    };
    for (Row const& row : rows) {
        ASSERT_NO_FATAL_FAILURE(loadWorld(kFailureWorld));
        if (row.failing != nullptr)
            SimWorldFailCalls(row.failing, 1);
        EXPECT_EQ(call(row.resource, row.method, row.parameters, row.query, row.body.c_str()),
                  row.expected)
            << row.resource << " " << row.method << " " << row.parameters << " " << row.query;
        SimWorldClearFailures();
    }
}

TEST_F(ScreenFailures, AProfileThatFailsOnOneScreenIsStillSetOnTheOthers) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(kFailureWorld));
    EXPECT_EQ(
        call("ScreensForPoint", "put", R"({"point":"5x5"})", "{}", R"({"profile":"/icc/n.icc"})"),
        internalError("PUT", "Screens/5x5", "Failed to set screen profile."));
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":1})", R"({"profile":1})"),
              ok("GET", "Screens/1", R"("/icc/n.icc")"));
}

TEST_F(ScreensResource, GetListsOnlyWhenTheLibraryListsNoScreen) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    std::string each[3];
    for (int i = 0; i < 3; ++i) {
        std::string const parameters = R"({"index":)" + std::to_string(i) + "}";
        each[i] = valueOf(call("ScreenAtIndex", "get", parameters.c_str()));
    }
    std::string const all = "[" + each[0] + "," + each[1] + "," + each[2] + "]";
    // The selection above listed the screens once; Screens adds no listing of its own now.
    EXPECT_EQ(SimScrinfoFindScreensCount(), 1u);
    ASSERT_EQ(SimWorldModify("screens", "B", R"({"rotation":90})"), nullptr);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(call("Screens", "get", "{}"), ok("GET", "Screens", all));
        EXPECT_EQ(SimPageBridgeObserverCount(), 1u);
    }
    EXPECT_EQ(SimScrinfoFindScreensCount(), 1u);
    EXPECT_EQ(call("Screens", "delete", "{}"), ok("DELETE", "Screens", "null"));
    Answer const relisted = call("Screens", "get", "{}");
    EXPECT_EQ(SimScrinfoFindScreensCount(), 2u);
    EXPECT_EQ(SimPageBridgeObserverCount(), 1u);
    EXPECT_EQ(occurrences(valueOf(relisted), R"("rotation":90)"), 1u) << relisted;
}

TEST_F(ScreensResource, PutAlwaysListsAgainAndIgnoresItsBody) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    Answer const first = call("Screens", "put", "{}", "{}", R"({"profile":"/icc/ignored.icc"})");
    EXPECT_EQ(SimScrinfoFindScreensCount(), 1u);
    EXPECT_EQ(first, ok("PUT", "Screens", valueOf(call("Screens", "get", "{}"))));
    ASSERT_EQ(SimWorldModify("screens", "C", R"({"colorDepth":30})"), nullptr);
    Answer const second = call("Screens", "put", "{}", "{}", "{}");
    EXPECT_EQ(SimScrinfoFindScreensCount(), 2u);
    EXPECT_EQ(occurrences(second.json, R"("colorDepth":30)"), 1u) << second;
    EXPECT_EQ(occurrences(SimWorldText(0), "ignored"), 0u);
}

TEST_F(ScreensResource, AScreenTheLibraryGivesNoHandleForIsLeftOut) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(mainWorld()));
    ASSERT_EQ(profiles(), ok("GET", "Screens", R"(["/icc/a.icc","/icc/b.icc","/icc/c.icc"])"));
    SimWorldFailCalls("MiGetScreenAtIndex", 1);
    EXPECT_EQ(profiles(), ok("GET", "Screens", R"(["/icc/b.icc","/icc/c.icc"])"));
    SimWorldFailCalls("MiGetScreenAtIndex", 1);
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})", R"({"profile":1})"),
              ok("GET", "Screens/0", R"("/icc/b.icc")"));
    SimWorldFailCalls("MiGetScreenAtIndex", 1);
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":2})", R"({"profile":1})"),
              badRequest("GET", "Screens/2", "index is invalid."));
    EXPECT_EQ(profiles(), ok("GET", "Screens", R"(["/icc/a.icc","/icc/b.icc","/icc/c.icc"])"));
}

} // namespace
