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

/// False when this kernel refuses programs of that kind, as some do with 32-bit ones. Anything else that may
/// be wrong with the program is for the test that runs it to find.
bool kernel_runs(const std::string& program);

/// The program in the folder of 64-bit ones and, where there is one and it can run, its 32-bit build. Says so
/// when that one is left out.
std::vector<std::string> builds_of(const std::string& program, const std::string& folder,
                                   const std::string& folder32);

/// Whether an extended POSIX pattern is found in the text.
bool matches(const std::string& text, const char* pattern);
