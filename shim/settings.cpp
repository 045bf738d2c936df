#include "shim/settings.h"

#include "wire/wire.h"

#include <cstring>

namespace shim {

namespace {

template <class T>
T field(const uint8_t* block, uint32_t offset)
{
    T value;
    std::memcpy(&value, block + offset, sizeof value);
    return value;
}

/// Whether `name` is one of the names in `list`, which has commas between.
bool is_listed(const char* list, const char* name)
{
    const size_t length = std::strlen(name);
    for (const char* at = list; *at;) {
        const size_t item = std::strcspn(at, ",");
        if (item == length && std::memcmp(at, name, length) == 0)
            return true;
        at += item;
        at += *at == ',';
    }
    return false;
}

} // namespace

settings settings::from_block(const uint8_t* block)
{
    namespace at = wire::settings_offset;
    settings s;
    s.log_level = field<uint32_t>(block, at::shim_log_level);
    s.batch_commands = block[at::batch_commands] != 0;
    s.batch_target_commands = block[at::batch_target_commands] != 0;
    // The decoders go by the word, not by the byte, which another setting can force on alone.
    s.call_on_target = field<uint32_t>(block, at::call_on_target_api) != 0;
    s.check_error_code = block[at::call_on_target] != 0 && block[at::check_error_code] != 0;
    s.error_white_list = block[at::enable_error_check_white_list] != 0;
    s.white_list_text = field<uint64_t>(block, at::white_list_text);
    return s;
}

bool settings::has_error_word(const char* error_key) const
{
    if (!call_on_target || !check_error_code)
        return false;
    if (!error_white_list)
        return true;
    const auto* list = reinterpret_cast<const char*>(static_cast<uintptr_t>(white_list_text));
    return list && is_listed(list, error_key);
}

} // namespace shim
