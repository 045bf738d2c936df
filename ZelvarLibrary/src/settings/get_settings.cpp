// The settings exchange: the first message of every target process.
#include "settings/get_settings.h"

#include "inbound/cursor.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/settings_keys.h"
#include "settings/white_list.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"
#include "zelvar/zelvar.h"

#include <cstring>
#include <exception>
#include <string>
#include <string_view>

namespace {

struct settings_request
{
    uint32_t width;                 // of the target's frame buffer, pixels
    uint32_t height;                // pixels
    uint32_t bits;                  // pointer width of the target
    std::string_view shim_revision; // stands in the message
    target_ptr settings;
    target_ptr white_list_pointer;
};

/// The text up to its zero or the end of the message, whichever comes first.
std::string_view take_text(cursor& in)
{
    const uint64_t available = in.rest_size();
    const char* text = reinterpret_cast<const char*>(in.rest());
    const void* end = available ? std::memchr(text, 0, available) : nullptr;
    const uint64_t length = end ? static_cast<uint64_t>(static_cast<const char*>(end) - text) : available;
    in.skip(length + 1);
    return {text, length};
}

settings_request read_request(cursor& in)
{
    settings_request request{};
    request.width = in.take<uint32_t>();
    request.height = in.take<uint32_t>();
    request.bits = in.take<uint32_t>();
    request.shim_revision = take_text(in);
    request.settings.address = in.take<uint64_t>();
    request.white_list_pointer.address = in.take<uint64_t>();
    return request;
}

void print_revisions(std::string_view shim_revision)
{
    static std::atomic<bool> printed{false};
    if (printed.exchange(true))
        return;
    LOG_ALWAYS("INFO", "TRV  revision %s", zelvar_revision);
    LOG_ALWAYS("INFO", "Shim revision %s", std::string{shim_revision}.c_str());
    if (shim_revision != zelvar_revision)
        LOG_ALWAYS("WARN", "Revision mismatch between TRV and shim!");
}

void set_screen_size(uint32_t width, uint32_t height)
{
    fb_xres.store(width, std::memory_order_relaxed);
    fb_yres.store(height, std::memory_order_relaxed);
}

void update_screen_size(uint32_t width, uint32_t height)
{
    const uint32_t forced_width = setting(zelvar_only_settings.fbWidth);
    const uint32_t forced_height = setting(zelvar_only_settings.fbHeight);
    if (forced_width != 0 && forced_height != 0) {
        set_screen_size(forced_width, forced_height);
        LOG_ALWAYS("INFO", "Frame buffer resolution is set from settings.ini: width[%d] height[%d].",
                   forced_width, forced_height);
        return;
    }
    if (width == 0 || height == 0)
        return;
    // Both are compared with the width: a square as wide as the screen leaves the size alone.
    const uint32_t xres = fb_xres.load(std::memory_order_relaxed);
    if (width == xres && height == xres)
        return;
    set_screen_size(width, height);
    LOG_ALWAYS("INFO", "Frame buffer resolution: width[%d] height[%d].", width, height);
}

void require_screen_size_for_cache()
{
    const uint32_t width = fb_xres.load(std::memory_order_relaxed);
    const uint32_t height = fb_yres.load(std::memory_order_relaxed);
    if (!setting(zelvar_only_settings.cacheAndroidNativeBuffer) || (width != 0 && height != 0))
        return;
    store_setting(zelvar_only_settings.cacheAndroidNativeBuffer, false);
    LOG_ALWAYS(
        "WARN",
        "Unrecognized frame buffer resolution: width[%d] height[%d], cacheAndroidNativeBuffer is disabled.",
        width, height);
}

void print_tpak_version()
{
    switch (setting(zelvar_only_settings.tpakVersion)) {
    case TPAK_VERSION_1_0:
        LOG_ALWAYS("INFO", "TPAK is on, version is 1.0");
        break;
    case TPAK_VERSION_1_1:
        LOG_ALWAYS("INFO", "TPAK is on, version is 1.1");
        break;
    case TPAK_VERSION_1_2:
        LOG_ALWAYS("INFO", "TPAK is on, version is 1.2");
        break;
    default:
        break;
    }
}

/// The shared block as it stands. Byte by byte, since another exchange may publish meanwhile.
void copy_shared_block(uint8_t (&block)[wire::settings_offset::size])
{
    const auto* shared = reinterpret_cast<const uint8_t*>(&zelvar_settings);
    for (uint32_t at = 0; at < sizeof block; at++)
        block[at] = __atomic_load_n(shared + at, __ATOMIC_RELAXED);
}

void send_white_list(pid_t pid, tid_t tid, target_ptr white_list_pointer)
{
    if (!zelvar_call_on_target() || !setting(zelvar_settings.checkErrorCode))
        return;
    const std::string names = white_list_names();
    if (names.empty())
        return;
    LOG_DEBUG("white list str size: %ld", static_cast<long>(names.size()));
    const uint32_t size = static_cast<uint32_t>(names.size() + 1);
    target_ptr text;
    zelvar_shim_dispatch_allocate_memory_block(pid, tid, size, &text);
    if (!text)
        return;
    zelvar_shim_dispatch_write_to_shim_address_space_force(pid, tid, size, names.c_str(), text);
    zelvar_shim_dispatch_write_to_shim_address_space_force(pid, tid, sizeof text.address, &text.address,
                                                           white_list_pointer);
}

void exchange_settings(pid_t pid, tid_t tid, void* message, uint32_t size)
{
    cursor in{message, size};
    const settings_request request = read_request(in);
    if (in.bad())
        LOG_ERROR("get_settings is short: %llu bytes received, %llu wanted",
                  static_cast<unsigned long long>(in.size()), static_cast<unsigned long long>(in.wanted()));

    print_revisions(request.shim_revision);
    update_screen_size(request.width, request.height);
    zelvar_object_manager_set_target_bit(pid, tid, request.bits);
    zelvar_settings_init();
    require_screen_size_for_cache();
    sidechannel_set_log_level(static_cast<int>(setting(zelvar_settings.sidechannelLogLevel)));

    // A message that was cut off names no place to write to.
    const bool addressed = !in.bad();
    if (addressed) {
        uint8_t block[wire::settings_offset::size];
        copy_shared_block(block);
        zelvar_shim_dispatch_write_to_shim_address_space_force(pid, tid, sizeof block, block,
                                                               request.settings);
    }
    print_tpak_version();
    if (addressed)
        send_white_list(pid, tid, request.white_list_pointer);
}

} // namespace

void _zelvar_inbound_traffic_get_settings(pid_t pid, tid_t tid, void* message, uint32_t size)
{
    try {
        exchange_settings(pid, tid, message, size);
    } catch (const std::exception& failure) {
        LOG_ERROR("get_settings failed: %s", failure.what());
    }
    // Released whatever happened, also while commands are batched: nothing can be batched before this answer.
    zelvar_shim_dispatch_leave_message_processing_loop(pid, tid);
}
