#include "processes.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <regex.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

process::process(const std::vector<std::string>& command, const std::vector<std::string>& more_environment)
{
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
        std::abort();
    std::vector<std::string> settings = more_environment;
    std::vector<char*> arguments;
    for (const std::string& each : command)
        arguments.push_back(const_cast<char*>(each.c_str()));
    arguments.push_back(nullptr);
    _pid = fork();
    if (_pid == 0) {
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(out[1], 2);
        for (std::string& each : settings)
            putenv(each.data());
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    _input = in[1];
    _read = out[0];
}

process::~process()
{
    end_input();
    if (!_waited) {
        kill(_pid, SIGKILL);
        waitpid(_pid, nullptr, 0);
    }
    close(_read);
}

bool process::read_some(int milliseconds)
{
    pollfd look{_read, POLLIN, 0};
    if (poll(&look, 1, milliseconds) <= 0)
        return false;
    char block[4096];
    const ssize_t got = read(_read, block, sizeof block);
    if (got > 0)
        _output.append(block, static_cast<size_t>(got));
    return got > 0;
}

bool process::wait_for_text(const std::string& text)
{
    while (_output.find(text) == std::string::npos) {
        if (!read_some(10000))
            return false;
    }
    return true;
}

void process::end_input()
{
    if (_input >= 0)
        close(_input);
    _input = -1;
}

void process::signal(int number) const
{
    kill(_pid, number);
}

int process::wait(int seconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    int status = 0;
    while (waitpid(_pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline)
            return -1;
        if (!read_some(20))
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    _waited = true;
    while (read_some(0)) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int process::threads() const
{
    std::ifstream status("/proc/" + std::to_string(_pid) + "/status");
    std::string word;
    int count = -1;
    while (status >> word) {
        if (word == "Threads:")
            status >> count;
    }
    return count;
}

int process::descriptors() const
{
    int count = 0;
    std::error_code fault;
    const std::filesystem::directory_iterator list("/proc/" + std::to_string(_pid) + "/fd", fault);
    for ([[maybe_unused]] const auto& each : list)
        ++count;
    return count;
}

outcome run_command(const std::vector<std::string>& command, const std::vector<std::string>& more_environment)
{
    process one{command, more_environment};
    one.end_input();
    const int status = one.wait();
    return {status, one.output()};
}

bool kernel_runs(const std::string& program)
{
    char* arguments[] = {const_cast<char*>(program.c_str()), nullptr};
    pid_t child = -1;
    const int fault = posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ);
    if (fault == 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    return fault != ENOEXEC;
}

std::vector<std::string> builds_of(const std::string& program, const std::string& folder,
                                   const std::string& folder32)
{
    std::vector<std::string> builds = {folder + "/" + program};
    if (folder32.empty())
        return builds;
    builds.push_back(folder32 + "/" + program);
    if (!kernel_runs(builds.back())) {
        std::cout << builds.back() << " is left out, since this kernel runs no 32-bit programs\n";
        builds.pop_back();
    }
    return builds;
}

bool matches(const std::string& text, const char* pattern)
{
    regex_t compiled;
    if (regcomp(&compiled, pattern, REG_EXTENDED | REG_NOSUB) != 0)
        std::abort();
    const bool found = regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
    regfree(&compiled);
    return found;
}
