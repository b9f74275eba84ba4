// `tolmahost serve` as a child process: its address, its output as it comes, a signal, its end.
#include "console_process.h"

#include "child_process.h"
#include "wait_until.h"

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace devhost_test {

ConsoleProcess::ConsoleProcess(int port, std::vector<std::string> const& hostOptions) {
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0)
        return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDERR_FILENO);
    std::vector<std::string> arguments = {TOLMAHOST_PATH};
    arguments.insert(arguments.end(), hostOptions.begin(), hostOptions.end());
    arguments.insert(arguments.end(), {"--no-timestamps", "serve", "--port", std::to_string(port)});
    test::ProcessInput input;
    input.environment = {
        {"TOLMA_SIM_EXPORTS_DIR", ""}, {"TOLMAHOST_PLUGIN", ""}, {"GSETTINGS_BACKEND", "memory"}};
    std::vector<std::string> environment = test::childEnvironment(input);
    std::vector<char*> argv = test::argumentPointers(arguments);
    std::vector<char*> envp = test::argumentPointers(environment);
    if (posix_spawn(&pid_, TOLMAHOST_PATH, &actions, nullptr, argv.data(), envp.data()) != 0)
        pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    readEnd_ = pipeEnds[0];
    reader_ = std::thread([this] {
        char buffer[4096];
        for (;;) {
            ssize_t const got = read(readEnd_, buffer, sizeof buffer);
            if (got <= 0)
                break;
            std::lock_guard<std::mutex> lock(mutex_);
            output_.append(buffer, static_cast<std::size_t>(got));
        }
    });
}

ConsoleProcess::~ConsoleProcess() {
    if (pid_ > 0 && waitForExit(std::chrono::milliseconds(0)) == -2) {
        kill(pid_, SIGKILL);
        waitForExit(std::chrono::seconds(10));
    }
    if (reader_.joinable())
        reader_.join();
    if (readEnd_ >= 0)
        close(readEnd_);
}

int ConsoleProcess::waitForPort(std::chrono::milliseconds deadline) {
    std::string const serving = "serving http://127.0.0.1:";
    int port = 0;
    test::waitUntil([&] {
        std::string const text = output();
        std::size_t const at = text.find(serving);
        std::size_t const end = at == std::string::npos ? at : text.find('/', at + serving.size());
        if (end != std::string::npos)
            port = std::stoi(text.substr(at + serving.size(), end - at - serving.size()));
        return port != 0 || waitForExit(std::chrono::milliseconds(0)) != -2;
    }, deadline);
    return port;
}

bool ConsoleProcess::waitForOutput(std::string const& text, std::chrono::milliseconds deadline) {
    return test::waitUntil([&] { return output().find(text) != std::string::npos; }, deadline);
}

std::string ConsoleProcess::output() {
    std::lock_guard<std::mutex> lock(mutex_);
    return output_;
}

void ConsoleProcess::signal(int number) {
    if (pid_ > 0)
        kill(pid_, number);
}

int ConsoleProcess::waitForExit(std::chrono::milliseconds deadline) {
    if (pid_ <= 0)
        return -1;
    test::waitUntil([&] {
        if (!exited_) {
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                exited_ = true;
                status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
        }
        return exited_;
    }, deadline);
    // Everything it wrote is read once the pipe ends.
    if (exited_ && reader_.joinable())
        reader_.join();
    return exited_ ? status_ : -2;
}

} // namespace devhost_test
