// tolmahost serve over HTTP on the loopback address: calls, events, world, refusals, load, stop.
#include "console_process.h"
#include "host_process.h"
#include "json/parser.h"

#include <httplib.h>

#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using devhost_test::ConsoleProcess;
using namespace std::chrono_literals;

constexpr char kJson[] = "application/json";
// The plug-in pushes "screenChanged" about 3 s after a change and device events within 2 s.
constexpr auto kEventDeadline = 8s;

pocketjson::Value parse(std::string const& text) {
    pocketjson::Value value;
    pocketjson::Parser parser;
    EXPECT_TRUE(parser.parse(text, value)) << text;
    return value;
}

httplib::Client clientOf(int port) {
    httplib::Client c("127.0.0.1", port);
    c.set_read_timeout(20, 0);
    return c;
}

class Console : public ::testing::Test {
protected:
    void SetUp() override {
        port_ = host_.waitForPort();
        ASSERT_NE(port_, 0) << host_.output();
    }

    httplib::Result post(std::string const& path, std::string const& body,
                         httplib::Headers const& headers = {}) const {
        return clientOf(port_).Post(path.c_str(), headers, body, kJson);
    }

    // POST /api/call, answered 200, as a value.
    pocketjson::Value call(std::string const& body) const {
        auto const res = post("/api/call", body);
        EXPECT_TRUE(res) << body;
        if (!res)
            return pocketjson::Value();
        EXPECT_EQ(res->status, 200) << res->body;
        return parse(res->body);
    }

    void world(std::string const& command) const {
        auto const res = post("/api/world", command);
        ASSERT_TRUE(res);
        ASSERT_EQ(res->status, 200) << res->body;
    }

    ConsoleProcess host_;
    int port_ = 0;
};

// The event stream read on its own thread into one text.
class EventStream {
public:
    explicit EventStream(int port) : client_(clientOf(port)) {
        reader_ = std::thread([this] {
            client_.Get("/api/events", [this](char const* data, std::size_t size) {
                std::lock_guard<std::mutex> lock(mutex_);
                text_.append(data, size);
                return !stop_.load();
            });
        });
    }
    ~EventStream() {
        stop_ = true;
        client_.stop();
        reader_.join();
    }

    // The first event named `name` whose data holds `needle`, as {number, name, time, payload}.
    // Null at the deadline.
    pocketjson::Value waitFor(std::string const& name, std::string const& needle,
                              std::chrono::steady_clock::duration deadline) {
        auto const end = std::chrono::steady_clock::now() + deadline;
        while (std::chrono::steady_clock::now() < end) {
            std::string text;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                text = text_;
            }
            for (std::size_t at = text.find("\ndata: "); at != std::string::npos;
                 at = text.find("\ndata: ", at + 1)) {
                std::size_t const end_of_line = text.find('\n', at + 1);
                if (end_of_line == std::string::npos)
                    break;
                pocketjson::Value const event = parse(text.substr(at + 7, end_of_line - at - 7));
                if (event["name"].toString("") == name &&
                    event["payloadText"].toString("").find(needle) != std::string::npos)
                    return event;
            }
            std::this_thread::sleep_for(20ms);
        }
        return pocketjson::Value();
    }

private:
    httplib::Client client_;
    std::thread reader_;
    std::mutex mutex_;
    std::string text_;
    std::atomic<bool> stop_{false};
};

