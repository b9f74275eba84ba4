// The session's command interpreter: one line at a time, from the terminal, a script or the demo.
#include "devhost/interpreter.h"

#include "devhost/command_line.h"
#include "devhost/events.h"
#include "devhost/host_error.h"
#include "devhost/printer.h"
#include "devhost/request.h"
#include "devhost/session.h"
#include "devhost/world_control.h"
#include "sim/host/plugin.h"

#include <chrono>
#include <cmath>
#include <thread>

namespace tolmahost {

namespace {

constexpr char kDefaultEventTimeout[] = "10";

std::chrono::milliseconds toMilliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<long long>(std::llround(seconds * 1000)));
}

std::vector<std::string> rest(std::vector<std::string> const& words) {
    return std::vector<std::string>(words.begin() + 1, words.end());
}

void expectNoArguments(std::vector<std::string> const& words) {
    if (words.size() > 1)
        throw UsageError(words[0] + " takes no arguments");
}

std::string sessionHelp() {
    std::string const text = helpText();
    std::size_t const begin = text.find("Session commands");
    std::size_t const end = text.find("Host options");
    return text.substr(begin, end - begin - 1);
}

} // namespace

std::vector<std::string> splitWords(std::string const& line) {
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    bool quoted = false;
    for (char const c : line) {
        if (quoted) {
            if (c == '\'')
                quoted = false;
            else
                word += c;
        } else if (c == '\'') {
            quoted = true;
            inWord = true;
        } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            if (inWord)
                words.push_back(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (quoted)
        throw UsageError("unterminated single quote");
    if (inWord)
        words.push_back(word);
    return words;
}

bool Interpreter::runLine(std::string const& line) {
    std::vector<std::string> const words = splitWords(line);
    if (words.empty() || words[0][0] == '#')
        return true;
    std::string const& command = words[0];
    if (command == "quit" || command == "exit") {
        expectNoArguments(words);
        return false;
    }
    using Handler = void (Interpreter::*)(std::vector<std::string> const&);
    struct Entry {
        char const* name;
        Handler handler;
    };
    static Entry const table[] = {
        {"call", &Interpreter::call},
        {"get", &Interpreter::callWithMethod},
        {"put", &Interpreter::callWithMethod},
        {"post", &Interpreter::callWithMethod},
        {"delete", &Interpreter::callWithMethod},
        {"resources", &Interpreter::resources},
        {"wait", &Interpreter::wait},
        {"events", &Interpreter::events},
        {"say", &Interpreter::say},
        {"idle", &Interpreter::idle},
        {"power", &Interpreter::power},
        {"help", &Interpreter::help},
    };
    for (Entry const& entry : table) {
        if (command == entry.name) {
            (this->*entry.handler)(words);
            return true;
        }
    }
    if (isWorldCommand(command)) {
        Printer::instance().print(runWorldCommand(words));
        return true;
    }
    throw UsageError("unknown command '" + command + "' (see 'help')");
}

void Interpreter::runInteractive(std::istream& in, bool prompt) {
    Printer& printer = Printer::instance();
    printer.setPrompt(prompt ? "tolma> " : "");
    std::string line;
    for (;;) {
        printer.showPrompt();
        bool const got = static_cast<bool>(std::getline(in, line));
        printer.promptAnswered();
        if (!got) {
            if (prompt)
                printer.print("");
            break;
        }
        try {
            if (!runLine(line))
                break;
        } catch (HostError const& error) {
            printer.print(std::string("error: ") + error.what());
        }
    }
    printer.setPrompt("");
}

void Interpreter::runScript(std::istream& in, std::string const& source) {
    Printer& printer = Printer::instance();
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        if (line.find_first_not_of(" \t\r") == std::string::npos)
            continue;
        printer.print("> " + line);
        try {
            if (!runLine(line))
                return;
        } catch (HostError const& error) {
            throw HostError(source + ":" + std::to_string(number) + ": " + error.what(),
                            error.exitStatus());
        }
    }
    if (in.bad())
        throw HostError(source + ": read error");
}

void Interpreter::call(std::vector<std::string> const& words) {
    callAndPrint(session_, parseCallWords(rest(words)));
}

void Interpreter::callWithMethod(std::vector<std::string> const& words) {
    callAndPrint(session_, parseCallWords(rest(words), words[0]));
}

void Interpreter::resources(std::vector<std::string> const& words) {
    expectNoArguments(words);
    printExports(session_);
}

void Interpreter::wait(std::vector<std::string> const& words) {
    if (words.size() >= 2 && words[1] == "event") {
        if (words.size() < 3 || words.size() > 4)
            throw UsageError("usage: wait event NAME [SECONDS]");
        std::string const secondsText = words.size() == 4 ? words[3] : kDefaultEventTimeout;
        double const seconds = parseSeconds(secondsText);
        PushedEvent event;
        if (!EventBoard::instance().waitFor(words[2], toMilliseconds(seconds), event)) {
            Printer::instance().flushLog();
            std::string const what = words[2] == "*" ? "event" : "'" + words[2] + "' event";
            throw HostError("no " + what + " within " + secondsText + " s");
        }
        Printer::instance().flushLog();
        return;
    }
    if (words.size() != 2)
        throw UsageError("usage: wait SECONDS | wait event NAME [SECONDS]");
    std::this_thread::sleep_for(toMilliseconds(parseSeconds(words[1])));
    Printer::instance().flushLog();
}

void Interpreter::events(std::vector<std::string> const& words) {
    expectNoArguments(words);
    std::vector<PushedEvent> const pending = EventBoard::instance().pending();
    std::string text = std::to_string(pending.size()) + " event(s) not waited for";
    for (PushedEvent const& event : pending)
        text += "\n  " + event.name + " " + event.json;
    Printer::instance().print(text);
}

void Interpreter::say(std::vector<std::string> const& words) {
    std::string text;
    for (std::size_t i = 1; i < words.size(); ++i)
        text += (i > 1 ? " " : "") + words[i];
    Printer::instance().print(text);
}

void Interpreter::idle(std::vector<std::string> const& words) {
    if (words.size() != 2 || words[1] != "reset")
        throw UsageError("usage: idle reset");
    session_.resetIdleTimer();
}

void Interpreter::power(std::vector<std::string> const& words) {
    if (words.size() == 2 && words[1] == "disable")
        session_.disablePowerSettings();
    else if (words.size() == 2 && words[1] == "restore")
        session_.restorePowerSettings();
    else
        throw UsageError("usage: power disable | power restore");
}

void Interpreter::help(std::vector<std::string> const& words) {
    expectNoArguments(words);
    Printer::instance().print(sessionHelp());
}

void printExports(Session& session) {
    sim::host::Plugin const& plugin = session.plugin();
    std::vector<std::string> const& resources = sim::host::resourceNames();
    std::string text;
    std::size_t exported = 0;
    for (std::string const& name : resources) {
        bool const present = plugin.resource(name) != nullptr;
        exported += present ? 1 : 0;
        text += "\n  " + name + (present ? "" : " (not exported)");
    }
    text = "the plug-in exports " + std::to_string(exported) + " of " +
           std::to_string(resources.size()) + " resources:" + text + "\nand the functions:";
    for (std::string const& name : sim::host::extraFunctionNames())
        text += "\n  " + name + (plugin.symbol(name) != nullptr ? "" : " (not exported)");
    Printer::instance().print(text);
}

} // namespace tolmahost
