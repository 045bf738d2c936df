// The maps of the registry and the sections that guard them. The maps live as long as the process, since
// workers may still be inside while exit handlers run.
#include "object_manager/records.h"

#include <type_traits>

critical_section__* pid_to_process_data_map_cs = nullptr;
critical_section__* pid_to_process_data_map_common_cs = nullptr;
critical_section__* pid_to_process_data_map_vk_cs = nullptr;
critical_section__* pid_to_process_net_data_map_cs = nullptr;
critical_section__* process_thread_id_pair_to_thread_data_map_cs = nullptr;
critical_section__* callback_map_cs = nullptr;
critical_section__* host_pixel_map_cs = nullptr;

namespace {
template <class Reference>
Reference never_destroyed()
{
    return *new std::remove_reference_t<Reference>;
}
} // namespace

#define NEVER_DESTROYED(name) decltype(name) name = never_destroyed<decltype(name)>()

NEVER_DESTROYED(pid_to_process_data_map);
NEVER_DESTROYED(pid_to_process_data_map_common);
NEVER_DESTROYED(pid_to_process_data_map_vk);
NEVER_DESTROYED(pid_to_process_net_data_map);
NEVER_DESTROYED(process_thread_id_pair_to_thread_data_map);
NEVER_DESTROYED(callback_map);
NEVER_DESTROYED(egl_target_to_source_sibling_map);
NEVER_DESTROYED(target_display_configs_map);
NEVER_DESTROYED(target_config_in_use_map);
NEVER_DESTROYED(host_pixel_map);
