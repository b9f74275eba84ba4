// Runs the built tolmahost as a child process with given arguments, input and environment.
#include "host_process.h"

namespace devhost_test {

// The power settings that "power disable" writes stay inside the host process (GSettings'
// memory back end): a test never changes the desktop settings of the machine it runs on.
HostRun runHost(HostInput const& input) {
    test::ProcessInput process{
        TOLMAHOST_PATH,
        input.arguments,
        input.stdinText,
        {{"TOLMA_SIM_EXPORTS_DIR", ""}, {"TOLMAHOST_PLUGIN", ""}, {"GSETTINGS_BACKEND", "memory"}},
        input.timeout};
    process.environment.insert(process.environment.end(), input.environment.begin(),
                               input.environment.end());
    return test::runProcess(process);
}

HostRun runHost(std::vector<std::string> const& arguments) {
    HostInput input;
    input.arguments = arguments;
    return runHost(input);
}

std::vector<std::string> linesOf(std::string const& text) {
    std::vector<std::string> lines;
    std::size_t begin = 0;
    while (begin < text.size()) {
        std::size_t end = text.find('\n', begin);
        if (end == std::string::npos)
            end = text.size();
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

std::string withoutTimestamp(std::string const& line) {
    if (line.size() > 11 && line[0] == '[' && line[9] == ']' && line[10] == ' ')
        return line.substr(11);
    return line;
}

} // namespace devhost_test
