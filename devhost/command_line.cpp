// Command-line parsing: the host's options, the command and its words, a request's four arguments.
#include "devhost/command_line.h"

#include "devhost/host_error.h"
#include "json/parser.h"
#include "json/serializer.h"
#include "sim/host/plugin.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace tolmahost {

namespace {

constexpr char kPluginVariable[] = "TOLMAHOST_PLUGIN";
constexpr char kExportsVariable[] = "TOLMA_SIM_EXPORTS_DIR";
constexpr double kLongestWait = 24 * 60 * 60;

std::string environmentOr(char const* name, char const* fallback) {
    char const* value = std::getenv(name);
    return value != nullptr && value[0] != '\0' ? value : fallback;
}

// Walks "--name VALUE" and "--name=VALUE" options over a list of words.
class OptionReader {
public:
    OptionReader(std::vector<std::string> const& words, std::size_t first, std::string context)
        : words_(words), index_(first), context_(std::move(context)) {}

    bool done() const { return index_ >= words_.size(); }
    std::string const& peek() const { return words_[index_]; }
    bool isOption() const { return peek().size() > 2 && peek().compare(0, 2, "--") == 0; }
    std::size_t position() const { return index_; }

    // The option's name ("--body" for "--body=x") and moves past it.
    std::string takeName() {
        std::string const& word = words_[index_++];
        std::size_t const equals = word.find('=');
        if (equals == std::string::npos) {
            pendingValue_.clear();
            hasPendingValue_ = false;
            return word;
        }
        pendingValue_ = word.substr(equals + 1);
        hasPendingValue_ = true;
        return word.substr(0, equals);
    }

    std::string takeValue(std::string const& name) {
        if (hasPendingValue_) {
            hasPendingValue_ = false;
            return pendingValue_;
        }
        if (done())
            throw UsageError(context_ + name + " needs a value");
        return words_[index_++];
    }

    void refuseValue(std::string const& name) const {
        if (hasPendingValue_)
            throw UsageError(context_ + name + " takes no value");
    }

private:
    std::vector<std::string> const& words_;
    std::size_t index_;
    std::string context_;
    std::string pendingValue_;
    bool hasPendingValue_ = false;
};

std::string optionsWithMethod(std::string const& method) {
    pocketjson::Value options(pocketjson::Type::Object);
    options["method"] = pocketjson::Value(method);
    std::string text;
    pocketjson::Serializer::serialize(text, options);
    return text;
}

} // namespace

std::string jsonArgument(std::string const& what, std::string const& text) {
    std::string json = text;
    if (!text.empty() && text[0] == '@') {
        std::ifstream file(text.substr(1), std::ios::binary);
        std::ostringstream content;
        if (!file)
            throw HostError(what + ": cannot read " + text.substr(1));
        if (file.peek() != std::ifstream::traits_type::eof())
            content << file.rdbuf();
        json = content.str();
    }
    pocketjson::Value value;
    pocketjson::Parser parser;
    if (!parser.parse(json, value)) {
        std::string const reason = parser.error().empty() ? "malformed text" : parser.error();
        throw UsageError(what + " is not valid JSON (" + reason +
                         "): " + (json == text ? text : text.substr(1)));
    }
    return json;
}

