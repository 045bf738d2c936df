// Inbound type 3: the shim's way to print on the host.

#include "inbound/cursor.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

void _zelvar_inbound_traffic_report_shim_message(pid_t pid, tid_t tid, void* message, uint32_t size)
{
    cursor in{message, size};
    const uint8_t* text = in.rest();
    // The text brings its own line end.
    if (text && text[in.rest_size() - 1] == 0)
        sidechannel_print("[SHIM MSG]%s", reinterpret_cast<const char*>(text));
    else
        LOG_FATAL("Skipping non-zero-terminated shim message len=[%d].", size);
    zelvar_shim_dispatch_leave_message_processing_loop(pid, tid);
}
