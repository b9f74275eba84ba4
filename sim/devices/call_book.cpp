// Bookkeeping of one device stand-in: call counts, the call log and contract violations.
#include "sim/devices/call_book.h"

#include "sim/world/world.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace simdev {

CallBook::CallBook(char const* library, std::vector<char const*> const& functions)
    : library_(library) {
    for (char const* function : functions)
        counts_[function] = 0;
}

void CallBook::record(char const* function, std::string const& arguments) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++counts_[function];
    if (log_.size() < kLogLimit)
        log_.push_back(std::string(function) + "(" + arguments + ")");
}

void CallBook::count(char const* function) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++counts_[function];
}

void CallBook::violation(std::string const& what) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++violations_;
    std::fprintf(stderr, "%s sim: %s\n", library_.c_str(), what.c_str());
}

void CallBook::reset() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& entry : counts_)
        entry.second = 0;
    log_.clear();
    violations_ = 0;
}

std::uint64_t CallBook::callCount(char const* function) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (function == nullptr)
        return 0;
    auto const found = counts_.find(function);
    return found == counts_.end() ? 0 : found->second;
}

std::size_t CallBook::logSize() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return log_.size();
}

char const* CallBook::logAt(std::size_t index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return index < log_.size() ? log_[index].c_str() : nullptr;
}

std::size_t CallBook::violations() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return violations_;
}

std::string argument(char const* text) {
    return text == nullptr ? std::string("NULL") : std::string(text);
}

std::string argument(std::uint64_t value) {
    return std::to_string(value);
}

std::string hexArgument(std::uint32_t value) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "0x%04" PRIX32, value);
    return buffer;
}

std::string joined(std::vector<std::string> const& arguments) {
    std::string out;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (i > 0)
            out += ", ";
        out += arguments[i];
    }
    return out;
}

bool failing(char const* function) {
    return sim::world().shouldFail(function);
}

void copyText(std::string const& text, char* buffer, std::size_t size) {
    if (size == 0)
        return;
    std::size_t const length = text.size() < size - 1 ? text.size() : size - 1;
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

} // namespace simdev