CommandLine parseCommandLine(int argc, char** argv) {
    CommandLine line;
    line.host.pluginPath = environmentOr(kPluginVariable, TOLMAHOST_DEFAULT_PLUGIN);
    line.host.exportsDirectory = environmentOr(kExportsVariable, TOLMAHOST_DEFAULT_EXPORTS);
    line.host.libusbDirectory = TOLMAHOST_DEFAULT_LIBUSB;

    std::vector<std::string> const words(argv + (argc > 0 ? 1 : 0), argv + (argc > 0 ? argc : 0));
    OptionReader reader(words, 0, "");
    while (!reader.done()) {
        if (reader.peek() == "-h" || reader.peek() == "--help") {
            line.help = true;
            return line;
        }
        if (!reader.isOption())
            break;
        std::string const name = reader.takeName();
        if (name == "--plugin") {
            line.host.pluginPath = reader.takeValue(name);
        } else if (name == "--exports") {
            line.host.exportsDirectory = reader.takeValue(name);
        } else if (name == "--absent") {
            line.host.absentLibraries.push_back(reader.takeValue(name));
        } else if (name == "--libusb") {
            std::string const directory = reader.takeValue(name);
            line.host.libusbDirectory = directory == "system" ? "" : directory;
        } else if (name == "--world") {
            line.host.worldFile = reader.takeValue(name);
        } else if (name == "--no-log") {
            reader.refuseValue(name);
            line.host.showLog = false;
        } else if (name == "--no-timestamps") {
            reader.refuseValue(name);
            line.host.timestamps = false;
        } else if (name == "--help") {
            line.help = true;
            return line;
        } else {
            throw UsageError("unknown option " + name +
                             " (host options go before the command; "
                             "see --help)");
        }
    }
    if (reader.done())
        return line;
    line.command = words[reader.position()];
    line.words.assign(words.begin() + static_cast<std::ptrdiff_t>(reader.position()) + 1,
                      words.end());
    if (!line.words.empty() && (line.words[0] == "--help" || line.words[0] == "-h"))
        line.help = true;
    return line;
}

CallRequest parseCallWords(std::vector<std::string> const& words, std::string const& method) {
    std::string const context = method.empty() ? "call: " : method + ": ";
    if (words.empty() || (words[0].size() > 1 && words[0].compare(0, 2, "--") == 0))
        throw UsageError(context + "which resource? (see 'resources')");
    CallRequest request;
    request.resource = words[0];
    if (!sim::host::isResource(request.resource))
        throw UsageError(context + "unknown resource '" + request.resource +
                         "' (see 'resources' for the list)");
    std::string chosenMethod = method.empty() ? "get" : method;
    std::string options;
    request.parameters = "{}";
    request.query = "{}";

    OptionReader reader(words, 1, context);
    while (!reader.done()) {
        if (!reader.isOption())
            throw UsageError(context + "unexpected word '" + reader.peek() + "'");
        std::string const name = reader.takeName();
        if (name == "--method" && method.empty()) {
            chosenMethod = reader.takeValue(name);
        } else if (name == "--options" && method.empty()) {
            options = jsonArgument(name, reader.takeValue(name));
        } else if (name == "--params") {
            request.parameters = jsonArgument(name, reader.takeValue(name));
        } else if (name == "--query") {
            request.query = jsonArgument(name, reader.takeValue(name));
        } else if (name == "--body") {
            request.body = reader.takeValue(name);
        } else if (name == "--pretty") {
            reader.refuseValue(name);
            request.pretty = true;
        } else {
            throw UsageError(context + "unknown option " + name);
        }
    }
    request.options = options.empty() ? optionsWithMethod(chosenMethod) : options;
    return request;
}

double parseSeconds(std::string const& text) {
    double seconds = 0;
    char const* const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, seconds);
    if (text.empty() || result.ec != std::errc() || result.ptr != end || !std::isfinite(seconds) ||
        seconds < 0 || seconds > kLongestWait)
        throw UsageError("'" + text + "' is not a number of seconds (0 to 86400)");
    return seconds;
}

