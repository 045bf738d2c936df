#include "egl_fixture.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

#include <cstring>

namespace in = wire::inbound;
namespace out = wire::outbound;

namespace {
std::string name_of_request(const outbound_message& request)
{
    switch (request.type + wire::outbound::call_offset) {
    case in::egl_get_configs:
        return "call eglGetConfigs";
    case in::egl_get_config_attrib:
        return "call eglGetConfigAttrib " + std::to_string(request.at<int32_t>(16));
    case in::egl_query_surface:
        return "call eglQuerySurface " + std::to_string(request.at<int32_t>(16));
    case in::egl_query_string:
        return "call eglQueryString " + std::to_string(request.at<int32_t>(8));
    }
    switch (request.type) {
    case out::read_from_shim_address_space:
        return "read " + std::to_string(request.at<uint32_t>(0));
    case out::write_to_shim_address_space:
        return "write " + std::to_string(request.at<uint32_t>(8));
    case out::allocate_memory_block:
        return "allocate " + std::to_string(request.at<uint32_t>(0));
    case out::shim_sync_object_signal:
        return "shim_sync_object_signal " + std::to_string(request.at<uint32_t>(8));
    case out::set_cursor_visibility:
        return "set_cursor_visibility " + std::to_string(request.at<uint32_t>(0));
    case out::set_screensaver_status:
        return "set_screensaver_status " + std::to_string(request.at<uint32_t>(0));
    }
#define ZELVAR_SERVICE(id, name)                                                                             \
    if (request.type == (id))                                                                                \
        return #name;
#include "wire/services.inc"
#undef ZELVAR_SERVICE
    return "type " + std::to_string(request.type);
}

int32_t attribute_of(const target_config& config, int32_t attribute)
{
    switch (attribute) {
    case EGL_RED_SIZE:
        return config.red;
    case EGL_GREEN_SIZE:
        return config.green;
    case EGL_BLUE_SIZE:
        return config.blue;
    case EGL_ALPHA_SIZE:
        return config.alpha;
    case EGL_DEPTH_SIZE:
        return config.depth;
    case EGL_STENCIL_SIZE:
        return config.stencil;
    case EGL_SAMPLES:
        return config.samples;
    case EGL_CONFIG_ID:
        return config.id;
    case EGL_CONFIG_CAVEAT:
        return EGL_NONE;
    }
    return 0;
}
} // namespace

egl_test::egl_test(target_gpu gpu) : plugin(library::start(gpu)), target(plugin)
{
    target.on_request = [this](const outbound_message& request) { return answer(request); };
    std::strcpy(reinterpret_cast<char*>(target.memory.data()) + (name_address - raw_target::memory_base),
                "app");
    // The fake driver's configs in place of the one made-up row.
    host_display_configs->clear();
    _init_host_egl_configs(false);
    fake_host::clear();
}

outcome egl_test::send(const message& call)
{
    outcome seen;
    fake_host::clear();
    library::begin_capture();
    auto sent = target.run(call);
    seen.printed = library::end_capture();
    seen.host = fake_host::texts(fake_host::error_queries::leave_out);
    sent.pop_back(); // the release
    for (const auto& one : sent) {
        if (one.type == out::set_return_value_message) {
            EXPECT_FALSE(seen.value) << "reported twice";
            seen.width = one.at<uint8_t>(0);
            uint64_t value = 0;
            std::memcpy(&value, one.bytes.data() + wire::header_size + 1, std::min<size_t>(seen.width, 8));
            seen.value = value;
        } else {
            seen.asked.push_back(name_of_request(one));
        }
    }
    return seen;
}

confirmation egl_test::answer(const outbound_message& request)
{
    switch (request.type) {
    case out::get_egl_attribute_list_length: {
        if (claimed_list_length)
            return confirm_with(*claimed_list_length);
        uint64_t at = request.at<uint64_t>(0);
        uint32_t bytes = 4;
        while (target.peek<int32_t>(at + bytes - 4) != EGL_NONE)
            bytes += 8;
        return confirm_with(bytes);
    }
    case out::allocate_memory_block:
        return out_of_memory ? confirm_with(uint64_t{0}) : target.default_answer(request);
    case out::get_target_pointer_size:
        return confirm_with(pointer_size);
    case out::winsys_get_target_os_version:
        return confirm_with(os_version);
    case out::winsys_get_window_width:
        return confirm_with(window_width);
    case out::winsys_get_window_height:
        return confirm_with(window_height);
    case out::shim_sync_object_create:
        return confirm_with(next_sync++);
    case out::get_target_process_name_address:
        return confirm_with(name_address);
    }
    return request.type < 436 ? answer_call(request) : target.default_answer(request);
}

