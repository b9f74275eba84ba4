// Screen requests on two threads while the screens change and delayed re-reads run.
#include "bridge/bridge_template.h"
#include "notification/native_event_filter.h"
#include "screen/screen_manager.h"
#include "screen/screens.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using kavri::notification::NativeEventFilterLinux;
using kavri::screen::ScreenManager;
using Clock = std::chrono::steady_clock;

// Three screen configurations: A, A with its second screen resized (A2), and B with one screen.
char const* const kScreensA =
    R"([{"id":"DP-1","bounds":{"x":0,"y":0,"width":1920,"height":1080},"primary":true},)"
    R"({"id":"DP-2","bounds":{"x":1920,"y":0,"width":1280,"height":1024}}])";
char const* const kResizeA2 = R"({"bounds":{"width":1600,"height":900}})";
char const* const kScreensB =
    R"([{"id":"HDMI-1","bounds":{"x":0,"y":0,"width":2560,"height":1440},"refreshRate":59.94}])";

using Handler = int (*)(char const*, char const*, char const*, char const*);

struct Request {
    Handler serve;
    char const* options;
    char const* parameters;
    char const* query;
};

constexpr char const* kGet = R"({"method":"get"})";

// Reads whose answers depend only on the configuration and on screen 0's gamma.
std::vector<Request> const kReads = {
    {::Serve<kavri::bridge::ScreenAtIndex>, kGet, R"({"index":0})", "{}"},
    {::Serve<kavri::bridge::ScreenAtIndex>, kGet, R"({"index":1})", "{}"},
    {::Serve<kavri::bridge::ScreenAtIndex>, kGet, R"({"index":"0"})", R"({"gamma":1})"},
    {::Serve<kavri::bridge::ScreensForPoint>, kGet, R"({"point":"10x10"})", "{}"},
    {::Serve<kavri::bridge::ScreensForPoint>, kGet, R"({"point":"2600x10"})", R"({"gamma":1})"},
    {::Serve<kavri::bridge::Screens>, kGet, "{}", "{}"},
    {::Serve<kavri::bridge::Screens>, kGet, "{}", R"({"gamma":1})"},
};

std::string const kOk = R"({"error":null,"value":null})";

// The answer of the last request made on this thread, told by the page-bridge stand-in.
thread_local std::int32_t t_promise = 0;
thread_local std::int32_t t_status = 0;
thread_local std::string t_answer;

void listen(void*, std::int32_t kind, std::int32_t promise, std::int32_t status, char const*,
            char const* json) {
    if (kind != SIM_PAGEBRIDGE_RESPONSE)
        return;
    t_promise = promise;
    t_status = status;
    t_answer = json;
}

std::string gammaBody() {
    std::string ramp = "[";
    for (int i = 0; i < 256; ++i)
        ramp += (i ? "," : "") + std::to_string(i / 510.0);
    ramp += "]";
    return R"({"gamma":{"red":)" + ramp + R"(,"green":)" + ramp + R"(,"blue":)" + ramp + "}}";
}

class ScreenStress : public ::testing::Test {
protected:
    void SetUp() override {
        SimWorldReset();
        SimPageBridgeReset();
        SimScrinfoResetCounts();
        SimPageBridgeSetListener(listen, nullptr);
    }
    void TearDown() override {
        SimPageBridgeSetListener(nullptr, nullptr);
        kavri::notification::StopScreenChangeNotification();
        SimWorldReset();
    }

    // Puts the world into configuration 0 (A), 1 (A2) or 2 (B).
    static char const* configure(int which) {
        if (which == 2)
            return SimWorldSetScreens(kScreensB);
        char const* failed = SimWorldSetScreens(kScreensA);
        return failed || which == 0 ? failed : SimWorldModify("screens", "DP-2", kResizeA2);
    }

    static std::pair<std::int32_t, std::string> call(Request const& r, char const* body = "") {
        int const promise = r.serve(r.options, r.parameters, r.query, body);
        EXPECT_EQ(promise, t_promise);
        return {t_status, t_answer};
    }

    // Every answer each read can give, for every configuration and both gammas of screen 0.
    void learnAnswers() {
        ScreenManager& manager = ScreenManager::Instance();
        for (int which = 0; which < 3; ++which) {
            for (bool identity : {true, false}) {
                ASSERT_EQ(configure(which), nullptr);
                manager.update();
                // A new screen list starts with identity ramps; the other gamma is the one that
                // the stress run puts.
                if (!identity) {
                    ASSERT_EQ(call(kPutGamma, gammaBody().c_str()).second, kOk);
                }
                for (std::size_t i = 0; i < kReads.size(); ++i)
                    allowed_[i].insert(call(kReads[i]));
                std::string const all = call(kReads[5]).second;
                payloads_.insert(all.substr(22, all.size() - 23)); // the array in the answer
            }
        }
    }

