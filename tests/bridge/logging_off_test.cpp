// Without the logging library in the exports directory, requests answer exactly as before.
#include "bridge/bridge.h"
#include "host_record.h"

#include <gtest/gtest.h>

namespace {

TEST(LoggingOff, RequestsStillAnswerWithoutTheLoggingLibrary) {
    SimHostSetExportsPath("/nonexistent-exports-directory");
    test::resetHost();
    test::resetLog();
    int const promise = Serve<kavri::Bridge>(R"({"method":"post"})", "{}", "{}", "");
    std::vector<test::Response> responses = test::responses();
    ASSERT_EQ(responses.size(), 1u);
    EXPECT_EQ(responses[0].promise, promise);
    EXPECT_EQ(responses[0].status, 405);
    EXPECT_EQ(
        responses[0].text,
        R"({"error":{"message":"POST method is not allowed.","name":"MethodError"},"value":null})");
    EXPECT_EQ(SimOstranaLineCount(), 0u);
    EXPECT_EQ(SimOstranaGetLoggerCallCount(), 0u);
}

} // namespace
