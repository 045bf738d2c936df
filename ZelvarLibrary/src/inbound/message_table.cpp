#include "inbound/message_table.h"

#include "inbound/decoder.h"
#include "inbound/not_built.h"
#include "inbound/rows.h"
#include "settings/zelvar_settings.h"
#include "wire/api.h"
#include "zelvar/zelvar.h"

#include <array>
#include <string_view>
#include <type_traits>

void _zelvar_inbound_traffic_batch_commands(pid_t pid, tid_t tid, void* message, uint32_t size);
void _zelvar_inbound_traffic_get_settings(pid_t pid, tid_t tid, void* message, uint32_t size);
void _zelvar_inbound_traffic_report_shim_message(pid_t pid, tid_t tid, void* message, uint32_t size);

inbound_decoder zelvar_LUT[wire::inbound::row_count];
inbound_decoder* const pZelvar_LUT = zelvar_LUT;

namespace {
template <class F>
struct prototype;
template <class R, class... A>
struct prototype<R(A...)>
{
    using result = R;
};

/// Three calls return a pointer into target memory; every other pointer is a handle of 8 bytes.
constexpr bool returns_target_pointer(std::string_view function)
{
    return function == "glGetString" || function == "glGetStringi" || function == "glMapBufferRange";
}

template <class Function>
constexpr message_info describe(const char* name, const char* key, std::string_view group,
                                std::string_view function)
{
    using result = typename prototype<Function>::result;
    message_info info;
    info.name = name;
    info.key = key;
    info.is_egl = group == "egl" || group == "ubm";
    info.is_vk = group == "vk";
    if constexpr (std::is_same_v<result, VkResult>)
        info.form = result_form::vk_result;
    else if constexpr (!std::is_void_v<result>)
        info.form = returns_target_pointer(function) ? result_form::target_pointer : result_form::fixed;
    if constexpr (std::is_pointer_v<result>)
        info.result_width = 8;
    else if constexpr (!std::is_void_v<result>)
        info.result_width = sizeof(result);
    return info;
}

constexpr std::array<message_info, wire::inbound::row_count + 1> make_message_infos()
{
    std::array<message_info, wire::inbound::row_count + 1> infos{};
#define ZELVAR_SHIM_MESSAGE(id, name) infos[id] = {#name, #name, result_form::none, 0, false, false};
#include "wire/messages_shim.inc"
#undef ZELVAR_SHIM_MESSAGE
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    infos[id] = describe<decltype(function)>(#name, #group "_" #function, #group, #function);
#include "wire/messages_egl.inc"
#include "wire/messages_gles.inc"
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE
    return infos;
}
constexpr std::array<message_info, wire::inbound::row_count + 1> message_infos = make_message_infos();

constexpr bool every_type_has_one_name()
{
    for (uint32_t type = 1; type <= wire::inbound::row_count; ++type) {
        bool empty_row = type == 4 || type == 5;
        if ((message_infos[type].name == nullptr) != empty_row)
            return false;
    }
    return true;
}
static_assert(every_type_has_one_name(), "the message lists leave a hole or fill an empty row");

/// Decoders of the rows that are built, by type.
std::array<inbound_decoder, wire::inbound::row_count + 1> built{};

/// What every row does: its decoder, or the answer that there is none yet.
void run_row(uint32_t type, pid_t pid, tid_t tid, void* message, uint32_t size)
{
    if (inbound_decoder decoder = built[type])
        decoder(pid, tid, message, size);
    else
        answer_not_built(type, pid, tid);
}
} // namespace

// The rows, each under the name of its message, so that a stack tells which call is under way.
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    static void _zelvar_inbound_traffic_##name(pid_t pid, tid_t tid, void* message, uint32_t size)           \
    {                                                                                                        \
        run_row(id, pid, tid, message, size);                                                                \
    }
#include "wire/messages_egl.inc"
#include "wire/messages_gles.inc"
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE

namespace {
/// Runs when the library is loaded, before anything can be in a queue.
__attribute__((constructor)) void put_table_together()
{
#define ZELVAR_SHIM_MESSAGE(id, name)                                                                        \
    zelvar_LUT[id - 1] = &_zelvar_inbound_traffic_##name;                                                    \
    built[id] = &_zelvar_inbound_traffic_##name;
#include "wire/messages_shim.inc"
#undef ZELVAR_SHIM_MESSAGE
#define ZELVAR_MESSAGE(id, name, group, function) zelvar_LUT[id - 1] = &_zelvar_inbound_traffic_##name;
#include "wire/messages_egl.inc"
#include "wire/messages_gles.inc"
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE
    for (const row_family& family : row_families)
        for (size_t i = 0; i < *family.count; ++i)
            built[family.rows[i].type] = family.rows[i].decoder;
}

constexpr bool in_table(uint32_t type)
{
    return type >= 1 && type <= wire::inbound::row_count;
}
} // namespace

inbound_decoder zelvar_row_of_type(uint32_t type)
{
    return in_table(type) ? zelvar_LUT[type - 1] : nullptr;
}

const message_info& message_info_of_type(uint32_t type)
{
    return message_infos[in_table(type) ? type : 0];
}

bool message_is_built(uint32_t type)
{
    return in_table(type) && built[type] != nullptr;
}

// The seam of a decoder table that would need set-up; this one needs none.
void zelvar_inbound_traffic_init() {}
void zelvar_inbound_traffic_deinit() {}

bool zelvar_message_info(uint32_t type, const char** name, int* is_built)
{
    const message_info& info = message_info_of_type(type);
    if (!info.name)
        return false;
    if (name)
        *name = info.name;
    if (is_built)
        *is_built = message_is_built(type);
    return true;
}

bool zelvar_settings_key(uint32_t index, const char** key, const char** type, const char** default_value,
                         const char** sentence)
{
    const settings_key_info* row = zelvar_settings_keys();
    for (uint32_t i = 0; i < index && row->key; ++i)
        ++row;
    if (!row->key)
        return false;
    *key = row->key;
    *type = row->type;
    *default_value = row->default_value;
    *sentence = row->sentence;
    return true;
}
