// The host's one error type: a one-line message and the exit status it leads to.
#pragma once

#include <stdexcept>
#include <string>

namespace tolmahost {

constexpr int kExitFailure = 1; // the command was understood but could not be done
constexpr int kExitUsage = 2;   // the command line or a command is malformed

class HostError : public std::runtime_error {
public:
    explicit HostError(std::string const& message, int exitStatus = kExitFailure)
        : std::runtime_error(message), exitStatus_(exitStatus) {}
    int exitStatus() const { return exitStatus_; }

private:
    int exitStatus_;
};

// A malformed command line or command.
inline HostError UsageError(std::string const& message) {
    return HostError(message, kExitUsage);
}

} // namespace tolmahost
