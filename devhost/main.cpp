// tolmahost's entry point: the command line to a command; any failure to one line and a status.
#include "devhost/command_line.h"
#include "devhost/console_server.h"
#include "devhost/demo.h"
#include "devhost/host_error.h"
#include "devhost/interpreter.h"
#include "devhost/library_path.h"
#include "devhost/printer.h"
#include "devhost/request.h"
#include "devhost/session.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <unistd.h>

namespace {

using namespace tolmahost;

void expectWordCount(CommandLine const& line, std::size_t count, char const* usage) {
    if (line.words.size() != count)
        throw UsageError(std::string("usage: tolmahost [HOST OPTIONS] ") + usage);
}

int run(int argc, char** argv) {
    CommandLine const line = parseCommandLine(argc, argv);
    if (line.help || line.command == "help") {
        std::fputs(helpText().c_str(), stdout);
        return 0;
    }
    if (line.command.empty())
        throw UsageError("no command given (see --help)");
    putFirstOnLibraryPath(line.host.libusbDirectory, argv);

    Printer& printer = Printer::instance();
    if (line.command == "call") {
        // Checked before anything is loaded.
        CallRequest const request = parseCallWords(line.words);
        Session session(line.host, false);
        callAndPrint(session, request);
    } else if (line.command == "resources") {
        expectWordCount(line, 0, "resources");
        Session session(line.host, false);
        printExports(session);
    } else if (line.command == "shell") {
        expectWordCount(line, 0, "shell");
        printer.setTimestamps(line.host.timestamps);
        Session session(line.host, true);
        Interpreter(session).runInteractive(std::cin, isatty(STDIN_FILENO) == 1);
    } else if (line.command == "script") {
        expectWordCount(line, 1, "script FILE|-");
        std::string const& source = line.words[0];
        std::ifstream file;
        if (source != "-") {
            file.open(source);
            if (!file)
                throw HostError("cannot read the script " + source);
        }
        printer.setTimestamps(line.host.timestamps);
        Session session(line.host, true);
        Interpreter(session).runScript(source == "-" ? std::cin : file,
                                       source == "-" ? "<stdin>" : source);
    } else if (line.command == "serve") {
        int const port = parseServeWords(line.words);
        serveConsole(line.host, port);
    } else if (line.command == "demo") {
        expectWordCount(line, 0, "demo");
        printer.setTimestamps(line.host.timestamps);
        Session session(line.host, true);
        runDemo(session);
    } else {
        throw UsageError("unknown command '" + line.command + "' (see --help)");
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    // Output to a closed pipe ends in a write error, not in a signal.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (HostError const& error) {
        std::fprintf(stderr, "tolmahost: %s\n", error.what());
        return error.exitStatus();
    } catch (std::exception const& error) {
        std::fprintf(stderr, "tolmahost: unexpected failure: %s\n", error.what());
    } catch (...) {
        std::fprintf(stderr, "tolmahost: unexpected failure\n");
    }
    return kExitFailure;
}
