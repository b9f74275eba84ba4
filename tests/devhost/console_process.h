// `tolmahost serve` as a child process: its address, its output as it comes, a signal, its end.
#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace devhost_test {

class ConsoleProcess {
public:
    // Starts `tolmahost [hostOptions] serve --port PORT` (0: any) with stdout and stderr in one pipe.
    explicit ConsoleProcess(int port = 0, std::vector<std::string> const& hostOptions = {});
    // Kills a host still running.
    ~ConsoleProcess();
    ConsoleProcess(ConsoleProcess const&) = delete;
    ConsoleProcess& operator=(ConsoleProcess const&) = delete;

    // The port from the "serving http://127.0.0.1:PORT/" line; 0 when none came in time or the
    // host ended first.
    int waitForPort(std::chrono::milliseconds deadline = std::chrono::seconds(10));
    // True once `text` appeared in the output; false at the deadline.
    bool waitForOutput(std::string const& text, std::chrono::milliseconds deadline);
    std::string output();

    void signal(int number);
    // The exit status, -1 when it ended by a signal, -2 when it still runs at the deadline. Once it
    // ended, output() holds all it wrote.
    int waitForExit(std::chrono::milliseconds deadline);

private:
    pid_t pid_ = -1;
    int readEnd_ = -1;
    std::thread reader_;
    std::mutex mutex_;
    std::string output_;
    bool exited_ = false;
    int status_ = 0;
};

} // namespace devhost_test
