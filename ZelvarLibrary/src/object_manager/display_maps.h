#pragma once
// Displays across processes. Both maps are guarded by pid_to_process_data_map_cs.

#include "wire/api.h"

#include <cstdint>
#include <map>

/// Target display to host display: lets a second process use a display that only a first one opened.
extern std::map<uint64_t, EGLDisplay>& global_display_mapping;
/// Host display to the number of initialisations that processes have not taken back.
extern std::map<EGLDisplay, uint32_t>& host_display_parameters_map;
