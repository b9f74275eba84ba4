// Bookkeeping of one device stand-in: call counts, the call log and contract violations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace simdev {

class CallBook {
public:
    // `library` prefixes the violation reports on stderr; `functions` are the names it counts.
    CallBook(char const* library, std::vector<char const*> const& functions);
    CallBook(CallBook const&) = delete;
    CallBook& operator=(CallBook const&) = delete;

    // Counts one call of `function` and logs it as "function(arguments)".
    void record(char const* function, std::string const& arguments = {});
    // Counts one call without logging it (for calls made many times a second, such as polling).
    void count(char const* function);
    // Counts a contract violation and reports it on stderr.
    void violation(std::string const& what);
    // Forgets counts, log and violations; log entries handed out before become invalid.
    void reset();

    std::uint64_t callCount(char const* function) const; // 0 for an unknown name
    std::size_t logSize() const;
    char const* logAt(std::size_t index) const; // nullptr past the end
    std::size_t violations() const;

private:
    // The log stops growing here (the counts go on), so that a long session stays small.
    static constexpr std::size_t kLogLimit = 100000;

    mutable std::mutex mutex_;
    std::string library_;
    std::map<std::string, std::uint64_t> counts_;
    std::deque<std::string> log_; // a deque never moves its elements: pointers stay valid
    std::size_t violations_ = 0;
};

// Argument text for the call log.
std::string argument(char const* text); // "NULL" for a null pointer
std::string argument(std::uint64_t value);
std::string hexArgument(std::uint32_t value); // "0xFF23"
std::string joined(std::vector<std::string> const& arguments);

// True when the world makes this call of `function` fail (uses up one count).
bool failing(char const* function);

// Copies `text` into a C buffer of `size` bytes, cut to size - 1 bytes, NUL-terminated.
void copyText(std::string const& text, char* buffer, std::size_t size);

} // namespace simdev
