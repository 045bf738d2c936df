#include "sidechannel_zelvar_ipc.h"

#include "sidechannel_log.h"

#include <atomic>
#include <cstdint>

namespace {

constinit std::atomic<int32_t> _zelvar_server_socket{-1};
constinit std::atomic<uint8_t> ipc_shutdown{1};

} // namespace

void sidechannel_ipc_init_zelvar()
{
    ipc_shutdown.store(0);
}

void sidechannel_ipc_deinit_zelvar()
{
    ipc_shutdown.store(1);
    _zelvar_server_socket.store(-1); // the next entry call starts the server again
}

bool sidechannel_ipc_start_server()
{
    ZELVAR_ASSERT_TEXT(_zelvar_server_socket.load() == -1, "_zelvar_server_socket == (-1)");
    if (_zelvar_server_socket.load() == -1)
        _zelvar_server_socket.store(1);
    else
        LOG_ERROR("Server already started. Won't restart.");
    return false;
}
