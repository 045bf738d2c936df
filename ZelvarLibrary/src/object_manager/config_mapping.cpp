// Which host config stands behind a target config.

#include "object_manager/configs.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"

#include <algorithm>

namespace {
/// The target's rows while partners are handed out.
class partner_search
{
public:
    partner_search(const config_list& targets, config_map* out)
        : _targets(targets), _taken(targets.size(), false), _out(*out)
    {
    }

    /// Gives the host row to the first free target row that `fits`; at most one.
    template <class Fits>
    void give(const _zelvar_object_manager_config& host, Fits fits)
    {
        for (size_t i = 0; i < _targets.size(); ++i) {
            if (_taken[i] || !fits(_targets[i], host))
                continue;
            auto row = _targets[i];
            row.host_config = host.host_config;
            _out.insert_or_assign(row.target_config, row);
            _taken[i] = true;
            return;
        }
    }

    bool is_given(EGLConfig host_config) const
    {
        return std::any_of(_out.begin(), _out.end(),
                           [&](const auto& entry) { return entry.second.host_config == host_config; });
    }

private:
    const config_list& _targets;
    std::vector<bool> _taken;
    config_map& _out;
};

bool is_exact(const _zelvar_object_manager_config& target, const _zelvar_object_manager_config& host)
{
    return same_colour(target, host) && same_buffers(target, host);
}

/// RGB565 runs on RGBA8888: a frame is converted when it is read back.
bool is_widening(const _zelvar_object_manager_config& target, const _zelvar_object_manager_config& host)
{
    return same_buffers(target, host) && colour_class_of(target) == colour_class_rgb565 &&
           colour_class_of(host) == colour_class_rgba8888;
}

void check_forced_id()
{
    auto forced = static_cast<int32_t>(setting(zelvar_only_settings.forceHostEGLConfigID));
    if (forced == 0)
        return;
    _dump_egl_config_informations(*host_display_configs, "host", 0);
    if (host_row_by_id(forced))
        return;
    LOG_FATAL(
        "zelvar_only_settings.forceHostEGLConfigID is enabled, but the specified value %d does not have a "
        "valid host side config.",
        forced);
    dump_host_config_ids();
}

bool has_mapping(pid_t pid, uint64_t target_display)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto process = pid_to_process_data_map.find(pid);
    return process == pid_to_process_data_map.end() || process->second.configs.contains(target_display);
}
} // namespace

void _init_egl_config_mappings(pid_t pid, tid_t tid, uint64_t target_display, config_map* out)
{
    const _target_display_descriptor descriptor{pid, tid, target_display};
    config_list targets;
    if (!copy_target_configs(descriptor, &targets)) {
        _init_target_egl(pid, tid, target_display);
        copy_target_configs(descriptor, &targets);
    }
    if (!host_display_configs)
        return;
    check_forced_id();

    partner_search search{targets, out};
    for (const auto& host : *host_display_configs)
        search.give(host, is_exact);
    if (zelvar_call_on_target())
        return;
    for (const auto& host : *host_display_configs)
        if (!search.is_given(host.host_config))
            search.give(host, is_widening);
}

void _ensure_egl_config_mappings(pid_t pid, tid_t tid, uint64_t target_display)
{
    if (has_mapping(pid, target_display))
        return;
    config_map mapping; // built outside the lock, since the target may be asked
    _init_egl_config_mappings(pid, tid, target_display, &mapping);
    Autolock process_lock{pid_to_process_data_map_cs};
    auto process = pid_to_process_data_map.find(pid);
    if (process != pid_to_process_data_map.end())
        process->second.configs.try_emplace(target_display, std::move(mapping));
}

namespace {
bool find_target_row_logged(const _target_display_descriptor& descriptor, uint64_t target_config,
                            _zelvar_object_manager_config* row)
{
    if (find_target_row(descriptor, target_config, row))
        return true;
    config_list rows;
    if (copy_target_configs(descriptor, &rows))
        LOG_WARN("Could not find target config [%#lx] in target_display_configs_map[%#lx]", target_config,
                 descriptor.target_display);
    else
        LOG_WARN("Could not find target display [%#lx] in target_display_configs_map.",
                 descriptor.target_display);
    return false;
}

/// The best config of a class so far: the lowest id wins, 0 stands for none.
struct candidate
{
    EGLConfig config;
    int32_t id = 0;

    bool is_improved_by(const _zelvar_object_manager_config& row) const
    {
        return id == 0 || row.config_id < id;
    }
    void take(const _zelvar_object_manager_config& row)
    {
        config = row.host_config;
        id = row.config_id;
    }
};

/// A: same colour, buffers reach. B: same colour. C: 8/8/8/8, buffers reach. A class counts only while no
/// better one was found.
EGLConfig nearest_host_config(const _zelvar_object_manager_config& target, EGLConfig fallback)
{
    candidate a{fallback}, b{fallback}, c{fallback};
    bool a_found = false;
    bool b_found = false;
    for (const auto& host : *host_display_configs) {
        bool same = same_colour(host, target);
        bool reaches = buffers_reach(host, target);
        if (same && reaches && a.is_improved_by(host)) {
            a.take(host);
            a_found = b_found = true;
        } else if (same && b.is_improved_by(host) && !a_found) {
            b.take(host);
            b_found = true;
        } else if (colour_class_of(host) == colour_class_rgba8888 && reaches && c.is_improved_by(host) &&
                   !a_found && !b_found) {
            c.take(host);
        }
    }
    for (const auto& best : {a, b, c})
        if (best.id != 0)
            return best.config;
    return fallback;
}
} // namespace

EGLConfig _choose_host_config_for_target(uint64_t target_config, const _target_display_descriptor& descriptor)
{
    EGLConfig top_config = local_native_display_top_config;
    _zelvar_object_manager_config target;
    bool found = find_target_row_logged(descriptor, target_config, &target);
    if (!found) {
        LOG_WARN("Try to reset target_display_configs_map[%#lx]", descriptor.target_display);
        _init_target_egl(descriptor.pid, descriptor.tid, descriptor.target_display);
        found = find_target_row_logged(descriptor, target_config, &target);
    }
    if (!found || !host_display_configs) {
        LOG_ERROR("Could not find target config [%#lx] in target_display_configs_map[%#lx]. Return "
                  "local_native_display_top_config = [%#lx] instead.",
                  target_config, descriptor.target_display, reinterpret_cast<uint64_t>(top_config));
        return top_config;
    }
    EGLConfig nearest = nearest_host_config(target, top_config);
    // An id that no host config has leaves nothing to run on; one that a host config has changes nothing
    // here.
    auto forced = static_cast<int32_t>(setting(zelvar_only_settings.forceHostEGLConfigID));
    return forced != 0 && !host_row_by_id(forced) ? nullptr : nearest;
}
