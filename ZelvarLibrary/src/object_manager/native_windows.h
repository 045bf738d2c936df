#pragma once
// Sizes of native windows that a client API told of. The registry and the two handlers that learn of windows
// keep a map each; all are guarded by pid_to_process_data_map_cs.

#include "zelvar_types.h"

#include <cstdint>
#include <map>
#include <tuple>

enum target_client_api : uint32_t
{
    client_api_wayland_egl = 1,
    client_api_ubm = 2,
};

/// Orders by pid, then window: a window is the same whichever API told of it.
struct _target_clientAPI_target_identifier_descriptor
{
    pid_t pid;
    uint64_t window;
    target_client_api client_api;
    bool operator<(const _target_clientAPI_target_identifier_descriptor& o) const
    {
        return std::tie(pid, window) < std::tie(o.pid, o.window);
    }
};

struct _target_clientAPI_target_descriptor
{
    uint64_t native_window;
    uint32_t width; // pixels
    uint32_t height;
};

using native_window_map =
    std::map<_target_clientAPI_target_identifier_descriptor, _target_clientAPI_target_descriptor>;