    void check(std::size_t read, std::pair<std::int32_t, std::string> const& answer) {
        if (allowed_.at(read).count(answer) != 0)
            return;
        std::lock_guard<std::mutex> const held(mutex_);
        unexpected_.push_back("read " + std::to_string(read) + ": " + std::to_string(answer.first) +
                              " " + answer.second.substr(0, 300));
    }

    Request const kPutGamma{::Serve<kavri::bridge::ScreenAtIndex>, R"({"method":"put"})",
                            R"({"index":0})", "{}"};
    std::map<std::size_t, std::set<std::pair<std::int32_t, std::string>>> allowed_;
    std::set<std::string> payloads_;
    std::mutex mutex_;
    std::vector<std::string> unexpected_;
};

TEST_F(ScreenStress, RequestsRunCleanWhileScreensChangeAndReReadsRun) {
    learnAnswers();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_EQ(allowed_[1].size(), 3u) << "index 1: descriptions of A and A2, and the 400 of B";
    ASSERT_TRUE(allowed_[1].count({400, R"({"error":{"message":"index is invalid.",)"
                                        R"("name":"BadRequestError"},"value":null})"}));
    ASSERT_EQ(payloads_.size(), 3u);

    // The baseline: configuration A as the page last saw it.
    ASSERT_EQ(configure(0), nullptr);
    ScreenManager::Instance().update();
    ScreenManager::Instance().storeCurrentScreens();
    SimPageBridgeReset();
    SimScrinfoResetCounts();

    // Three watchers, so that re-reads also overlap one another as slow ones would.
    std::vector<std::unique_ptr<NativeEventFilterLinux>> watchers;
    for (int delayMs = 1; delayMs <= 3; ++delayMs) {
        kavri::notification::ScreenWatchActions actions =
            kavri::notification::DefaultScreenWatchActions();
        actions.update = [] { ScreenManager::Instance().updateAndDispatchEvent(); };
        actions.delay = std::chrono::milliseconds(delayMs);
        watchers.push_back(std::make_unique<NativeEventFilterLinux>(actions));
        watchers.back()->setScreenNotificationEnabled(true);
    }

    std::atomic<bool> stop{false};
    std::atomic<int> requests[2] = {{0}, {0}};
    std::string const putBody = gammaBody();
    auto reader = [&](int thread) {
        for (std::size_t n = 0; !stop; ++n) {
            if (thread == 1 && n % 3 == 0) {
                std::pair<std::int32_t, std::string> const answer =
                    call(kPutGamma, putBody.c_str());
                if (answer != std::make_pair(200, kOk)) {
                    std::lock_guard<std::mutex> const held(mutex_);
                    unexpected_.push_back("gamma put: " + answer.second);
                }
            } else {
                std::size_t const read = (n + static_cast<std::size_t>(thread) * 3) % kReads.size();
                check(read, call(kReads[read]));
            }
            ++requests[thread];
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
    };
    std::atomic<int> changes{0};
    std::thread readers[2] = {std::thread(reader, 0), std::thread(reader, 1)};
    std::thread changer([&] {
        unsigned pace = 1;
        for (int which = 1; !stop; which = (which + 1) % 3) {
            if (configure(which) == nullptr)
                ++changes;
            pace = pace * 1103515245u + 12345u; // uneven pauses: re-reads meet every configuration
            std::this_thread::sleep_for(std::chrono::microseconds(1000 + (pace >> 16) % 5000));
        }
    });

    // Enough time for many re-reads and some pushed changes (at most 20 s).
    Clock::time_point const start = Clock::now();
    auto const enough = [] {
        return SimScrinfoFindScreensCount() >= 60 && SimPageBridgeEventCount() >= 3;
    };
    while (!enough() && Clock::now() - start < std::chrono::seconds(20))
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    stop = true;
    for (std::thread& t : readers)
        t.join();
    changer.join();
    watchers.clear();
    // Settled: one more re-read leaves the last pushed list equal to the screens now listed.
    ScreenManager::Instance().updateAndDispatchEvent();

    EXPECT_GT(requests[0].load(), 0);
    EXPECT_GT(requests[1].load(), 0);
    EXPECT_GT(changes.load(), 0);
    for (std::string const& text : unexpected_)
        ADD_FAILURE() << text;
    EXPECT_EQ(SimScrinfoStaleHandleCount(), 0u);
    EXPECT_EQ(SimPageBridgeViolationCount(), 0u);

    std::vector<sim::Event> const events = sim::host::events();
    ASSERT_GE(events.size(), 3u);
    EXPECT_EQ(events.back().json, ScreenManager::Instance().getScreensInfoString());
    for (std::size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events[i].name, "screenChanged");
        EXPECT_EQ(payloads_.count(events[i].json), 1u) << events[i].json;
        if (i > 0) {
            EXPECT_NE(events[i].json, events[i - 1].json) << "the same screens pushed twice";
        }
    }
}

} // namespace
