// Scratch directories, environment scopes, scripts, background children and the private bus.
#include "desktop_parts.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace desktop {

ScratchDirectory::ScratchDirectory() {
    char pattern[] = "/tmp/tolma-desktop-XXXXXX";
    if (mkdtemp(pattern) != nullptr)
        path_ = pattern;
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    if (!path_.empty()) {
        // Entries a test made unwritable or unreadable must still go.
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
}

EnvironmentScope::EnvironmentScope(std::string name, std::optional<std::string> const& value)
    : name_(std::move(name)) {
    if (char const* old = std::getenv(name_.c_str()))
        previous_ = old;
    if (value)
        setenv(name_.c_str(), value->c_str(), 1);
    else
        unsetenv(name_.c_str());
}

EnvironmentScope::~EnvironmentScope() {
    if (previous_)
        setenv(name_.c_str(), previous_->c_str(), 1);
    else
        unsetenv(name_.c_str());
}

bool hasProgram(std::string const& name) {
    char const* path = std::getenv("PATH");
    std::stringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (!folder.empty() && access((folder + "/" + name).c_str(), X_OK) == 0)
            return true;
    }
    return false;
}

void writeScript(std::string const& path, std::string const& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    chmod(path.c_str(), 0755);
}

std::string readFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

BackgroundProcess::BackgroundProcess(test::ProcessInput const& input, int outputFd) {
    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0)
        return;
    std::vector<std::string> texts = {input.program};
    texts.insert(texts.end(), input.arguments.begin(), input.arguments.end());
    std::vector<std::string> environment = test::childEnvironment(input);
    std::vector<char*> argv;
    for (std::string& text : texts)
        argv.push_back(text.data());
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (std::string& text : environment)
        envp.push_back(text.data());
    envp.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    if (outputFd >= 3)
        posix_spawn_file_actions_adddup2(&actions, out[1], outputFd);
    if (posix_spawnp(&pid_, input.program.c_str(), &actions, nullptr, argv.data(), envp.data()) !=
        0)
        pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    out_ = out[0];
}

BackgroundProcess::~BackgroundProcess() {
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
    }
    if (out_ >= 0)
        close(out_);
}

std::optional<std::string> BackgroundProcess::readLine(std::chrono::milliseconds timeout) {
    auto const deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        std::size_t const end = buffered_.find('\n');
        if (end != std::string::npos) {
            std::string line = buffered_.substr(0, end);
            buffered_.erase(0, end + 1);
            return line;
        }
        auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (out_ < 0 || left.count() <= 0)
            return std::nullopt;
        pollfd fd{out_, POLLIN, 0};
        if (poll(&fd, 1, static_cast<int>(left.count())) < 0 && errno != EINTR)
            return std::nullopt;
        if ((fd.revents & (POLLIN | POLLHUP)) == 0)
            continue;
        char chunk[256];
        ssize_t const n = read(out_, chunk, sizeof chunk);
        if (n <= 0)
            return std::nullopt;
        buffered_.append(chunk, static_cast<std::size_t>(n));
    }
}

PrivateBus::PrivateBus() {
    test::ProcessRun const run = test::runProcess(
        {"dbus-daemon", {"--session", "--fork", "--print-address=1", "--print-pid=1"}, "", {}});
    std::istringstream lines(run.out);
    std::string address;
    std::string pid;
    if (run.exitStatus == 0 && std::getline(lines, address) && std::getline(lines, pid)) {
        address_ = address;
        pid_ = static_cast<pid_t>(std::atoi(pid.c_str()));
    }
}

PrivateBus::~PrivateBus() {
    // The forked daemon is not this process's child: ending it is enough.
    if (pid_ > 0)
        kill(pid_, SIGTERM);
}

test::ProcessRun gdbus(std::string const& address, std::vector<std::string> const& arguments) {
    return test::runProcess(
        {"gdbus", arguments, "", {{"DBUS_SESSION_BUS_ADDRESS", address}, {"DISPLAY", ""}}});
}

} // namespace desktop
