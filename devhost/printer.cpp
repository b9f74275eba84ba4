// Everything the host prints: answers, log lines, events and its own notes, from any thread.
#include "devhost/printer.h"

#include "json/parser.h"
#include "json/serializer.h"
#include "sim/host/recorded.h"

#include <cstdio>

namespace tolmahost {

namespace {

void write(std::string const& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

std::string indented(std::string const& json) {
    pocketjson::Value value;
    pocketjson::Parser parser;
    if (!parser.parse(json, value))
        return json;
    pocketjson::SerializeAttributes attributes;
    attributes.pretty = true;
    attributes.indent = "  ";
    attributes.newline = "\n";
    std::string text;
    if (!pocketjson::Serializer::serialize(text, value, attributes, 0))
        return json;
    return text;
}

} // namespace

Printer& Printer::instance() {
    static Printer* const printer = new Printer;
    return *printer;
}

Printer::Printer() : start_(std::chrono::steady_clock::now()) {}

void Printer::setTimestamps(bool on) {
    std::lock_guard<std::mutex> lock(mutex_);
    timestamps_ = on;
}

void Printer::setLogSource(sim::host::LoggingStandIn const* log, bool show) {
    std::lock_guard<std::mutex> lock(mutex_);
    log_ = log;
    showLog_ = show;
    logCursor_ = log != nullptr ? log->count() : 0;
}

void Printer::setPrompt(std::string prompt) {
    std::lock_guard<std::mutex> lock(mutex_);
    prompt_ = std::move(prompt);
}

void Printer::showPrompt() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (prompt_.empty())
        return;
    promptShowing_ = true;
    restorePromptLocked();
}

void Printer::promptAnswered() {
    std::lock_guard<std::mutex> lock(mutex_);
    promptShowing_ = false;
}

void Printer::print(std::string const& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    interruptPromptLocked();
    printLocked(text);
    restorePromptLocked();
}

void Printer::answer(std::int32_t status, std::string const& json, bool pretty) {
    std::lock_guard<std::mutex> lock(mutex_);
    interruptPromptLocked();
    printLocked("status " + std::to_string(status));
    printLocked(pretty ? indented(json) : json);
    restorePromptLocked();
}

void Printer::event(std::string const& name, std::string const& json) {
    std::lock_guard<std::mutex> lock(mutex_);
    interruptPromptLocked();
    flushLogLocked();
    printLocked("event " + name + " " + json);
    restorePromptLocked();
}

void Printer::flushLog() {
    std::lock_guard<std::mutex> lock(mutex_);
    interruptPromptLocked();
    flushLogLocked();
    restorePromptLocked();
}

void Printer::printLocked(std::string const& text) {
    char stamp[32] = "";
    if (timestamps_) {
        std::chrono::duration<double> const elapsed = std::chrono::steady_clock::now() - start_;
        std::snprintf(stamp, sizeof stamp, "[%8.3f] ", elapsed.count());
    }
    std::size_t begin = 0;
    while (begin <= text.size()) {
        std::size_t end = text.find('\n', begin);
        if (end == std::string::npos)
            end = text.size();
        write(stamp + text.substr(begin, end - begin) + "\n");
        begin = end + 1;
    }
    std::fflush(stdout);
}

void Printer::flushLogLocked() {
    if (log_ == nullptr)
        return;
    for (sim::LogLine const& line : log_->lines(logCursor_)) {
        ++logCursor_;
        if (showLog_)
            printLocked("log [" + line.name + "] " + std::to_string(line.level) + ": " + line.line);
    }
}

// Anything printed while the prompt waits goes on its own line, and the prompt follows it again.
void Printer::interruptPromptLocked() {
    if (promptShowing_)
        write("\n");
}

void Printer::restorePromptLocked() {
    if (promptShowing_) {
        write(prompt_);
        std::fflush(stdout);
    }
}

} // namespace tolmahost
