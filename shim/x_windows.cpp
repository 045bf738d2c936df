#include "shim/x_windows.h"

#include "shim/log.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>

namespace shim {

namespace {

/// What is used of libxcb, by name.
struct xcb_functions
{
    decltype(&::xcb_connect) connect = nullptr;
    decltype(&::xcb_connection_has_error) connection_has_error = nullptr;
    decltype(&::xcb_get_setup) get_setup = nullptr;
    decltype(&::xcb_setup_roots_iterator) setup_roots_iterator = nullptr;
    decltype(&::xcb_screen_next) screen_next = nullptr;
    decltype(&::xcb_get_geometry) get_geometry = nullptr;
    decltype(&::xcb_get_geometry_reply) get_geometry_reply = nullptr;
    decltype(&::xcb_generate_id) generate_id = nullptr;
    decltype(&::xcb_create_gc) create_gc = nullptr;
    decltype(&::xcb_free_gc) free_gc = nullptr;
    decltype(&::xcb_put_image) put_image = nullptr;
    decltype(&::xcb_get_maximum_request_length) get_maximum_request_length = nullptr;
    decltype(&::xcb_poll_for_event) poll_for_event = nullptr;
    decltype(&::xcb_get_input_focus) get_input_focus = nullptr;
    decltype(&::xcb_get_input_focus_reply) get_input_focus_reply = nullptr;

    bool load();
};

template <class F>
bool load_function(void* library, F& function, const char* name)
{
    function = reinterpret_cast<F>(dlsym(library, name));
    return function != nullptr;
}

bool xcb_functions::load()
{
    void* library = dlopen("libxcb.so.1", RTLD_NOW | RTLD_LOCAL);
    return library && load_function(library, connect, "xcb_connect") &&
           load_function(library, connection_has_error, "xcb_connection_has_error") &&
           load_function(library, get_setup, "xcb_get_setup") &&
           load_function(library, setup_roots_iterator, "xcb_setup_roots_iterator") &&
           load_function(library, screen_next, "xcb_screen_next") &&
           load_function(library, get_geometry, "xcb_get_geometry") &&
           load_function(library, get_geometry_reply, "xcb_get_geometry_reply") &&
           load_function(library, generate_id, "xcb_generate_id") &&
           load_function(library, create_gc, "xcb_create_gc") &&
           load_function(library, free_gc, "xcb_free_gc") &&
           load_function(library, put_image, "xcb_put_image") &&
           load_function(library, get_maximum_request_length, "xcb_get_maximum_request_length") &&
           load_function(library, poll_for_event, "xcb_poll_for_event") &&
           load_function(library, get_input_focus, "xcb_get_input_focus") &&
           load_function(library, get_input_focus_reply, "xcb_get_input_focus_reply");
}

/// Results of libxcb are released with free.
template <class T>
using reply = std::unique_ptr<T, decltype(&std::free)>;

template <class T>
reply<T> own(T* pointer)
{
    return {pointer, &std::free};
}

class x_server final : public window_server
{
public:
    bool open(const char* name);
    bool size_of(uint64_t window, window_size& size) override;
    void show(uint64_t window, const frame_view& frame) override;
    uint32_t visual() override { return visual_; }
    /// Asks the server something and waits for the answer; false when the connection is broken.
    bool answers();

private:
    struct canvas
    {
        xcb_gcontext_t context = 0;
        uint8_t depth = 0;
    };

    void put_rows(xcb_window_t window, const canvas& to, const frame_view& frame, uint32_t first,
                  uint32_t rows);
    void drop_errors();

