// Running a command through popen and reading the first line of what it prints.
#include "system/command_line.h"

namespace kavri::system {

namespace detail {

std::string GetLineFromFILE(std::FILE* stream) {
    std::string line;
    for (int c = std::fgetc(stream); c != EOF && c != '\n' && c != '\r'; c = std::fgetc(stream))
        line.push_back(static_cast<char>(c));
    return line;
}

} // namespace detail

bool RunCommandFirstLine(char const* command, std::string& firstLine) {
    firstLine.clear();
    std::FILE* pipe = ::popen(command, "r");
    if (pipe == nullptr)
        return false;
    firstLine = detail::GetLineFromFILE(pipe);
    // pclose waits for the command; what it prints after the first line is discarded unread.
    ::pclose(pipe);
    return true;
}

} // namespace kavri::system