std::string helpText() {
    return R"(Usage: tolmahost [HOST OPTIONS] COMMAND [ARGUMENTS]

The development host loads libtolma.so.2 with dlopen as a real host does, plays the host's page
bridge through the simulator's stand-in, calls Setup before the first command and TearDown at the
end, and prints every answer, log line and pushed event.

Commands:
  call RESOURCE [--method M] [--options JSON] [--params JSON] [--query JSON] [--body TEXT] [--pretty]
        Sends one request: options {"method":M} (M defaults to get; --options sends its own JSON
        instead), parameters and query (default {}), body (default empty, any text). Prints
        "status N", the answer (compact, or indented with --pretty) and the log lines written.
        A JSON value given as @FILE is read from FILE.
  shell
        Interactive session: reads session commands from the terminal after a "tolma> " prompt
        and keeps the plug-in loaded, so that watchers and device managers live on. Events are
        printed as they are pushed. End with quit or end of input.
  script FILE|-
        Runs session commands from FILE (- for standard input), echoing each one; stops at the
        first failing command with FILE:LINE and a non-zero exit.
  serve [--port N]
        The web console: serves a page on http://127.0.0.1:N/ (default 8420; 0 picks a free port,
        printed at start) from which every resource can be called, events watched and the
        simulated world changed, over one session as in shell. Its JSON API: POST /api/call,
        GET /api/events (Server-Sent Events), POST /api/world, GET /api/resources. Only requests
        whose Host and Origin are the loopback address are served. SIGINT or SIGTERM ends it.
  demo
        A short tour of the default world: what the plug-in exports and serves today.
  resources
        Lists the functions that libtolma.so.2 exports.
  help
        This text.

Session commands (shell, script):
  call RESOURCE [...]               as above
  get|put|post|delete RESOURCE [--params JSON] [--query JSON] [--body TEXT] [--pretty]
                                    call with that method
  resources                         the exported functions
  wait SECONDS                      let time pass while events are printed (e.g. wait 3.5)
  wait event NAME [SECONDS]         wait for the next NAME event not waited for before (* = any);
                                    fails after SECONDS (default 10)
  events                            the events pushed so far and not yet waited for
  say TEXT                          prints TEXT
  idle reset                        calls TolmaResetSystemIdleTimer
  power disable | power restore     TolmaDisablePowerManagementSettings, then
                                    TolmaRestorePowerManagementSettings with what it saved
  world load FILE                   replace the simulated world by a world file (JSON)
  world default                     the built-in default world again, with no failing calls
  world list                        one line per screen and device of the world
  world show                        the current world as JSON
  world patch JSON                  merge JSON into the world (null removes a member)
  plug monitor|sensor|serial-sensor|lighting ID
  unplug monitor|sensor|serial-sensor|lighting ID
                                    attach or detach a device of the world (ID: the monitor's
                                    or lighting device's serial, the sensor's device id)
  screens change JSON               replace the world's screens by a JSON array of screens
  screens event                     deliver a screen-change event without changing anything
  fail FUNCTION [COUNT|always]      make the next COUNT (default 1) calls of a library function
                                    fail; fail clear: no failing calls any more
  help                              the session commands
  quit | exit                       end the session (TearDown, then unload)
  Words are separated by blanks; a part in single quotes is kept as it is ('{"a": 1}'), double
  quotes are ordinary characters; a JSON argument given as @FILE is read from FILE; a line
  starting with # is a comment.

Host options (before the command):
  --plugin PATH       libtolma.so.2 to load; else $TOLMAHOST_PLUGIN, else the build's
  --exports DIR       the exports directory (run-time libraries, the logging library); else
                      $TOLMA_SIM_EXPORTS_DIR, else the build's stand-in folder
  --absent LIBRARY    leave a run-time library out of the exports directory (a composed copy),
                      e.g. --absent pelto; may be repeated
  --libusb DIR|system the folder put first on LD_LIBRARY_PATH (the host restarts itself with it)
                      so that the plug-in finds that libusb; default: the simulator's fake
                      libusb; system: the library path is left alone
  --world FILE        load this world file before Setup
  --no-log            do not print log lines
  --no-timestamps     no "[seconds]" prefix on session output
  -h, --help          this text

Exit status: 0 done (whatever status the answers had); 1 a command could not be done (the
plug-in or a file missing, a world error, a wait that timed out); 2 a malformed command line or
command (unknown command, option or resource, JSON that does not parse, a bad number).
)";
}

} // namespace tolmahost
