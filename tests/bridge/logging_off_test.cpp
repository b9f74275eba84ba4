// Without the logging library in the exports directory, requests answer exactly as before.
#include "bridge/bridge.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

#include <gtest/gtest.h>

namespace {

TEST(LoggingOff, RequestsStillAnswerWithoutTheLoggingLibrary) {
    SimHostSetExportsPath("/nonexistent-exports-directory");
    SimPageBridgeReset();
    SimOstranaReset();
    int const promise = Serve<kavri::Bridge>(R"({"method":"post"})", "{}", "{}", "");
    std::vector<sim::Response> responses = sim::host::responses();
    ASSERT_EQ(responses.size(), 1u);
    EXPECT_EQ(responses[0].promiseId, promise);
    EXPECT_EQ(responses[0].statusCode, 405);
    EXPECT_EQ(
        responses[0].json,
        R"({"error":{"message":"POST method is not allowed.","name":"MethodError"},"value":null})");
    EXPECT_EQ(SimOstranaLineCount(), 0u);
    EXPECT_EQ(SimOstranaGetLoggerCallCount(), 0u);
}

} // namespace
