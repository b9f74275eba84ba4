// fs::Path construction and joining, string::split and string::to<int>, fs::Clock ticks.
#include "fs/date_time.h"
#include "fs/path.h"
#include "fs/strings.h"

#include <cstdint>
#include <string>
#include <time.h>
#include <vector>

#include <gtest/gtest.h>

namespace {

TEST(FsPath, DropsExactlyOneTrailingSeparator) {
    std::pair<char const*, char const*> const cases[] = {
        {"/tmp/", "/tmp"}, {"a//", "a/"}, {"C:\\dir\\", "C:\\dir"}, {"/", ""}, {"plain", "plain"}};
    for (auto const& [text, kept] : cases)
        EXPECT_EQ(fs::Path(std::string(text)).str(), kept) << text;
}

TEST(FsPath, JoinWritesOneSlashBetweenTheParts) {
    EXPECT_EQ((fs::Path("/usr/lib/") / std::string("libusb.so")).str(), "/usr/lib/libusb.so");
    EXPECT_EQ((fs::Path("") / "x").str(), "/x");
    EXPECT_EQ(fs::Path("a") / "b" / fs::Path("c/"), fs::Path("a/b/c"));
}

TEST(FsStrings, SplitLeavesOutEmptyPieces) {
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(string::split(",a,,b,", ","), (Pieces{"a", "b"}));
    EXPECT_EQ(string::split("", ","), Pieces{});
    EXPECT_EQ(string::split(",,", ","), Pieces{});
    EXPECT_EQ(string::split("a::b:::c", "::"), (Pieces{"a", "b", ":c"}));
    EXPECT_EQ(string::split("abc", ""), Pieces{"abc"});
}

TEST(FsStrings, ToIntReadsALeadingNumberAndGivesZeroOtherwise) {
    std::pair<char const*, int> const cases[] = {
        {"  -7", -7}, {"12abc", 12}, {"abc", 0}, {"", 0}, {"99999999999", 0}};
    for (auto const& [text, value] : cases)
        EXPECT_EQ(string::to<int>(text), value) << text;
}

TEST(FsClock, CountsMonotonicTimeIn100NanosecondTicks) {
    auto now = [] {
        timespec t{};
        clock_gettime(CLOCK_MONOTONIC, &t);
        return static_cast<std::uint64_t>(t.tv_sec) * 10000000u +
               static_cast<std::uint64_t>(t.tv_nsec) / 100u;
    };
    std::uint64_t const before = now();
    fs::Clock clock;
    EXPECT_GE(clock.ticks(), before);
    EXPECT_LE(clock.ticks(), now());
}

} // namespace