double nowUnixMilliseconds() {
    return std::chrono::duration<double, std::milli>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// One request both ways: the API's members and the call command's words.
struct SameRequest {
    char const* api;
    std::vector<std::string> words;
};

TEST_F(Console, CallAnswersWhatTheCallCommandPrints) {
    SameRequest const cases[] = {
        {R"({"resource":"Screens","method":"get","params":{},"query":{}})",
         {"Screens", "--method", "get"}},
        {R"({"resource":"ScreenAtIndex","params":{ "index" : 1 },"query":"{\"graphicsCard\":[1, 2]}","body":"not json at all"})",
         {"ScreenAtIndex", "--params", R"({"index":1})", "--query", R"({"graphicsCard":[1, 2]})",
          "--body", "not json at all"}},
        {R"({"resource":"SystemEventLogBackup","method":"delete","params":{},"query":{}})",
         {"SystemEventLogBackup", "--method", "delete"}},
        {R"({"resource":"SystemEventLogBackup","options":{"method":"PUT"},"params":"{}","query":"{}"})",
         {"SystemEventLogBackup", "--options", R"({"method":"PUT"})"}},
        {R"({"resource":"ScreensForPoint","params":{"point":"100x200"},"query":{"profile":1}})",
         {"ScreensForPoint", "--params", R"({"point":"100x200"})", "--query", R"({"profile":1})"}},
        {R"({"resource":"SystemPreferredLanguage","params":{},"query":{"resources":"en,de","fallback":"fr"}})",
         {"SystemPreferredLanguage", "--query", R"({"resources":"en,de","fallback":"fr"})"}},
    };
    for (SameRequest const& c : cases) {
        std::vector<std::string> arguments = {"call"};
        arguments.insert(arguments.end(), c.words.begin(), c.words.end());
        auto const printed = devhost_test::runHost(arguments);
        ASSERT_EQ(printed.exitStatus, 0) << printed.err;

        pocketjson::Value const answer = call(c.api);
        std::string expected = "status " + std::to_string(answer["status"].toInt64(0)) + "\n" +
                               answer["answerText"].toString("") + "\n";
        for (pocketjson::Value const& line : answer["log"].arrayItems())
            expected += "log [" + line["name"].toString("") + "] " +
                        std::to_string(line["level"].toInt64(-1)) + ": " +
                        line["line"].toString("") + "\n";
        EXPECT_EQ(expected, printed.out) << c.api;
        EXPECT_EQ(answer["answer"], parse(answer["answerText"].toString(""))) << c.api;
        EXPECT_GE(answer["milliseconds"].toDouble(-1), 0.0);
        EXPECT_EQ(answer["brokenRules"].toInt64(-1), 0);
    }
}

TEST_F(Console, AbsentArgumentsReachThePlugInAsEmptyTexts) {
    // With no selectors at all ScreenAtIndex reads the index as absent: "index is invalid.".
    pocketjson::Value const answer = call(R"({"resource":"ScreenAtIndex"})");
    EXPECT_EQ(answer["status"].toInt64(0), 400);
    EXPECT_EQ(answer["answer"]["error"]["message"].toString(""), "index is invalid.");
    // The same index as a string argument's exact text and as a JSON value.
    EXPECT_EQ(call(R"({"resource":"ScreenAtIndex","params":"{\"index\":1}"})")["answerText"],
              call(R"({"resource":"ScreenAtIndex","params":{"index":1}})")["answerText"]);
}

TEST_F(Console, ScreenChangeReachesTheStreamAfterThePlugInsDelay) {
    EventStream stream(port_);
    // The GET switches the plug-in's screen watch on.
    EXPECT_EQ(call(R"({"resource":"Screens"})")["status"].toInt64(0), 200);
    // The plug-in counts RandR events that come within 50 ms of the watch's start as one burst
    // with it: the change comes later, as a person's would.
    std::this_thread::sleep_for(300ms);
    double const changed = nowUnixMilliseconds();
    world(R"({"command":["screens","change","[{\"id\":\"X-1\",\"bounds\":{\"x\":0,\"y\":0,\"width\":1234,\"height\":567}}]"]})");
    pocketjson::Value const event = stream.waitFor("screenChanged", "1234", kEventDeadline);
    ASSERT_FALSE(event.isNull()) << host_.output();
    EXPECT_EQ(event["payload"][0ul]["bounds"]["width"].toInt64(0), 1234);
    // The console passes the plug-in's event on when it comes, never sooner.
    EXPECT_GE(event["time"].toDouble(0) - changed, 2500.0);
}

TEST_F(Console, UnpluggedMonitorReachesTheStreamOnceHotPlugWatchingIsOn) {
    EventStream stream(port_);
    EXPECT_EQ(call(R"({"resource":"DeviceNotification","method":"put"})")["status"].toInt64(0),
              200);
    world(R"({"command":"unplug monitor 23A04117"})");
    pocketjson::Value const event = stream.waitFor("monitorChanged", "23A04117", kEventDeadline);
    ASSERT_FALSE(event.isNull()) << host_.output();
    EXPECT_EQ(event["payload"]["removed"][0ul]["serial"].toString(""), "23A04117");
    EXPECT_EQ(event["payload"]["added"].size(), 0u);
}

