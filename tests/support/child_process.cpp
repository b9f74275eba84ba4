// Runs a program as a child process: spawned with its own environment, input fed and both
// outputs drained together until it ends or its deadline passes.
#include "child_process.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace test {

std::vector<std::string> childEnvironment(ProcessInput const& input) {
    std::map<std::string, std::string> settings;
    for (auto const& setting : input.environment)
        settings[setting.first] = setting.second;
    std::vector<std::string> out;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string const text = *entry;
        if (settings.count(text.substr(0, text.find('='))) == 0)
            out.push_back(text);
    }
    for (auto const& setting : settings) {
        if (!setting.second.empty())
            out.push_back(setting.first + "=" + setting.second);
    }
    return out;
}

std::vector<char*> argumentPointers(std::vector<std::string>& texts) {
    std::vector<char*> out;
    for (std::string& text : texts)
        out.push_back(text.data());
    out.push_back(nullptr);
    return out;
}

std::string currentExecutable() {
    char self[4096];
    ssize_t const n = readlink("/proc/self/exe", self, sizeof self - 1);
    return std::string(self, n > 0 ? static_cast<std::size_t>(n) : 0);
}

ProcessRun runScenario(std::string const& name, std::chrono::milliseconds timeout) {
    ProcessInput input;
    input.program = currentExecutable();
    input.arguments = {"--scenario=" + name};
    input.timeout = timeout;
    return runProcess(input);
}

ProcessRun runProcess(ProcessInput const& input) {
    // A child that stops reading its input early must not end this process.
    std::signal(SIGPIPE, SIG_IGN);
    ProcessRun run;
    int in[2], out[2], err[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
        return run;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);

    std::vector<std::string> arguments = {input.program};
    arguments.insert(arguments.end(), input.arguments.begin(), input.arguments.end());
    std::vector<std::string> environment = childEnvironment(input);
    std::vector<char*> argv = argumentPointers(arguments);
    std::vector<char*> envp = argumentPointers(environment);
    pid_t pid = 0;
    int const spawned =
        posix_spawnp(&pid, input.program.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    close(err[1]);
    if (spawned != 0) {
        close(in[1]);
        close(out[0]);
        close(err[0]);
        return run;
    }

    // Feed stdin and drain stdout and stderr together, so that no pipe fills up.
    auto const deadline = std::chrono::steady_clock::now() + input.timeout;
    std::size_t written = 0;
    int inFd = in[1];
    if (input.stdinText.empty()) {
        close(inFd);
        inFd = -1;
    }
    bool outOpen = true, errOpen = true;
    while (outOpen || errOpen) {
        auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            run.timedOut = true;
            kill(pid, SIGKILL);
            break;
        }
        pollfd fds[3] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}, {inFd, POLLOUT, 0}};
        if (poll(fds, inFd >= 0 ? 3 : 2, static_cast<int>(left.count())) < 0 && errno != EINTR)
            break;
        char buffer[4096];
        for (int i = 0; i < 2; ++i) {
            if ((fds[i].revents & (POLLIN | POLLHUP)) == 0)
                continue;
            ssize_t const n = read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0)
                (i == 0 ? run.out : run.err).append(buffer, static_cast<std::size_t>(n));
            else if (n == 0 || errno != EINTR)
                (i == 0 ? outOpen : errOpen) = false;
        }
        if (inFd >= 0 && (fds[2].revents & (POLLOUT | POLLERR | POLLHUP)) != 0) {
            ssize_t const n = (fds[2].revents & POLLOUT) != 0
                                  ? write(inFd, input.stdinText.data() + written,
                                          input.stdinText.size() - written)
                                  : -1;
            if (n > 0)
                written += static_cast<std::size_t>(n);
            if (n < 0 || written == input.stdinText.size()) {
                close(inFd);
                inFd = -1;
            }
        }
    }
    if (inFd >= 0)
        close(inFd);
    close(out[0]);
    close(err[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status))
        run.exitStatus = WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        run.signal = WTERMSIG(status);
    return run;
}

} // namespace test
