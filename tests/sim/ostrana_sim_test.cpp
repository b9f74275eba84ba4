// The logging stand-in, opened from the exports directory by file name as the plug-in opens it.
#include "platform/ostrana2.h"
#include "sim/host/exports_directory.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

#include <chrono>
#include <dlfcn.h>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

// Opens the library the plug-in's way (exports directory, file name, RTLD_LAZY) and looks its two
// functions up in that handle.
class Logging : public ::testing::Test {
protected:
    void SetUp() override {
        std::string const path = sim::host::standInDirectory() + "/libostrana2_x64.so";
        handle_ = dlopen(path.c_str(), RTLD_LAZY);
        ASSERT_NE(handle_, nullptr) << dlerror();
        getLogger_ =
            reinterpret_cast<decltype(&ostrana_get_logger)>(dlsym(handle_, "ostrana_get_logger"));
        log_ = reinterpret_cast<decltype(&ostrana_log)>(dlsym(handle_, "ostrana_log"));
        ASSERT_NE(getLogger_, nullptr);
        ASSERT_NE(log_, nullptr);
        ASSERT_TRUE(controls_.loaded());
        controls_.reset();
    }
    void TearDown() override {
        if (handle_ != nullptr)
            dlclose(handle_);
    }

    OstranaLogger* getLogger() const { return getLogger_(); }
    void log(OstranaLogger* logger, char const* name, int level, char const* line) const {
        log_(logger, name, level, line);
    }
    sim::host::LoggingStandIn const& controls() const { return controls_; }
    // A control function looked up in the same handle, for what LoggingStandIn does not cover.
    template <typename F>
    F control(char const* name) const {
        return reinterpret_cast<F>(dlsym(handle_, name));
    }

private:
    void* handle_ = nullptr;
    decltype(&ostrana_get_logger) getLogger_ = nullptr;
    decltype(&ostrana_log) log_ = nullptr;
    sim::host::LoggingStandIn controls_;
};

TEST_F(Logging, GivesOneProcessWideLogger) {
    OstranaLogger* const first = getLogger();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(getLogger(), first);
    EXPECT_EQ(controls().getLoggerCalls(), 2U);
}

TEST_F(Logging, RecordsNameLevelAndLineInCallOrder) {
    OstranaLogger* const logger = getLogger();
    log(logger, "Tolma", 0, "statusCode:200\tmethod:GET\turi:x\tmsg:Success");
    log(logger, "Tolma", 3, "event:screenChanged\tmsg:changed");
    std::vector<sim::LogLine> const expected = {
        {0, "Tolma", "statusCode:200\tmethod:GET\turi:x\tmsg:Success"},
        {3, "Tolma", "event:screenChanged\tmsg:changed"}};
    EXPECT_EQ(controls().lines(), expected);
}

TEST_F(Logging, LineIndexPastTheEndLeavesTheOutputsAlone) {
    std::int32_t level = 9;
    char const* name = "untouched";
    char const* line = "untouched";
    auto const lineCount = control<decltype(&SimOstranaLineCount)>("SimOstranaLineCount");
    auto const lineAt = control<decltype(&SimOstranaLineAt)>("SimOstranaLineAt");
    ASSERT_NE(lineCount, nullptr);
    ASSERT_NE(lineAt, nullptr);
    EXPECT_EQ(lineCount(), 0U);
    EXPECT_EQ(lineAt(0, &level, &name, &line), -1);
    EXPECT_EQ(level, 9);
    EXPECT_STREQ(name, "untouched");
}

TEST_F(Logging, UnavailableLoggerIsNullUntilMadeAvailableOrReset) {
    OstranaLogger* const before = getLogger();
    controls().setAvailable(false);
    EXPECT_EQ(getLogger(), nullptr);
    controls().setAvailable(true);
    EXPECT_EQ(getLogger(), before);
    controls().setAvailable(false);
    controls().reset();
    EXPECT_EQ(getLogger(), before);
}

TEST_F(Logging, LoggerHandedOutBeforeStaysUsableWhenUnavailable) {
    OstranaLogger* const logger = getLogger();
    controls().setAvailable(false);
    log(logger, "Tolma", 3, "late line");
    EXPECT_EQ(controls().lines().size(), 1U);
}

