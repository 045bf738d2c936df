// zelvar-run: starts an application as a target of a zelvar-sim that listens.

#include "launch.h"
#include "link_endpoint.h"
#include "protocol.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace simulator;

namespace {

/// Asks the simulator for the size of the frame buffer. False, with errno set, when there is none.
bool ask(const std::string& path, device_link::welcome& answer)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    path.copy(address.sun_path, path.size());
    const descriptor link(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    device_link::hello greeting{};
    greeting.magic = device_link::magic;
    greeting.version = device_link::version;
    greeting.intent = static_cast<uint32_t>(device_link::intent::query);
    greeting.pid = static_cast<uint32_t>(getpid());
    if (connect(link.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        send(link.get(), &greeting, sizeof greeting, MSG_NOSIGNAL) != static_cast<ssize_t>(sizeof greeting))
        return false;
    errno = EPROTO;
    return recv(link.get(), &answer, sizeof answer, 0) == static_cast<ssize_t>(sizeof answer) &&
           answer.magic == device_link::magic &&
           answer.reception == static_cast<uint32_t>(device_link::reception::accepted);
}

int run(const std::string& socket_path, const std::string& shim, const std::vector<std::string>& application)
{
    device_link::welcome house{};
    if (!ask(socket_path, house)) {
        std::fprintf(stderr, "zelvar-run: no zelvar-sim at %s: %s\n", socket_path.c_str(),
                     std::strerror(errno));
        return status_own_failure;
    }
    const std::string shims = shim_folders(shim);
    if (shims.empty()) {
        std::fputs("zelvar-run: the target library is missing; name its folder with --shim DIR\n", stderr);
        return status_own_failure;
    }
    const std::string frame_buffer =
        std::to_string(house.frame_buffer_width) + "x" + std::to_string(house.frame_buffer_height);
    become(application, target_environment(environ, shims, first_existing({socket_path}), frame_buffer));
    const int fault = errno;
    std::fprintf(stderr, "zelvar-run: %s: %s\n", application[0].c_str(), std::strerror(fault));
    return launch_failure_status(fault);
}

/// What the command line asks for; the exit status.
int run_command_line(int argc, char** argv)
{
    CLI::App parser{"zelvar-run --connect SOCKET -- APP [ARGS...]\n\n"
                    "Runs an application as a target of a zelvar-sim that listens. The exit status is the\n"
                    "application's."};
    std::string socket_path, shim;
    std::vector<std::string> application;
    parser.add_option("--connect", socket_path, "Socket of zelvar-sim --listen")
        ->type_name("SOCKET")
        ->required();
    parser.add_option("--shim", shim, "Folder of the target library (default: beside this program)")
        ->type_name("DIR");
    parser.add_option("APP", application, "Application and its arguments")->required();
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError& fault) {
        return parser.exit(fault) == 0 ? 0 : status_own_failure;
    }
    return run(socket_path, shim, application);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run_command_line(argc, argv);
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "zelvar-run: %s\n", fault.what());
        return status_own_failure;
    }
}
