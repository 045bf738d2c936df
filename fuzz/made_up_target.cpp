#include "made_up_target.h"

#include "target_blocks.h"

#include "settings/zelvar_settings.h"
#include "support/message.h"
#include "wire/wire.h"

namespace in = wire::inbound;

void made_up_target::put(std::vector<uint8_t>& arguments, uint64_t value, uint8_t width)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
    arguments.insert(arguments.end(), bytes, bytes + width);
}

uint64_t made_up_target::gles(uint32_t type, fate target_fate, std::initializer_list<uint64_t> values)
{
    const gles_layouts::layout& layout = gles_layouts::of_type(type);
    std::vector<uint8_t> arguments;
    for (uint8_t i = 0; i < layout.parameter_count; i++)
        put(arguments, i < values.size() ? values.begin()[i] : 0, layout.parameters[i].width);
    return send(type, target_fate, arguments);
}

uint64_t made_up_target::send(uint32_t type, fate target_fate, const std::vector<uint8_t>& arguments)
{
    const message_info& info = message_info_of_type(type);
    message made(type, scripted_target::pid, _tid);
    if (zelvar_target_gpu() != TARGET_GPU_NONE) {
        made.raw(&target_fate.result, info.result_width);
        if (type != in::gles20_get_error && sidechannel_error_check_support(zelvar_settings, info.key))
            made.u32(target_fate.error);
    }
    made.raw(arguments);
    if (setting(zelvar_settings.batchCommands)) {
        message batch(in::batch_commands, scripted_target::pid, _tid);
        made = batch.u32(1).raw(made.bytes());
    }
    size_t results = _target.results().size();
    _target.write(made.bytes());
    if (!_waits)
        return 0;
    _target.serve();
    return _target.results().size() > results ? _target.results().back() : 0;
}

uint64_t made_up_target::handle(uint64_t returned, uint64_t own) const
{
    return zelvar_target_gpu() == TARGET_GPU_NONE ? returned : own;
}

void made_up_target::open_display()
{
    constexpr uint64_t own_display = 0xd1, own_config = 5, config = 9;
    _display = handle(egl<in::egl_get_display>({own_display, EGL_SUCCESS}, 0), own_display);
    _config = handle(config, own_config);
    egl<in::egl_initialize>({EGL_TRUE, EGL_SUCCESS}, _display, 0, 0);
}

void made_up_target::create_context(size_t slot, uint8_t version, size_t share_slot)
{
    const uint64_t own_context = 0xc1 + slot, own_surface = 0x51 + slot;
    const uint64_t attributes = target_blocks::context_attributes + version * target_blocks::attribute_stride;
    const uint64_t share = share_slot == slot ? 0 : _contexts[share_slot];
    _contexts[slot] =
        handle(egl<in::egl_create_context>({own_context, EGL_SUCCESS}, _display, _config, share, attributes),
               own_context);
    if (!_surfaces[slot])
        _surfaces[slot] =
            handle(egl<in::egl_create_pbuffer_surface>({own_surface, EGL_SUCCESS}, _display, _config,
                                                       target_blocks::surface_attributes),
                   own_surface);
}

void made_up_target::make_current(size_t slot)
{
    _threads.insert(_tid);
    egl<in::egl_make_current>({EGL_TRUE, EGL_SUCCESS}, _display, _surfaces[slot], _surfaces[slot],
                              _contexts[slot]);
}

void made_up_target::make_none_current()
{
    egl<in::egl_make_current>({EGL_TRUE, EGL_SUCCESS}, _display, 0, 0, 0);
}

void made_up_target::destroy_context(size_t slot)
{
    egl<in::egl_destroy_context>({EGL_TRUE, EGL_SUCCESS}, _display, _contexts[slot]);
}

uint64_t made_up_target::create_image(uint32_t kind, size_t slot, uint64_t buffer, uint64_t own_image)
{
    const bool is_native = kind == EGL_WAYLAND_BUFFER_WL || kind == EGL_NATIVE_BUFFER_ANDROID;
    return handle(egl<in::egl_create_image_khr>({own_image, EGL_SUCCESS}, _display,
                                                is_native ? 0 : _contexts[slot], kind, buffer,
                                                target_blocks::surface_attributes),
                  own_image);
}

void made_up_target::destroy_image(uint64_t image)
{
    egl<in::egl_destroy_image_khr>({EGL_TRUE, EGL_SUCCESS}, _display, image);
}

void made_up_target::close_display()
{
    for (uint8_t tid : _threads) {
        use_thread(tid, true);
        make_none_current();
    }
    for (size_t slot = 0; slot < most_contexts; slot++) {
        if (_contexts[slot])
            destroy_context(slot);
        if (_surfaces[slot])
            egl<in::egl_destroy_surface>({EGL_TRUE, EGL_SUCCESS}, _display, _surfaces[slot]);
    }
    egl<in::egl_terminate>({EGL_TRUE, EGL_SUCCESS}, _display);
}