bool egl_test::call_fails(uint32_t inbound_type, int32_t attribute) const
{
    for (auto [type, failing] : failing_calls)
        if (type == inbound_type && (failing == 0 || failing == attribute))
            return true;
    return false;
}

confirmation egl_test::answer_call(const outbound_message& request)
{
    uint32_t type = request.type + wire::outbound::call_offset;
    switch (type) {
    case in::egl_get_configs: {
        if (call_fails(type, request.at<uint64_t>(8) ? 1 : 2))
            return confirm_with(uint32_t{EGL_FALSE}, EGL_BAD_DISPLAY);
        uint64_t array = request.at<uint64_t>(8);
        for (size_t i = 0; array && i < target_configs.size(); ++i)
            std::memcpy(target.memory.data() + (array - raw_target::memory_base) + i * pointer_size,
                        &target_configs[i].handle, pointer_size);
        target.poke(request.at<uint64_t>(20), static_cast<uint32_t>(target_configs.size()));
        return confirm_with(uint32_t{EGL_TRUE}, EGL_SUCCESS);
    }
    case in::egl_get_config_attrib: {
        auto attribute = request.at<int32_t>(16);
        if (call_fails(type, attribute))
            return confirm_with(uint32_t{EGL_FALSE}, EGL_BAD_ATTRIBUTE);
        for (const auto& config : target_configs)
            if (config.handle == request.at<uint64_t>(8))
                target.poke(request.at<uint64_t>(20), attribute_of(config, attribute));
        return confirm_with(uint32_t{EGL_TRUE}, EGL_SUCCESS);
    }
    case in::egl_query_surface: {
        auto attribute = request.at<int32_t>(16);
        if (call_fails(type, attribute))
            return confirm_with(uint32_t{EGL_FALSE}, EGL_BAD_SURFACE);
        target.poke(request.at<uint64_t>(20), attribute == EGL_WIDTH ? window_width : window_height);
        return confirm_with(uint32_t{EGL_TRUE}, EGL_SUCCESS);
    }
    case in::egl_query_string:
        std::strcpy(reinterpret_cast<char*>(target.memory.data()) + (text_address - raw_target::memory_base),
                    target_string.c_str());
        return confirm_with(text_address, EGL_SUCCESS);
    case in::gles20_get_string:
        return confirm_with(uint64_t{0});
    }
    return target.default_answer(request);
}

void egl_test::put_list(std::initializer_list<int32_t> list, uint64_t address)
{
    for (int32_t value : list) {
        target.poke(address, value);
        address += 4;
    }
}

uint64_t egl_test::open_display()
{
    uint64_t display = value_of(call(in::egl_get_display).u64(0)).value_or(0);
    EXPECT_NE(display, 0u);
    EXPECT_EQ(value_of(call(in::egl_initialize).u64(display).u64(0).u64(0)), EGL_TRUE);
    return display;
}

uint64_t egl_test::create_context(uint64_t display, uint64_t config)
{
    put_list({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE});
    return value_of(call(in::egl_create_context).u64(display).u64(config).u64(0).u64(list_address))
        .value_or(0);
}

uint64_t egl_test::create_window_surface(uint64_t display, uint64_t config)
{
    return value_of(call(in::egl_create_window_surface).u64(display).u64(config).u64(0x77).u64(0))
        .value_or(0);
}

uint32_t egl_test::pending_error()
{
    return static_cast<uint32_t>(value_of(call(in::egl_get_error)).value_or(0));
}

testing::AssertionResult prints(const std::string& printed, const std::string& text)
{
    if (printed.find(text) != std::string::npos)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "\"" << text << "\" is missing in:\n" << printed;
}