    xcb_functions xcb_;
    xcb_connection_t* connection_ = nullptr;
    uint32_t visual_ = 0;
    std::map<uint64_t, canvas> canvases_;
    std::vector<uint8_t> rows_;
};

bool x_server::open(const char* name)
{
    if (!xcb_.load()) {
        say(gate::error, "libxcb.so.1 can't be used; windows are taken for full screens.");
        return false;
    }
    int screen_number = 0;
    connection_ = xcb_.connect(name, &screen_number);
    if (xcb_.connection_has_error(connection_)) {
        say(gate::error, "The X server %s can't be reached.", name ? name : "of the environment");
        return false;
    }
    xcb_screen_iterator_t screen = xcb_.setup_roots_iterator(xcb_.get_setup(connection_));
    for (; screen_number > 0 && screen.rem > 1; --screen_number)
        xcb_.screen_next(&screen);
    if (screen.rem > 0)
        visual_ = screen.data->root_visual;
    return true;
}

bool x_server::size_of(uint64_t window, window_size& size)
{
    const auto id = static_cast<xcb_window_t>(window);
    xcb_generic_error_t* failure = nullptr;
    const auto geometry =
        own(xcb_.get_geometry_reply(connection_, xcb_.get_geometry(connection_, id), &failure));
    const auto error = own(failure);
    if (!geometry) {
        canvases_.erase(window);
        return false;
    }
    size = {geometry->width, geometry->height};
    canvas& to = canvases_[window];
    if (to.depth != geometry->depth) {
        if (to.context)
            xcb_.free_gc(connection_, to.context);
        to = {xcb_.generate_id(connection_), geometry->depth};
        xcb_.create_gc(connection_, to.context, id, 0, nullptr);
    }
    return true;
}

void x_server::put_rows(xcb_window_t window, const canvas& to, const frame_view& frame, uint32_t first,
                        uint32_t rows)
{
    const uint32_t width = frame.size.width;
    rows_.resize(size_t{width} * rows * 4);
    uint8_t* at = rows_.data();
    for (uint32_t y = first; y < first + rows; ++y) {
        const uint8_t* from = frame.pixels + size_t{y} * frame.stride * 4;
        for (uint32_t x = 0; x < width; ++x, from += 4, at += 4) {
            at[0] = from[2];
            at[1] = from[1];
            at[2] = from[0];
            at[3] = from[3];
        }
    }
    xcb_.put_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, to.context, static_cast<uint16_t>(width),
                   static_cast<uint16_t>(rows), 0, static_cast<int16_t>(first), 0, to.depth,
                   static_cast<uint32_t>(rows_.size()), rows_.data());
}

void x_server::show(uint64_t window, const frame_view& frame)
{
    const auto found = canvases_.find(window);
    if (found == canvases_.end() || frame.size.width == 0)
        return;
    const canvas& to = found->second;
    if (to.depth != 24 && to.depth != 32) {
        SHIM_SAY_ONCE(gate::error, "A window of %u bits can't show frames; 24 and 32 can.", to.depth);
        return;
    }
    const uint64_t request_bytes = uint64_t{xcb_.get_maximum_request_length(connection_)} * 4;
    const uint64_t row_bytes = uint64_t{frame.size.width} * 4;
    const uint64_t most = (request_bytes - 64) / row_bytes;
    for (uint64_t y = 0; most && y < frame.size.height; y += most)
        put_rows(static_cast<xcb_window_t>(window), to, frame, static_cast<uint32_t>(y),
                 static_cast<uint32_t>(std::min<uint64_t>(most, frame.size.height - y)));
    // Wait for the server, so that an application can't run ahead of it without end.
    answers();
    drop_errors();
}

bool x_server::answers()
{
    return own(xcb_.get_input_focus_reply(connection_, xcb_.get_input_focus(connection_), nullptr)) !=
           nullptr;
}

void x_server::drop_errors()
{
    // A window may go at any time; the errors that this makes are nobody's.
    while (own(xcb_.poll_for_event(connection_))) {
    }
}

void* loaded_xlib()
{
    return dlopen("libX11.so.6", RTLD_NOW | RTLD_NOLOAD);
}

} // namespace

bool is_xlib_display(void* native_display)
{
    if (!native_display || !loaded_xlib())
        return false;
    // A display of Wayland begins with the address of its interface. The pointer may lead nowhere, so it is
    // read through the kernel.
    void* first_word = nullptr;
    const iovec to{&first_word, sizeof first_word};
    const iovec from{native_display, sizeof first_word};
    if (process_vm_readv(getpid(), &to, 1, &from, 1, 0) != static_cast<ssize_t>(sizeof first_word))
        return false;
    const void* wayland = dlsym(RTLD_DEFAULT, "wl_display_interface");
    return !wayland || first_word != wayland;
}

void settle_x_display(void* xlib_display)
{
    void* xlib = loaded_xlib();
    if (!xlib || !xlib_display)
        return;
    using sync_function = int (*)(void*, int);
    if (const auto sync = reinterpret_cast<sync_function>(dlsym(xlib, "XSync")))
        sync(xlib_display, 0);
}

window_server* open_x_server(void* xlib_display)
{
    static std::mutex& lock = *new std::mutex;
    static auto& servers = *new std::map<std::string, x_server*>;
    const char* name = nullptr;
    if (xlib_display) {
        void* xlib = loaded_xlib();
        using name_function = char* (*)(void*);
        const auto display_name =
            xlib ? reinterpret_cast<name_function>(dlsym(xlib, "XDisplayString")) : nullptr;
        if (!display_name)
            return nullptr;
        name = display_name(xlib_display);
    }
    const std::lock_guard<std::mutex> guard{lock};
    x_server*& known = servers[name ? name : ""];
    if (known && known->answers())
        return known;
    // A server whose connection broke stays: a window server is for good.
    known = nullptr;
    auto server = std::make_unique<x_server>();
    if (server->open(name))
        known = server.release();
    return known;
}

} // namespace shim
