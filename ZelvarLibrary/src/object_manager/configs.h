#pragma once
// What the config files share: rows and their classes, the target's list, the mapping, and the choice of a
// near host config. Rows are only read once `host_display_configs` is built.

#include "object_manager/records.h"

#include <cstdint>
#include <map>
#include <vector>

using config_list = std::vector<_zelvar_object_manager_config>;
using config_map = std::map<uint64_t, _zelvar_object_manager_config>;

/// The class that a config's colour sizes make, numbered like the Android native visual ids.
enum config_colour_class : int32_t
{
    colour_class_other = 0,
    colour_class_rgba8888 = 1,
    colour_class_rgb888 = 3,
    colour_class_rgb565 = 4,
    colour_class_rgba5551 = 6,
    colour_class_rgba4444 = 7,
};
config_colour_class colour_class_of(const _zelvar_object_manager_config& row);
bool same_colour(const _zelvar_object_manager_config& a, const _zelvar_object_manager_config& b);
/// Equal depth, stencil and samples.
bool same_buffers(const _zelvar_object_manager_config& a, const _zelvar_object_manager_config& b);
/// Depth, stencil and samples of `a` are at least those of `b`.
bool buffers_reach(const _zelvar_object_manager_config& a, const _zelvar_object_manager_config& b);
/// 8/8/8/0 with depth 24 and stencil 8 and no samples: the config that both lists put in front.
bool is_plain_rgb888(const _zelvar_object_manager_config& row);

/// The host row with that config id, or with that handle; null when there is none.
const _zelvar_object_manager_config* host_row_by_id(int32_t config_id);
const _zelvar_object_manager_config* host_row_by_handle(EGLConfig config);

/// Prints a list at DEBUG; `side` is "host" or "target".
void _dump_egl_config_informations(const config_list& rows, const char* side, uint64_t display);
/// Lists only handle and id of the host's configs at DEBUG.
void dump_host_config_ids();

/// Number of configs of the target's display; 0 when the target can't be asked.
uint32_t _get_target_egl_config_num(pid_t pid, tid_t tid, uint64_t target_display);
/// Fills `target_display_configs_map` for a display, replacing an earlier list. Talks to the target, so no
/// lock may be held.
void _init_target_egl(pid_t pid, tid_t tid, uint64_t target_display);
/// A copy of the target's list; false when there is none for the display.
bool copy_target_configs(const _target_display_descriptor& descriptor, config_list* rows);
/// The target's row of a config.
bool find_target_row(const _target_display_descriptor& descriptor, uint64_t target_config,
                     _zelvar_object_manager_config* row);

/// Pairs target configs with host configs. Talks to the target on the first need, so no lock may be held.
void _init_egl_config_mappings(pid_t pid, tid_t tid, uint64_t target_display, config_map* out);
/// The host config nearest to a target config, for targets that have an EGL of their own. Same rule.
EGLConfig _choose_host_config_for_target(uint64_t target_config,
                                         const _target_display_descriptor& descriptor);
/// Warns, once per change, that a target config runs on the fall-back. The caller holds
/// pid_to_process_data_map_cs.
void note_fallback_config_locked(uint64_t target_display, uint64_t target_config);
