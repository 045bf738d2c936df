#pragma once
// Starting programs from tests and looking at them from outside.

#include <string>
#include <vector>

#include <sys/types.h>

/// A child process whose output can be read and whose input can be ended. Killed with this object.
class process
{
public:
    explicit process(const std::vector<std::string>& command,
                     const std::vector<std::string>& more_environment = {});
    ~process();
    process(const process&) = delete;
    process& operator=(const process&) = delete;

    /// Reads output until this text has come; false at the end of the output or after ten seconds.
    bool wait_for_text(const std::string& text);
    void end_input();
    void signal(int number) const;
    /// Reads the rest of the output and waits for the end; the exit status, or 128 and the signal; -1 when it
    /// takes longer than `seconds`.
    int wait(int seconds = 60);
    const std::string& output() const { return _output; }
    pid_t pid() const { return _pid; }

    int threads() const;
    int descriptors() const;

private:
    bool read_some(int milliseconds);
    pid_t _pid = -1;
    int _input = -1;
    int _read = -1;
    std::string _output;
    bool _waited = false;
};

/// Runs a command to its end.
struct outcome
{
    int status;
    std::string output; // standard output and error
};
outcome run_command(const std::vector<std::string>& command,
                    const std::vector<std::string>& more_environment = {});

/// Whether an extended POSIX pattern is found in the text.
bool matches(const std::string& text, const char* pattern);
