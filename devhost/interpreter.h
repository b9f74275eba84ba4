// The session's command interpreter: one line at a time, from the terminal, a script or the demo.
#pragma once

#include <istream>
#include <string>
#include <vector>

namespace tolmahost {

class Session;

// Splits a command line at blanks; a part in single quotes is kept as it is, blanks included.
// Throws a usage HostError for an unterminated quote.
std::vector<std::string> splitWords(std::string const& line);

class Interpreter {
public:
    explicit Interpreter(Session& session) : session_(session) {}

    // Runs one line (blank lines and # comments do nothing). False after quit or exit. A command
    // that fails throws a HostError.
    bool runLine(std::string const& line);

    // Reads commands until quit or the end of input, with a prompt when `prompt` is set; a
    // failing command prints "error: ..." and the session goes on.
    void runInteractive(std::istream& in, bool prompt);

    // Reads commands until quit or the end of input, printing each as "> LINE"; the first failing
    // command ends the run with a HostError "SOURCE:LINE: message".
    void runScript(std::istream& in, std::string const& source);

private:
    void call(std::vector<std::string> const& words);
    void callWithMethod(std::vector<std::string> const& words);
    void resources(std::vector<std::string> const& words);
    void wait(std::vector<std::string> const& words);
    void events(std::vector<std::string> const& words);
    void say(std::vector<std::string> const& words);
    void idle(std::vector<std::string> const& words);
    void power(std::vector<std::string> const& words);
    void help(std::vector<std::string> const& words);

    Session& session_;
};

// Prints what the plug-in exports: the resource functions, then the other functions.
void printExports(Session& session);

} // namespace tolmahost
