// The session helpers in-process: the line reader, the command seam, the user count and the
// reading of the presence reply.
#include "system/command_line.h"
#include "system/session_state.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace kavri::system;

TEST(LineReader, StopsAtTheFirstLineFeedOrCarriageReturn) {
    struct Case {
        std::string text;
        std::string line;
    };
    Case const cases[] = {
        {"", ""},
        {"alice", "alice"},
        {"alice\nbob", "alice"},
        {"alice\rbob", "alice"},
        {"\nalice", ""},
        {"a b\tc\n", "a b\tc"},
        {std::string("a\0b\n", 4), std::string("a\0b", 3)},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.text);
        std::FILE* stream = std::tmpfile();
        ASSERT_NE(stream, nullptr);
        ASSERT_EQ(std::fwrite(c.text.data(), 1, c.text.size(), stream), c.text.size());
        std::rewind(stream);
        EXPECT_EQ(detail::GetLineFromFILE(stream), c.line);
        std::fclose(stream);
    }
}

TEST(CommandSeam, KeepsTheFirstLineOfWhatTheCommandPrints) {
    std::string line = "stale";
    ASSERT_TRUE(RunCommandFirstLine("printf 'one two\\nthree\\n'", line));
    EXPECT_EQ(line, "one two");
    ASSERT_TRUE(RunCommandFirstLine("true", line));
    EXPECT_EQ(line, "");
}

TEST(CommandSeam, AMissingCommandGivesAnEmptyLine) {
    std::string line = "stale";
    EXPECT_TRUE(RunCommandFirstLine("tolma-no-such-command-here 2>/dev/null", line));
    EXPECT_EQ(line, "");
}

TEST(LoginUsers, CountsDistinctNamesBetweenSingleSpaces) {
    struct Case {
        char const* line;
        unsigned users;
    };
    Case const cases[] = {
        {"", 0},           {" ", 0},    {"alice", 1},   {"alice alice", 1}, {"alice bob alice", 2},
        {"  a  b  c ", 3}, {"a\tb", 1}, {"a\tb a b", 3}};
    for (Case const& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(CountLoginUsers(c.line), c.users);
    }
}

TEST(LoginUsers, NamesTheStateByCount) {
    EXPECT_STREQ(LoginStateName(0), "off");
    EXPECT_STREQ(LoginStateName(1), "singleUser");
    EXPECT_STREQ(LoginStateName(2), "multipleUsers");
    EXPECT_STREQ(LoginStateName(4294967295u), "multipleUsers");
}

TEST(PresenceReply, AnyNonzero32BitStatusMeansRunning) {
    struct Case {
        char const* reply;
        bool running;
    };
    Case const cases[] = {
        {"(<uint32 3>,)", true},
        {"(<uint32 0>,)", false},
        {"(<uint32 1>,)", true},
        {"", false},
        {"3", true},
        {"0", false},
        {"(<uint32 0x10>,)", true},
        {"(<uint32 010>,)", true},
        {"(<uint32 08>,)", false},
        {"(<int32 -1>,)", true},
        {"(<uint32 2147483647>,)", true},
        {"(<int32 -2147483648>,)", true},
        {"(<uint32 2147483648>,)", false},
        {"(<uint32 4294967295>,)", false},
        {"(<int64 -2147483649>,)", false},
        {"(<uint32 99999999999999999999>,)", false},
        {"(<uint32 3x>,)", false},
        {"(<'idle'>,)", false},
        {"(<uint32 >,)", false},
        {"(<uint32 3 >,)", false},
        {"Error: GDBus.Error:org.freedesktop.DBus.Error.ServiceUnknown", false},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.reply);
        EXPECT_EQ(PresenceReplyMeansRunning(c.reply), c.running);
    }
}

TEST(LockState, IsUnlocked) {
    EXPECT_EQ(GetLockState(), "unlocked");
}

} // namespace
