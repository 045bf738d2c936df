#pragma once
// The settings exchange.

#include "zelvar_types.h"

/// Decodes the first message of a target process: takes its screen size and pointer width, reads the settings
/// file afresh and sends the shared block (and the white list, where errors are compared) into its memory. A
/// message that is cut off gives zeros and changes no target memory. Runs on the target thread's worker;
/// always releases the target.
void _zelvar_inbound_traffic_get_settings(pid_t pid, tid_t tid, void* message, uint32_t size);
