// The target's own list of configs: a fixed table while it has no EGL, else what its EGL answers.

#include "object_manager/configs.h"
#include "object_manager/kelvo9_configs.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_calls.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <cstring>

namespace {
/// No EGL has more; what a target claims beyond this is rubbish.
constexpr uint32_t max_target_configs = 0x4000;

/// A block of target memory for the length of a conversation.
class target_block
{
public:
    target_block(pid_t pid, tid_t tid, uint32_t size) : _pid(pid), _tid(tid)
    {
        zelvar_shim_dispatch_allocate_memory_block(pid, tid, size, &_address);
    }
    ~target_block()
    {
        if (_address)
            zelvar_shim_dispatch_deallocate_memory_block(_pid, _tid, _address);
    }
    target_block(const target_block&) = delete;
    target_block& operator=(const target_block&) = delete;

    target_ptr address() const { return _address; }
    bool read(uint32_t size, void* destination) const
    {
        return _address &&
               zelvar_shim_dispatch_read_from_shim_address_space(_pid, _tid, size, _address, destination);
    }

private:
    pid_t _pid;
    tid_t _tid;
    target_ptr _address;
};

bool get_configs_on_target(pid_t pid, tid_t tid, uint64_t target_display, target_ptr handles, uint32_t size,
                           target_ptr count)
{
    EGLBoolean result = EGL_FALSE;
    unsigned error = EGL_SUCCESS;
    zelvar_shim_dispatch_egl_get_configs_call(pid, tid, target_display, handles, static_cast<EGLint>(size),
                                              count, &result, sizeof(result), &error);
    return result && error == EGL_SUCCESS;
}

/// The handles of the target's configs, widened. `word` is 4 bytes of target memory.
std::vector<uint64_t> list_target_handles(pid_t pid, tid_t tid, uint64_t target_display, uint32_t count,
                                          const target_block& handles, const target_block& word)
{
    if (!get_configs_on_target(pid, tid, target_display, handles.address(), count, word.address())) {
        LOG_FATAL("Could not get EGL configurations on target side!");
        return {};
    }
    uint32_t width = 0;
    zelvar_shim_dispatch_get_target_pointer_size(pid, tid, &width);
    width = width == 4 ? 4 : 8;
    std::vector<uint8_t> bytes(static_cast<size_t>(count) * width);
    if (!handles.read(static_cast<uint32_t>(bytes.size()), bytes.data()))
        return {};
    std::vector<uint64_t> result(count);
    for (uint32_t i = 0; i < count; ++i)
        std::memcpy(&result[i], &bytes[static_cast<size_t>(i) * width], width);
    return result;
}

/// False when the last attribute could not be had; the others then keep their defaults.
bool query_target_config(pid_t pid, tid_t tid, uint64_t target_display, const target_block& word,
                         _zelvar_object_manager_config* row)
{
    auto query = [&](EGLint attribute, int32_t* value) {
        EGLBoolean result = EGL_FALSE;
        unsigned error = EGL_SUCCESS;
        zelvar_shim_dispatch_egl_get_config_attrib_call(pid, tid, target_display, row->target_config,
                                                        attribute, word.address(), &result, sizeof(result),
                                                        &error);
        int32_t answer = 0;
        if (!result || error != EGL_SUCCESS || !word.read(sizeof(answer), &answer))
            return false;
        *value = answer;
        return true;
    };
    if (!query(EGL_ALPHA_SIZE, &row->alpha_size))
        LOG_ERROR("Could not query alpha size for target-side EGLConfig.");
    if (!query(EGL_BLUE_SIZE, &row->blue_size))
        LOG_ERROR("Could not query blue size for target-side EGLConfig.");
    if (!query(EGL_CONFIG_ID, &row->config_id))
        LOG_ERROR("Could not query config id for target-side EGLConfig.");
    if (!query(EGL_CONFIG_CAVEAT, &row->caveat))
        LOG_ERROR("Could not query config caveat for target-side EGLConfig.");
    if (!query(EGL_DEPTH_SIZE, &row->depth_size))
        LOG_ERROR("Could not query depth size for target-side EGLConfig.");
    if (!query(EGL_GREEN_SIZE, &row->green_size))
        LOG_ERROR("Could not query green size for target-side EGLConfig.");
    if (!query(EGL_RED_SIZE, &row->red_size))
        LOG_ERROR("Could not query red size for target-side EGLConfig.");
    if (!query(EGL_SAMPLES, &row->samples))
        LOG_ERROR("Could not query number of samples for target-side EGLConfig.");
    if (query(EGL_STENCIL_SIZE, &row->stencil_size))
        return true;
    LOG_ERROR("Could not query stencil size for target-side EGLConfig.");
    return false;
}

config_list ask_target(pid_t pid, tid_t tid, uint64_t target_display)
{
    config_list rows;
    uint32_t count = _get_target_egl_config_num(pid, tid, target_display);
    if (count == 0)
        return rows;
    uint32_t size = count * static_cast<uint32_t>(sizeof(uint64_t));
    target_block handles{pid, tid, size};
    if (!handles.address()) {
        LOG_FATAL("Could not allocate %d bytes in Shim layer for EGLConfig instances storage!", size);
        return rows;
    }
    target_block word{pid, tid, sizeof(uint32_t)};
    for (uint64_t handle : list_target_handles(pid, tid, target_display, count, handles, word)) {
        _zelvar_object_manager_config row;
        row.target_config = handle;
        row.host_config = local_native_display_top_config;
        if (query_target_config(pid, tid, target_display, word, &row))
            rows.push_back(row);
        else
            LOG_ERROR("Could not retrieve target side EGLConfig details!");
    }
    return rows;
}

config_list fixed_table()
{
    config_list rows;
    for (const auto& entry : kelvo9_supported_display_configs) {
        _zelvar_object_manager_config row;
        row.alpha_size = entry.alpha;
        row.blue_size = entry.blue;
        row.config_id = entry.config_id;
        row.caveat = entry.caveat;
        row.depth_size = entry.depth;
        row.green_size = entry.green;
        row.samples = entry.samples;
        row.red_size = entry.red;
        row.stencil_size = entry.stencil;
        row.target_config = rows.size();
        rows.push_back(row);
    }
    return rows;
}
} // namespace