struct BadRequest {
    char const* what;
    char const* path;
    char const* body;
    httplib::Headers headers;
    int status;
    char const* message; // part of the error text
};

TEST_F(Console, BadRequestsAreRefusedClearlyAndServingGoesOn) {
    std::string const self = "127.0.0.1:" + std::to_string(port_);
    BadRequest const cases[] = {
        {"not JSON", "/api/call", "resource=Screens", {}, 400, "not a JSON object"},
        {"not an object", "/api/call", R"(["Screens"])", {}, 400, "not a JSON object"},
        {"unknown resource", "/api/call", R"({"resource":"Nope"})", {}, 404, "unknown resource 'Nope'"},
        {"no resource", "/api/call", R"({"method":"get"})", {}, 400, "'resource'"},
        {"unknown member", "/api/call", R"({"resource":"Screens","parms":{}})", {}, 400, "unknown member 'parms'"},
        {"method not text", "/api/call", R"({"resource":"Screens","method":1})", {}, 400, "'method'"},
        {"world not a command", "/api/world", R"({"command":7})", {}, 400, "'command'"},
        {"unknown world command", "/api/world", R"({"command":"fly away"})", {}, 400, "unknown world command"},
        {"world refuses", "/api/world", R"({"command":"plug monitor NOPE"})", {}, 409, "NOPE"},
        {"foreign Host", "/api/call", R"({"resource":"Screens"})", {{"Host", "attacker.example:" + std::to_string(port_)}}, 403, "Host"},
        {"other port in Host", "/api/call", R"({"resource":"Screens"})", {{"Host", "127.0.0.1:1"}}, 403, "Host"},
        {"foreign Origin", "/api/call", R"({"resource":"Screens"})", {{"Origin", "http://attacker.example"}}, 403, "Origin"},
        {"null Origin", "/api/call", R"({"resource":"Screens"})", {{"Origin", "null"}}, 403, "Origin"},
        {"https Origin", "/api/call", R"({"resource":"Screens"})", {{"Origin", "https://" + self}}, 403, "Origin"},
        {"unknown path", "/api/nothing", "{}", {}, 404, "no such path"},
    };
    for (BadRequest const& c : cases) {
        auto const res = post(c.path, c.body, c.headers);
        ASSERT_TRUE(res) << c.what;
        EXPECT_EQ(res->status, c.status) << c.what << ": " << res->body;
        EXPECT_NE(parse(res->body)["error"].toString("").find(c.message), std::string::npos)
            << c.what << ": " << res->body;
        EXPECT_EQ(call(R"({"resource":"SystemLockState"})")["status"].toInt64(0), 200) << c.what;
    }
    // The loopback names, with this console's origin, are served.
    for (std::string const host : {"127.0.0.1", "localhost"}) {
        std::string const address = host + ":" + std::to_string(port_);
        auto const res = post("/api/call", R"({"resource":"SystemLockState"})",
                              {{"Host", address}, {"Origin", "http://" + address}});
        ASSERT_TRUE(res);
        EXPECT_EQ(res->status, 200) << host << ": " << res->body;
    }
}

