#include "zelvar_init.h"

#include "hosttables/host_tables.h"
#include "inbound/message_table.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_request.h"
#include "sidechannel_log.h"
#include "sidechannel_plugin_interface_wrapper.h"
#include "sidechannel_upcalls.h"
#include "sidechannel_zelvar_init.h"
#include "sidechannel_zelvar_ipc.h"
#include "workers/zelvar_context_worker.h"
#include "zelvar/zelvar.h"

void hostRenderer_getAPIVersion(uint32_t* major, uint32_t* minor)
{
    *major = 3;
    *minor = 1;
}

void zelvar_init(PluginInterfaceWrapper* plugin)
{
    LOG_ALWAYS("INFO", "TRV revision %s.", zelvar_revision);
    zelvar_settings_init();
    if (zelvar_target_gpu() != TARGET_GPU_NONE) {
        uint32_t major = 0;
        uint32_t minor = 0;
        hostRenderer_getAPIVersion(&major, &minor);
        LOG_DEBUG("host_renderer_version (%d.%d)", major, minor);
    }
    zelvar_imports_init();
    zelvar_inbound_traffic_init();
    zelvar_object_manager_init(false);
    zelvar_register_callbacks(pZelvar_LUT);
    sidechannel_init_zelvar(plugin);
    sidechannel_ipc_start_server();
}

void zelvar_deinit()
{
    // Workers use everything below: they end first, and none may wait for a target any more.
    zelvar_shim_dispatch_abandon_waits(true);
    zelvar_object_manager_stop_all_workers();

    sidechannel_deinit_zelvar();
    if (zelvar_settings.white_list)
        sidechannel_error_check_white_list_deinit(*zelvar_settings.white_list);
    zelvar_imports_deinit();
    zelvar_inbound_traffic_deinit();
    zelvar_object_manager_deinit();

    sidechannel_forget_plugin_singleton();
    zelvar_shim_dispatch_abandon_waits(false);
}
