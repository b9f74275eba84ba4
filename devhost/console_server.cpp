// `tolmahost serve`: the web console, an HTTP server on the loopback address over one session.
#include "devhost/console_server.h"

#include "devhost/console_api.h"
#include "devhost/console_assets.h"
#include "devhost/events.h"
#include "devhost/host_error.h"
#include "devhost/printer.h"
#include "devhost/request.h"
#include "devhost/session.h"
#include "devhost/world_control.h"
#include "json/serializer.h"

#include <httplib.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <sys/socket.h>
#include <thread>

namespace tolmahost {

namespace {

constexpr char kAddress[] = "127.0.0.1";
constexpr char kJson[] = "application/json; charset=utf-8";
// Every open event stream and kept-alive connection holds a worker: enough for a few pages and
// a handful of scripts at once.
constexpr std::size_t kWorkers = 32;
// A request holds at most four arguments of the plug-in's 16 MiB limit's order; past this size
// the body is not even read.
constexpr std::size_t kLargestRequest = 20u * 1024u * 1024u;
// How often a waiting event stream looks whether the server stops, and how long it stays silent
// before a comment line shows whether the page is still there.
constexpr std::chrono::milliseconds kStreamPoll{250};
constexpr std::chrono::seconds kStreamHeartbeat{10};
constexpr time_t kKeepAliveSeconds = 2;

using httplib::Request;
using httplib::Response;
using httplib::Server;

// SO_REUSEADDR alone: a port that another server holds is an error, not a shared port.
void socketOptions(socket_t sock) {
    int yes = 1;
    setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

void answerJson(Response& res, int status, std::string const& json) {
    res.status = status;
    res.set_content(json, kJson);
}

char const* reasonOf(int status) {
    switch (status) {
    case 400:
        return "bad request";
    case 403:
        return "forbidden";
    case 404:
        return "no such path";
    case 405:
        return "method not allowed";
    case 413:
        return "the request is too large";
    default:
        return "request failed";
    }
}

std::uint64_t numberOr(std::string const& text, std::uint64_t fallback) {
    std::uint64_t number = 0;
    auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
    return !text.empty() && result.ec == std::errc() && result.ptr == text.data() + text.size()
               ? number
               : fallback;
}

class ConsoleServer {
public:
    explicit ConsoleServer(Session& session) : session_(session) {
        server_.new_task_queue = [] { return new httplib::ThreadPool(kWorkers); };
        server_.set_socket_options(socketOptions);
        server_.set_tcp_nodelay(true);
        server_.set_address_family(AF_INET);
        server_.set_keep_alive_max_count(1000);
        server_.set_keep_alive_timeout(kKeepAliveSeconds);
        server_.set_payload_max_length(kLargestRequest);
        server_.set_default_headers({{"Cache-Control", "no-store"},
                                     {"X-Content-Type-Options", "nosniff"}});
        server_.set_pre_routing_handler(
            [this](Request const& req, Response& res) { return refuseForeign(req, res); });
        server_.set_error_handler([](Request const&, Response& res) {
            if (res.body.empty())
                answerJson(res, res.status, console::errorJson(reasonOf(res.status)));
        });
        server_.set_exception_handler([](Request const&, Response& res, std::exception_ptr error) {
            std::string message = "unexpected failure";
            try {
                if (error)
                    std::rethrow_exception(error);
            } catch (std::exception const& e) {
                message += std::string(": ") + e.what();
            } catch (...) {
            }
            answerJson(res, 500, console::errorJson(message));
        });
        server_.Get("/api/resources",
                    [this](Request const&, Response& res) { listResources(res); });
        server_.Post("/api/call", [this](Request const& req, Response& res) { call(req, res); });
        server_.Post("/api/world", [this](Request const& req, Response& res) { world(req, res); });
        server_.Get("/api/events", [](Request const& req, Response& res) { stream(req, res); });
        server_.Get(R"(/[A-Za-z0-9._-]*)", [](Request const& req, Response& res) {
            console::Asset const* const asset = console::findAsset(req.path.c_str());
            if (asset == nullptr) {
                answerJson(res, 404, console::errorJson("no such path"));
                return;
            }
            res.set_content(asset->data, asset->size, asset->contentType);
        });
    }

    // The port bound (`port`, or the one the system chose for 0). Throws a HostError.
    int bind(int port) {
        errno = 0;
        int const bound = port == 0 ? server_.bind_to_any_port(kAddress)
                                    : (server_.bind_to_port(kAddress, port) ? port : -1);
        if (bound <= 0) {
            int const reason = errno;
            throw HostError(std::string("cannot listen on ") + kAddress + ":" +
                            std::to_string(port) +
                            (reason != 0 ? std::string(": ") + std::strerror(reason) : ""));
        }
        port_ = bound;
        return bound;
    }

    void listen() { server_.listen_after_bind(); }
    void stop() { server_.stop(); }

private:
    // A page elsewhere in the browser may send requests here (a cross-site form, a name that
    // resolves to the loopback address): only the loopback names and this port are served.
    Server::HandlerResponse refuseForeign(Request const& req, Response& res) const {
        std::string const host = req.get_header_value("Host");
        std::string const origin = req.get_header_value("Origin");
        std::string problem;
        if (!console::isLoopbackHost(host, port_))
            problem = "Host '" + host + "' is not this console's loopback address";
        else if (req.has_header("Origin") && !console::isLoopbackOrigin(origin, port_))
            problem = "Origin '" + origin + "' is not this console";
        if (problem.empty())
            return Server::HandlerResponse::Unhandled;
        res.set_header("Connection", "close");
        answerJson(res, 403, console::errorJson(problem));
        return Server::HandlerResponse::Handled;
    }

    void listResources(Response& res) const {
        sim::host::Plugin const& plugin = session_.plugin();
        std::vector<bool> exported;
        for (std::string const& name : sim::host::resourceNames())
            exported.push_back(plugin.resource(name) != nullptr);
        std::vector<bool> extraExported;
        for (std::string const& name : sim::host::extraFunctionNames())
            extraExported.push_back(plugin.symbol(name) != nullptr);
        answerJson(res, 200, console::resourcesJson(exported, extraExported));
    }

    void call(Request const& req, Response& res) {
        CallRequest request;
        try {
            request = console::callRequestFrom(req.body);
        } catch (console::ApiError const& error) {
            answerJson(res, error.status(), console::errorJson(error.what()));
            return;
        }
        Printer& printer = Printer::instance();
        CallResult result;
        try {
            result = sendRequest(session_, request);
        } catch (HostError const& error) {
            printer.flushLog();
            answerJson(res, 500, console::errorJson(error.what()));
            return;
        }
        char took[32];
        std::snprintf(took, sizeof took, "%.3f", result.milliseconds);
        printer.print("console: call " + request.resource + " " + request.options + " -> status " +
                      std::to_string(result.answer.statusCode) + " in " + took + " ms");
        printer.flushLog();
        answerJson(res, 200, console::callResultJson(result));
    }

    void world(Request const& req, Response& res) {
        try {
            std::vector<std::string> const words = console::worldCommandFrom(req.body);
            std::string output;
            {
                std::lock_guard<std::mutex> const turn(worldTurn_);
                output = runWorldCommand(words);
            }
            if (words[0] != "world" || (words[1] != "show" && words[1] != "list"))
                Printer::instance().print(output);
            pocketjson::Value answer(pocketjson::Type::Object);
            answer["output"] = pocketjson::Value(output);
            std::string text;
            pocketjson::Serializer::serialize(text, answer);
            answerJson(res, 200, text);
        } catch (console::ApiError const& error) {
            answerJson(res, error.status(), console::errorJson(error.what()));
        } catch (HostError const& error) {
            answerJson(res, error.exitStatus() == kExitUsage ? 400 : 409,
                       console::errorJson(error.what()));
        }
    }

    // Server-Sent Events: every event still kept, then each one as it is pushed; a stream that
    // comes back with Last-Event-ID (or ?after=N) goes on after that event.
    static void stream(Request const& req, Response& res) {
        std::uint64_t const after =
            numberOr(req.has_header("Last-Event-ID") ? req.get_header_value("Last-Event-ID")
                                                     : req.get_param_value("after"),
                     0);
        struct State {
            std::uint64_t cursor;
            std::chrono::steady_clock::time_point lastWrite;
            bool started = false;
        };
        auto state = std::make_shared<State>(State{after, std::chrono::steady_clock::now()});
        res.set_chunked_content_provider(
            "text/event-stream", [state](std::size_t, httplib::DataSink& sink) {
                EventBoard& board = EventBoard::instance();
                std::string text;
                if (!state->started) {
                    state->started = true;
                    text = "retry: 1000\n\n";
                }
                for (StreamedEvent const& event : board.streamedAfter(
                         state->cursor, text.empty() ? kStreamPoll : std::chrono::milliseconds(0))) {
                    text += "id: " + std::to_string(event.number) +
                            "\ndata: " + console::eventJson(event) + "\n\n";
                    state->cursor = event.number;
                }
                if (board.streamsClosed()) {
                    sink.done();
                    return true;
                }
                auto const now = std::chrono::steady_clock::now();
                if (text.empty() && now - state->lastWrite > kStreamHeartbeat)
                    text = ": still here\n\n";
                if (text.empty())
                    return true;
                state->lastWrite = now;
                return sink.write(text.data(), text.size());
            });
    }

    Session& session_;
    Server server_;
    int port_ = 0;
    std::mutex worldTurn_;
};

} // namespace

int parseServeWords(std::vector<std::string> const& words) {
    int port = kDefaultConsolePort;
    for (std::size_t i = 0; i < words.size(); ++i) {
        std::string word = words[i];
        std::string value;
        std::size_t const equals = word.find('=');
        if (equals != std::string::npos) {
            value = word.substr(equals + 1);
            word.resize(equals);
        } else if (word == "--port" && i + 1 < words.size()) {
            value = words[++i];
        } else if (word == "--port") {
            throw UsageError("serve: --port needs a value");
        }
        if (word != "--port")
            throw UsageError("serve: unexpected word '" + words[i] + "' (usage: serve [--port N])");
        auto const result = std::from_chars(value.data(), value.data() + value.size(), port);
        if (value.empty() || result.ec != std::errc() || result.ptr != value.data() + value.size() ||
            port < 0 || port > 65535)
            throw UsageError("serve: '" + value + "' is not a port (0 to 65535, 0: any free one)");
    }
    return port;
}

void serveConsole(HostOptions const& host, int port) {
    // The signals that end the console are taken by one thread; every other thread, the
    // plug-in's and the server's included, is made after this and leaves them blocked.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    Printer& printer = Printer::instance();
    printer.setTimestamps(host.timestamps);
    Session session(host, true);
    ConsoleServer server(session);
    int const bound = server.bind(port);
    printer.print("console: serving http://" + std::string(kAddress) + ":" +
                  std::to_string(bound) + "/ (SIGINT or SIGTERM ends it)");

    std::atomic<bool> listening{true};
    std::thread stopper([&] {
        int signal = 0;
        sigwait(&signals, &signal);
        if (signal != SIGUSR1)
            printer.print(std::string("console: ") + (signal == SIGINT ? "SIGINT" : "SIGTERM") +
                          ", stopping");
        EventBoard::instance().closeStreams();
        // The server may not have started listening yet: stop until it has ended.
        while (listening.load()) {
            server.stop();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    server.listen();
    listening.store(false);
    pthread_kill(stopper.native_handle(), SIGUSR1);
    stopper.join();
    printer.print("console: stopped");
}

} // namespace tolmahost