uint32_t _get_target_egl_config_num(pid_t pid, tid_t tid, uint64_t target_display)
{
    if (!zelvar_call_on_target())
        return kelvo9_supported_display_configs.size();
    target_block block{pid, tid, sizeof(uint32_t)};
    uint32_t count = 0;
    if (!block.address() ||
        !get_configs_on_target(pid, tid, target_display, target_ptr{}, 0, block.address()) ||
        !block.read(sizeof(count), &count) || count > max_target_configs) {
        LOG_FATAL("Could not retrieve the number of EGLConfigs available on target side!");
        return 0;
    }
    return count;
}

void _init_target_egl(pid_t pid, tid_t tid, uint64_t target_display)
{
    constexpr uint32_t dump_level = 6566;
    config_list rows = zelvar_call_on_target() ? ask_target(pid, tid, target_display) : fixed_table();
    if (rows.empty())
        LOG_FATAL("List of target egl configs is empty. eglChooseConfig() or eglGetConfigs() will fail.");
    else if (setting(zelvar_settings.shimLogLevel) >= dump_level ||
             setting(zelvar_only_settings.forceHostEGLConfigID) != 0)
        _dump_egl_config_informations(rows, "target", target_display);
    Autolock process_lock{pid_to_process_data_map_cs};
    target_display_configs_map.insert_or_assign({pid, tid, target_display}, std::move(rows));
}

bool copy_target_configs(const _target_display_descriptor& descriptor, config_list* rows)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto found = target_display_configs_map.find(descriptor);
    if (found == target_display_configs_map.end())
        return false;
    *rows = found->second;
    return true;
}

bool find_target_row(const _target_display_descriptor& descriptor, uint64_t target_config,
                     _zelvar_object_manager_config* row)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto list = target_display_configs_map.find(descriptor);
    if (list == target_display_configs_map.end())
        return false;
    auto found = std::find_if(list->second.begin(), list->second.end(),
                              [&](const auto& entry) { return entry.target_config == target_config; });
    if (found == list->second.end())
        return false;
    *row = *found;
    return true;
}
