#include "library_under_test.h"

#include "inbound/message_table.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"
#include "sidechannel_plugin_interface_wrapper.h"
#include "sidechannel_zelvar_init.h"

#include <cstdlib>

namespace library_under_test {
scripted_target& target_over(void (*install_host)())
{
    static scripted_target* target = nullptr;
    if (!target) {
        sidechannel_set_log_level(0);
        setenv("TRV_ZELVAR_SETTINGS_PATH", "/nonexistent/settings.ini", 1);
        zelvar_settings_init();
        sidechannel_set_log_level(0);
        install_host();
        zelvar_inbound_traffic_init();
        zelvar_register_callbacks(pZelvar_LUT);
        sidechannel_init_zelvar(new PluginInterfaceWrapper);
        zelvar_object_manager_init(false);
        target = new scripted_target;
        zelvar_object_manager_stop_all_workers();
        zelvar_object_manager_deinit();
    }
    return *target;
}

void apply_settings(uint8_t settings)
{
    zelvar_settings.callOnTargetAPI = (settings & 3) % 3;
    zelvar_settings.callOnTarget = zelvar_settings.callOnTargetAPI != 0;
    zelvar_settings.batchCommands = settings & batched;
    zelvar_settings.batchTargetCommands = settings & target_batched;
    zelvar_only_settings.directTargetMemoryReads = settings & direct_reads;
    zelvar_only_settings.directTargetMemoryWrites = settings & direct_writes;
    zelvar_settings.checkErrorCode = settings & errors_checked;
    // Everything is formatted, or nothing.
    sidechannel_set_log_level(settings & loud ? 7000 : 0);
}

void begin(scripted_target& target, bool narrow_pointers, std::span<const uint8_t> script)
{
    zelvar_object_manager_init(false);
    zelvar_object_manager_set_target_bit(scripted_target::pid, 0, narrow_pointers ? 32 : 64);
    target.begin(script);
}

void end(scripted_target& target)
{
    target.end();
    zelvar_object_manager_stop_all_workers();
    zelvar_object_manager_deinit();
}
} // namespace library_under_test
