#pragma once
// Starting applications as target processes.

#include <string>
#include <vector>

#include <csignal>
#include <sys/types.h>

namespace simulator {

/// Exit status of our own failures, and of applications that can't be started, as shells have them.
inline constexpr int status_own_failure = 125;
inline constexpr int status_not_executable = 126;
inline constexpr int status_not_found = 127;

/// The folder of the running program.
std::string program_folder();

/// The first of `candidates` that exists; empty if none does.
std::string first_existing(const std::vector<std::string>& candidates);

/// The folders that hold the target library for 64-bit and for 32-bit processes, as an LD_LIBRARY_PATH: the
/// loader passes over libraries of the other kind. `wish`: a folder to look in first. Empty: none found.
std::string shim_folders(const std::string& wish);

/// Copy of `environment` with what a target process needs.
std::vector<std::string> target_environment(char** environment, const std::string& shim_path,
                                            const std::string& socket_path, const std::string& frame_buffer);

/// Starts the application with the signal mask `mask`. Returns its process id, or -1 with errno set.
pid_t launch(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
             const sigset_t& mask);

/// Replaces this process by the application; returns only with errno set.
void become(const std::vector<std::string>& arguments, const std::vector<std::string>& environment);

/// Exit status for a wait status: the application's own, or 128 and the signal.
int exit_status(int wait_status);
/// Exit status for an application that could not be started.
int launch_failure_status(int error);

} // namespace simulator