TEST_F(Logging, ForeignLoggerIsAViolationAndNotRecorded) {
    int notALogger = 0;
    ::testing::internal::CaptureStderr();
    log(reinterpret_cast<OstranaLogger*>(&notALogger), "Tolma", 0, "x");
    log(nullptr, "Tolma", 0, "x");
    log(getLogger(), nullptr, 0, "x");
    log(getLogger(), "Tolma", 0, nullptr);
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(controls().violations(), 4U);
    EXPECT_TRUE(controls().lines().empty());
}

TEST_F(Logging, ResetForgetsLinesAndCounts) {
    log(getLogger(), "Tolma", 0, "x");
    controls().reset();
    EXPECT_TRUE(controls().lines().empty());
    EXPECT_EQ(controls().getLoggerCalls(), 0U);
}

TEST_F(Logging, EchoCopiesEachLineToStandardError) {
    controls().setEcho(true);
    ::testing::internal::CaptureStderr();
    log(getLogger(), "Tolma", 3, "event:x\tmsg:y");
    std::string const echoed = ::testing::internal::GetCapturedStderr();
    controls().setEcho(false);
    EXPECT_EQ(echoed, "[Tolma] 3: event:x\tmsg:y\n");

    ::testing::internal::CaptureStderr();
    log(getLogger(), "Tolma", 0, "quiet");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(Logging, LinesFromManyThreadsAreAllKeptInEachThreadsOrder) {
    constexpr int kThreads = 6;
    constexpr int kEach = 300;
    OstranaLogger* const logger = getLogger();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, logger, t] {
            for (int i = 0; i < kEach; ++i)
                log(logger, "Tolma", t, std::to_string(i).c_str());
        });
    }
    for (auto& thread : threads)
        thread.join();

    std::vector<sim::LogLine> const lines = controls().lines();
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kEach));
    std::vector<int> next(kThreads, 0);
    for (auto const& line : lines) {
        auto const thread = static_cast<std::size_t>(line.level);
        EXPECT_EQ(line.line, std::to_string(next[thread]));
        ++next[thread];
    }
}

TEST_F(Logging, WaitReturnsOnceALineArrivesFromAnotherThread) {
    OstranaLogger* const logger = getLogger();
    std::thread writer([this, logger] {
        std::this_thread::sleep_for(20ms);
        log(logger, "Tolma", 3, "event:x\tmsg:y");
    });
    EXPECT_TRUE(controls().waitForLines(1, 5s));
    EXPECT_FALSE(controls().waitForLines(2, 10ms));
    writer.join();
}

// The plug-in closes the library at exit and tests open and close it many times: closing the last
// handle must not take the logger or its lines away.
TEST(LoggingLibrary, KeepsItsLoggerAndLinesAcrossCloseAndReopen) {
    std::string const path = sim::host::standInDirectory() + "/libostrana2_x64.so";
    void* handle = dlopen(path.c_str(), RTLD_LAZY);
    ASSERT_NE(handle, nullptr) << dlerror();
    auto getLogger =
        reinterpret_cast<decltype(&ostrana_get_logger)>(dlsym(handle, "ostrana_get_logger"));
    auto log = reinterpret_cast<decltype(&ostrana_log)>(dlsym(handle, "ostrana_log"));
    ASSERT_NE(getLogger, nullptr);
    ASSERT_NE(log, nullptr);
    OstranaLogger* const logger = getLogger();
    std::size_t const linesBefore = sim::host::LoggingStandIn(path).lines().size();
    log(logger, "Tolma", 0, "before close");
    ASSERT_EQ(dlclose(handle), 0);

    handle = dlopen(path.c_str(), RTLD_LAZY);
    ASSERT_NE(handle, nullptr) << dlerror();
    getLogger =
        reinterpret_cast<decltype(&ostrana_get_logger)>(dlsym(handle, "ostrana_get_logger"));
    EXPECT_EQ(getLogger(), logger);
    std::vector<sim::LogLine> const lines = sim::host::LoggingStandIn(path).lines();
    ASSERT_EQ(lines.size(), linesBefore + 1);
    EXPECT_EQ(lines.back().line, "before close");
    dlclose(handle);
}

TEST(OstranaControls, ReportNotLoadedForAMissingFile) {
    sim::host::LoggingStandIn const missing(sim::host::standInDirectory() + "/no-such-library.so");
    EXPECT_FALSE(missing.loaded());
    EXPECT_TRUE(missing.lines().empty());
    EXPECT_FALSE(missing.waitForLines(0, 0ms));
}

} // namespace
