// The host's configs, listed once at start-up, and the check of what driver the host really is.

#include "object_manager/configs.h"
#include "object_manager/zelvar_object_manager.h"
#include "registration/host_call.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

std::vector<_zelvar_object_manager_config>* host_display_configs = nullptr;
std::atomic<EGLConfig> local_native_display_top_config{nullptr};

namespace {
using egl_table = sidechannel_egl_imports;

constexpr const char required_egl_vendor[] = "Corvane Limited";
constexpr const char required_gl_vendor[] = "Corvane Ltd";

void insert_test_row()
{
    _zelvar_object_manager_config row;
    row.alpha_size = row.blue_size = row.green_size = row.red_size = 8;
    row.config_id = 1;
    row.depth_size = row.stencil_size = 24;
    row.samples = 4;
    host_display_configs->push_back(row);
}

/// The initialised native display, or null.
EGLDisplay open_native_display()
{
    EGLDisplay display = host::egl_unchecked<&egl_table::eglGetDisplay>(EGL_DEFAULT_DISPLAY);
    if (!display) {
        LOG_FATAL("Could not initialize EGL - native display is invalid");
        return EGL_NO_DISPLAY;
    }
    EGLint major = 0;
    EGLint minor = 0;
    auto initialised = host::egl<&egl_table::eglInitialize>(display, &major, &minor);
    if (!initialised.result) {
        LOG_FATAL("Could not initialize EGL: %x", initialised.error);
        return EGL_NO_DISPLAY;
    }
    LOG_INFO("EGL %d.%d initialized.", major, minor);
    return display;
}

std::vector<EGLConfig> list_native_configs(EGLDisplay display)
{
    EGLint count = 0;
    if (!host::egl_unchecked<&egl_table::eglGetConfigs>(display, static_cast<EGLConfig*>(nullptr), 0,
                                                        &count) ||
        count < 0) {
        LOG_FATAL("Could not retrieve amount of configurations available for native display");
        return {};
    }
    std::vector<EGLConfig> configs;
    try {
        configs.resize(static_cast<size_t>(count));
    } catch (const std::bad_alloc&) {
        LOG_FATAL("Could not allocate %d entries for EGLConfig storage", count);
        return {};
    }
    if (!host::egl_unchecked<&egl_table::eglGetConfigs>(display, configs.data(), count, &count)) {
        LOG_FATAL("Could not retrieve EGL configurations.");
        return {};
    }
    configs.resize(std::min(configs.size(), static_cast<size_t>(std::max(count, 0))));
    return configs;
}

bool query_native_config(EGLDisplay display, EGLConfig config, _zelvar_object_manager_config* row,
                         EGLint* surface_type)
{
    row->host_config = config;
    const struct
    {
        EGLint attribute;
        EGLint* value;
    } queries[] = {
        {EGL_ALPHA_SIZE, &row->alpha_size},     {EGL_BLUE_SIZE, &row->blue_size},
        {EGL_CONFIG_ID, &row->config_id},       {EGL_CONFIG_CAVEAT, &row->caveat},
        {EGL_DEPTH_SIZE, &row->depth_size},     {EGL_GREEN_SIZE, &row->green_size},
        {EGL_RED_SIZE, &row->red_size},         {EGL_SAMPLES, &row->samples},
        {EGL_STENCIL_SIZE, &row->stencil_size}, {EGL_SURFACE_TYPE, surface_type},
    };
    return std::all_of(std::begin(queries), std::end(queries), [&](const auto& query) {
        return host::egl_unchecked<&egl_table::eglGetConfigAttrib>(display, config, query.attribute,
                                                                   query.value) == EGL_TRUE;
    });
}

/// Fills the list and returns the 8/8/8/8 row with the lowest id; null when there is none.
EGLConfig list_usable_configs(EGLDisplay display)
{
    EGLConfig top_config = nullptr;
    EGLint top_id = 0;
    EGLint index = 0;
    for (EGLConfig config : list_native_configs(display)) {
        _zelvar_object_manager_config row;
        EGLint surface_type = 0;
        bool known = query_native_config(display, config, &row, &surface_type);
        ++index;
        if (!known) {
            LOG_FATAL("Could not retrieve attribute(s) for %dth EGL config!", index - 1);
            continue;
        }
        if (!(surface_type & EGL_PBUFFER_BIT))
            continue; // every host surface is a pbuffer
        if (colour_class_of(row) == colour_class_rgba8888 && row.config_id != 0 &&
            (top_id == 0 || row.config_id < top_id)) {
            top_id = row.config_id;
            top_config = config;
        }
        constexpr EGLint window_and_pixmap = EGL_WINDOW_BIT | EGL_PIXMAP_BIT;
        bool preferred = is_plain_rgb888(row) && (surface_type & window_and_pixmap) == window_and_pixmap;
        host_display_configs->insert(preferred ? host_display_configs->begin() : host_display_configs->end(),
                                     row);
    }
    return top_config;
}

void report_configs(EGLDisplay display)
{
    constexpr uint32_t dump_level = 6566;
    if (host_display_configs->empty())
        LOG_FATAL("List of host egl configs is empty. eglChooseConfig() or eglGetConfigs() will fail.");
    else if (setting(zelvar_settings.zelvarLogLevel) >= dump_level ||
             setting(zelvar_only_settings.forceHostEGLConfigID) != 0)
        _dump_egl_config_informations(*host_display_configs, "host", reinterpret_cast<uint64_t>(display));
}

void choose_top_config(EGLConfig top_config)
{
    auto forced = static_cast<int32_t>(setting(zelvar_only_settings.forceHostEGLConfigID));
    if (forced != 0) {
        const auto* row = host_row_by_id(forced);
        if (!row)
            LOG_FATAL("Failed to force EGLConfig with ID %dno configs with ID returned.", forced);
        top_config = row ? row->host_config : nullptr;
    }
    local_native_display_top_config = top_config;
}

void stop_without_emulator()
{
    if (setting(zelvar_settings.requireKelvoEmulator) && !zelvar_object_manager_is_test_mode_active())
        std::exit(1);
}

const char* printable(const char* text)
{
    return text ? text : "(null)";
}

void check_egl_vendor(EGLDisplay display)
{
    auto vendor = host::egl<&egl_table::eglQueryString>(display, EGL_VENDOR);
    if (!vendor.ok())
        LOG_WARN("Could not get EGL Vendor Name");
    if (vendor.result && std::strcmp(vendor.result, required_egl_vendor) == 0)
        return;
    LOG_ALWAYS("ERROR", "EGL vendor is not CORVANE: Emulator is not being used: Vendor is %s",
               printable(vendor.result));
    stop_without_emulator();
}

/// Needs a current context.
void check_gl_vendor()
{
    auto vendor = host::gl<&sidechannel_gles_imports::glGetString>(GL_VENDOR);
    if (!vendor.ok())
        LOG_WARN("Could not get GL Vendor Name");
    const char* text = reinterpret_cast<const char*>(vendor.result);
    if (text && std::strcmp(text, required_gl_vendor) == 0)
        return;
    LOG_ALWAYS("ERROR", "GL vendor is not CORVANE: Emulator is not being used: GL vendor: %s",
               printable(text));
    stop_without_emulator();
}

/// Asks OpenGL ES itself who it is, on a context made for that alone.
void check_gl_vendor_on_own_context(EGLDisplay display, EGLConfig config)
{
    constexpr EGLint context_list[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
    constexpr EGLint surface_list[] = {EGL_WIDTH, 16, EGL_HEIGHT, 16, EGL_NONE};
    EGLContext context =
        host::egl_unchecked<&egl_table::eglCreateContext>(display, config, EGL_NO_CONTEXT, context_list);
    if (!context)
        LOG_WARN("Could not create EGL context");
    EGLSurface surface =
        host::egl_unchecked<&egl_table::eglCreatePbufferSurface>(display, config, surface_list);
    if (!surface)
        LOG_WARN("Could not create EGL pbuffer surface");
    if (!host::egl_unchecked<&egl_table::eglMakeCurrent>(display, surface, surface, context))
        LOG_WARN("Could not make EGL context current");

    check_gl_vendor();

    // Both stay current: they go when this thread makes another context current, or ends.
    if (!host::egl_unchecked<&egl_table::eglDestroySurface>(display, surface))
        LOG_WARN("Could not destroy EGL surface");
    if (!host::egl_unchecked<&egl_table::eglDestroyContext>(display, context))
        LOG_WARN("Could not destroy EGL context");
}
} // namespace

void _init_host_egl_configs(bool test_mode)
{
    if (!host_display_configs)
        host_display_configs = new std::vector<_zelvar_object_manager_config>;
    if (test_mode) {
        insert_test_row();
        return;
    }
    EGLDisplay display = open_native_display();
    EGLConfig top_config = display ? list_usable_configs(display) : nullptr;
    report_configs(display);
    choose_top_config(top_config);
    if (!display)
        return; // nobody to ask for a vendor; a host without EGL can still serve other APIs
    check_egl_vendor(display);
    check_gl_vendor_on_own_context(display, top_config);
}