TEST_F(Console, HugeBodyIsRefusedBeforeItIsRead) {
    // Only the headers are sent: the answer must not wait for 64 MiB that never come.
    int const sock = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(sock, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port_));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(sock, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    timeval timeout{10, 0};
    setsockopt(sock, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    std::string const request = "POST /api/call HTTP/1.1\r\nHost: 127.0.0.1:" +
                                std::to_string(port_) +
                                "\r\nContent-Type: application/json\r\nContent-Length: 67108864\r\n\r\n{";
    ASSERT_EQ(send(sock, request.data(), request.size(), 0), static_cast<ssize_t>(request.size()));
    std::string answer;
    char buffer[4096];
    for (ssize_t got; (got = recv(sock, buffer, sizeof buffer, 0)) > 0;)
        answer.append(buffer, static_cast<std::size_t>(got));
    close(sock);
    EXPECT_EQ(answer.rfind("HTTP/1.1 413 ", 0), 0u) << answer;
    EXPECT_NE(answer.find("too large"), std::string::npos) << answer;
    EXPECT_EQ(call(R"({"resource":"SystemLockState"})")["status"].toInt64(0), 200);
}

TEST_F(Console, EightClientsCallingAtOnceAreAllAnswered) {
    constexpr int kClients = 8;
    constexpr int kCallsEach = 5;
    std::atomic<int> answered{0};
    std::vector<std::string> failures(kClients);
    std::vector<std::thread> clients;
    for (int i = 0; i < kClients; ++i) {
        clients.emplace_back([&, i] {
            httplib::Client c = clientOf(port_);
            for (int n = 0; n < kCallsEach; ++n) {
                // Each client names its own process, which comes back in its log line.
                std::string const process = "client" + std::to_string(i) + "-" + std::to_string(n);
                auto const res = c.Post("/api/call",
                                        R"({"resource":"SystemProcesses","params":{"process":")" +
                                            process + R"("}})",
                                        kJson);
                if (!res || res->status != 200 ||
                    res->body.find("/tolma/System/Processes/" + process + "\\t") ==
                        std::string::npos) {
                    failures[static_cast<std::size_t>(i)] = res ? res->body : "no answer";
                    return;
                }
                ++answered;
            }
        });
    }
    for (std::thread& t : clients)
        t.join();
    EXPECT_EQ(answered.load(), kClients * kCallsEach);
    for (std::string const& failure : failures)
        EXPECT_EQ(failure, "");
}

TEST_F(Console, PageAndResourceListAreServed) {
    httplib::Client c = clientOf(port_);
    auto const page = c.Get("/");
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
    EXPECT_EQ(page->get_header_value("Content-Type"), "text/html; charset=utf-8");
    EXPECT_NE(page->body.find("<script src=\"/console.js\">"), std::string::npos);
    auto const list = c.Get("/api/resources");
    ASSERT_TRUE(list);
    pocketjson::Value const value = parse(list->body);
    // The same names, in the same order, as the resources command lists.
    auto const printed = devhost_test::runHost({"resources"});
    std::vector<std::string> listed;
    for (std::string const& line : devhost_test::linesOf(printed.out)) {
        if (line.rfind("  ", 0) == 0)
            listed.push_back(line.substr(2));
        if (line == "and the functions:")
            break;
    }
    std::vector<std::string> served;
    for (pocketjson::Value const& resource : value["resources"].arrayItems()) {
        served.push_back(resource["name"].toString(""));
        EXPECT_TRUE(resource["exported"].toBool(false));
    }
    EXPECT_EQ(served, listed);
    EXPECT_FALSE(served.empty());
    EXPECT_EQ(value["resources"][2ul]["name"].toString(""), "ScreenAtIndex");
    EXPECT_EQ(value["resources"][2ul]["methods"], parse(R"(["get","put","delete"])"));
    EXPECT_EQ(value["inputTable"].toString("").rfind("| Resource | Method |", 0), 0u);
}

struct Stop {
    int signal;
    char const* name;
};

TEST(ConsoleStop, SignalEndsCleanlyWithTearDownAndFreesThePort) {
    for (Stop const stop : {Stop{SIGINT, "SIGINT"}, Stop{SIGTERM, "SIGTERM"}}) {
        int port = 0;
        {
            ConsoleProcess host;
            port = host.waitForPort();
            ASSERT_NE(port, 0) << host.output();
            // An open event stream does not hold the end up.
            EventStream stream(port);
            host.signal(stop.signal);
            EXPECT_EQ(host.waitForExit(10s), 0) << stop.name << "\n" << host.output();
            std::string const out = host.output();
            EXPECT_NE(out.find(std::string("console: ") + stop.name), std::string::npos) << out;
            EXPECT_LT(out.find("console: stopped"), out.find("host: TearDown()")) << out;
        }
        ConsoleProcess again(port);
        EXPECT_EQ(again.waitForPort(), port) << again.output();
    }
}

TEST(ConsoleStop, BusyPortIsAClearError) {
    ConsoleProcess first;
    int const port = first.waitForPort();
    ASSERT_NE(port, 0) << first.output();
    ConsoleProcess second(port);
    EXPECT_EQ(second.waitForExit(10s), 1) << second.output();
    EXPECT_NE(second.output().find("cannot listen on 127.0.0.1:" + std::to_string(port)),
              std::string::npos)
        << second.output();
    // The first one still answers.
    auto const res = clientOf(port).Get("/api/resources");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
}

} // namespace
