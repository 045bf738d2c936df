#include "shim/x_windows.h"

#include "shim/log.h"
#include "shim/shared_blocks.h"

#include "wire/pixel_order.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>
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
    decltype(&::xcb_change_window_attributes) change_window_attributes = nullptr;
    decltype(&::xcb_poll_for_event) poll_for_event = nullptr;
    decltype(&::xcb_get_input_focus) get_input_focus = nullptr;
    decltype(&::xcb_get_input_focus_reply) get_input_focus_reply = nullptr;
    decltype(&::xcb_flush) flush = nullptr;
    decltype(&::xcb_get_extension_data) get_extension_data = nullptr;
    decltype(&::xcb_request_check) request_check = nullptr;
    decltype(&::xcb_get_file_descriptor) get_file_descriptor = nullptr;

    bool load();
};

/// What is used of libxcb-shm, which isn't everywhere. Its header is not needed for that.
struct xcb_shm_functions
{
    xcb_extension_t* extension = nullptr;
    xcb_void_cookie_t (*attach)(xcb_connection_t*, uint32_t segment, uint32_t id,
                                uint8_t read_only) = nullptr;
    /// Takes the file. Null in old versions.
    xcb_void_cookie_t (*attach_file)(xcb_connection_t*, uint32_t segment, int32_t file,
                                     uint8_t read_only) = nullptr;
    xcb_void_cookie_t (*detach)(xcb_connection_t*, uint32_t segment) = nullptr;
    xcb_void_cookie_t (*put_image)(xcb_connection_t*, xcb_drawable_t, xcb_gcontext_t, uint16_t total_width,
                                   uint16_t total_height, uint16_t x, uint16_t y, uint16_t width,
                                   uint16_t height, int16_t to_x, int16_t to_y, uint8_t depth, uint8_t format,
                                   uint8_t send_event, uint32_t segment, uint32_t offset) = nullptr;

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
           load_function(library, change_window_attributes, "xcb_change_window_attributes") &&
           load_function(library, poll_for_event, "xcb_poll_for_event") &&
           load_function(library, get_input_focus, "xcb_get_input_focus") &&
           load_function(library, get_input_focus_reply, "xcb_get_input_focus_reply") &&
           load_function(library, flush, "xcb_flush") &&
           load_function(library, get_extension_data, "xcb_get_extension_data") &&
           load_function(library, request_check, "xcb_request_check") &&
           load_function(library, get_file_descriptor, "xcb_get_file_descriptor");
}

bool xcb_shm_functions::load()
{
    void* library = dlopen("libxcb-shm.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library)
        load_function(library, attach_file, "xcb_shm_attach_fd_checked");
    extension = library ? static_cast<xcb_extension_t*>(dlsym(library, "xcb_shm_id")) : nullptr;
    return extension && load_function(library, attach, "xcb_shm_attach_checked") &&
           load_function(library, detach, "xcb_shm_detach") &&
           load_function(library, put_image, "xcb_shm_put_image");
}

/// Results of libxcb are released with free.
template <class T>
using reply = std::unique_ptr<T, decltype(&std::free)>;

template <class T>
reply<T> own(T* pointer)
{
    return {pointer, &std::free};
}

/// While frames follow each other faster than this, the size of a window is what events have told; a frame
/// after a pause asks for it, since a single frame must not miss a resize that is still on its way.
constexpr std::chrono::milliseconds size_holds{10};

class x_server final : public window_server
{
public:
    bool open(const char* name);
    bool size_of(uint64_t window, window_size& size) override;
    bool show(uint64_t window, const frame_view& frame) override;
    void finish_reading() override { wait_for_put(); }
    uint32_t visual() override { return visual_; }
    /// Asks the server something and waits for the answer; false when the connection is broken.
    bool answers();

private:
    struct canvas
    {
        xcb_gcontext_t context = 0;
        uint8_t depth = 0;
        window_size size;
        std::chrono::steady_clock::time_point used;
    };

    bool ask_for_size(xcb_window_t window, window_size& size);

    /// Memory that the server sees too, for frames of so many bytes; null where it can't be had.
    uint8_t* shared_memory(size_t bytes);
    bool is_on_this_machine();
    bool attach_file(int file);
    bool show_in_place(xcb_window_t window, const canvas& to, const frame_view& frame);
    void put_rows(xcb_window_t window, const canvas& to, const frame_view& frame, uint32_t first,
                  uint32_t rows);
    void put_in_pieces(xcb_window_t window, const canvas& to, const frame_view& frame);
    void take_events();
    void forget(xcb_window_t window);
    void note_put();
    void wait_for_put();

    xcb_functions xcb_;
    xcb_shm_functions shm_;
    xcb_connection_t* connection_ = nullptr;
    uint32_t visual_ = 0;
    std::map<uint64_t, canvas> canvases_;
    std::vector<uint8_t> rows_;
    bool shares_memory_ = false;
    uint32_t segment_ = 0;
    uint8_t* shared_ = nullptr;
    size_t shared_bytes_ = 0;
    int attached_file_ = -1;             // which the server was asked to map
    uint32_t file_segment_ = 0;          // 0: the server doesn't
    bool put_under_way_ = false;         // the server may still read from the shared memory
    xcb_get_input_focus_cookie_t put_{}; // a question that stands behind the put
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
    if (shm_.load()) {
        const auto* found = xcb_.get_extension_data(connection_, shm_.extension);
        shares_memory_ = found && found->present;
    }
    return true;
}

uint8_t* x_server::shared_memory(size_t bytes)
{
    if (!shares_memory_ || (shared_ && bytes <= shared_bytes_))
        return shares_memory_ ? shared_ : nullptr;
    if (shared_) {
        shm_.detach(connection_, segment_);
        shmdt(shared_);
        shared_ = nullptr;
    }
    shares_memory_ = false;
    const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    void* memory = id < 0 ? nullptr : shmat(id, nullptr, 0);
    if (memory && memory != reinterpret_cast<void*>(-1)) {
        segment_ = xcb_.generate_id(connection_);
        // A server on another machine, or in another name space, says no.
        shares_memory_ = !own(xcb_.request_check(
            connection_, shm_.attach(connection_, segment_, static_cast<uint32_t>(id), 1)));
        if (shares_memory_)
            shared_ = static_cast<uint8_t*>(memory);
        else
            shmdt(memory);
    }
    if (id >= 0)
        shmctl(id, IPC_RMID, nullptr); // goes when the last of both has left it
    shared_bytes_ = bytes;
    return shared_;
}

bool x_server::is_on_this_machine()
{
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    return getsockname(xcb_.get_file_descriptor(connection_), reinterpret_cast<sockaddr*>(&address), &size) ==
               0 &&
           address.ss_family == AF_UNIX;
}

/// Files travel through local sockets only; sent through another they would end the connection.
bool x_server::attach_file(int file)
{
    if (file == attached_file_)
        return file_segment_ != 0;
    if (file_segment_)
        shm_.detach(connection_, std::exchange(file_segment_, 0));
    attached_file_ = file;
    const int given =
        shares_memory_ && shm_.attach_file && is_on_this_machine() ? fcntl(file, F_DUPFD_CLOEXEC, 0) : -1;
    if (given < 0)
        return false;
    const uint32_t segment = xcb_.generate_id(connection_);
    if (!own(xcb_.request_check(connection_, shm_.attach_file(connection_, segment, given, 1))))
        file_segment_ = segment;
    return file_segment_ != 0;
}

/// The server takes the frame from where it lies.
bool x_server::show_in_place(xcb_window_t window, const canvas& to, const frame_view& frame)
{
    const size_t bytes = size_t{frame.stride} * frame.size.height * 4;
    const bool can_be_taken = frame.blue_first || frame.own;
    const file_place place = can_be_taken ? place_in_shared_file(frame.pixels, bytes) : file_place{};
    if (place.file < 0 || frame.stride > UINT16_MAX || place.offset + bytes > UINT32_MAX ||
        !attach_file(place.file))
        return false;
    if (!frame.blue_first)
        wire::swap_red_and_blue(frame.own, frame.own, bytes / 4);
    const auto width = static_cast<uint16_t>(frame.size.width);
    const auto height = static_cast<uint16_t>(frame.size.height);
    shm_.put_image(connection_, window, to.context, static_cast<uint16_t>(frame.stride), height, 0, 0, width,
                   height, 0, 0, to.depth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0, file_segment_,
                   static_cast<uint32_t>(place.offset));
    note_put();
    return true;
}

bool x_server::size_of(uint64_t window, window_size& size)
{
    take_events();
    const auto found = canvases_.find(window);
    const auto now = std::chrono::steady_clock::now();
    if (found == canvases_.end() || now - std::exchange(found->second.used, now) > size_holds)
        return ask_for_size(static_cast<xcb_window_t>(window), size);
    size = found->second.size;
    return true;
}

bool x_server::ask_for_size(xcb_window_t window, window_size& size)
{
    const uint32_t changes = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    if (!canvases_.contains(window))
        xcb_.change_window_attributes(connection_, window, XCB_CW_EVENT_MASK, &changes);
    xcb_generic_error_t* failure = nullptr;
    const auto geometry =
        own(xcb_.get_geometry_reply(connection_, xcb_.get_geometry(connection_, window), &failure));
    const auto error = own(failure);
    if (!geometry) {
        forget(window);
        return false;
    }
    size = {geometry->width, geometry->height};
    canvas& to = canvases_[window];
    to.size = size;
    to.used = std::chrono::steady_clock::now();
    if (to.depth != geometry->depth) {
        if (to.context)
            xcb_.free_gc(connection_, to.context);
        to.context = xcb_.generate_id(connection_);
        to.depth = geometry->depth;
        xcb_.create_gc(connection_, to.context, window, 0, nullptr);
    }
    return true;
}

/// A row of a frame as the server wants it, with blue first.
void copy_row(const frame_view& frame, uint32_t y, uint8_t* to)
{
    const uint8_t* from = frame.pixels + size_t{y} * frame.stride * 4;
    if (frame.blue_first)
        std::memcpy(to, from, size_t{frame.size.width} * 4);
    else
        wire::swap_red_and_blue(from, to, frame.size.width);
}

void x_server::put_rows(xcb_window_t window, const canvas& to, const frame_view& frame, uint32_t first,
                        uint32_t rows)
{
    const uint32_t width = frame.size.width;
    rows_.resize(size_t{width} * rows * 4);
    uint8_t* at = rows_.data();
    for (uint32_t y = first; y < first + rows; ++y, at += size_t{width} * 4)
        copy_row(frame, y, at);
    xcb_.put_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, to.context, static_cast<uint16_t>(width),
                   static_cast<uint16_t>(rows), 0, static_cast<int16_t>(first), 0, to.depth,
                   static_cast<uint32_t>(rows_.size()), rows_.data());
}

void x_server::put_in_pieces(xcb_window_t window, const canvas& to, const frame_view& frame)
{
    const uint64_t request_bytes = uint64_t{xcb_.get_maximum_request_length(connection_)} * 4;
    const uint64_t row_bytes = uint64_t{frame.size.width} * 4;
    const uint64_t most = (request_bytes - 64) / row_bytes;
    for (uint64_t y = 0; most && y < frame.size.height; y += most)
        put_rows(window, to, frame, static_cast<uint32_t>(y),
                 static_cast<uint32_t>(std::min<uint64_t>(most, frame.size.height - y)));
}

bool x_server::show(uint64_t window, const frame_view& frame)
{
    const auto found = canvases_.find(window);
    const window_size size = frame.size;
    if (found == canvases_.end() || size.width == 0 || size.height == 0)
        return false;
    const canvas& to = found->second;
    if (to.depth != 24 && to.depth != 32) {
        SHIM_SAY_ONCE(gate::error, "A window of %u bits can't show frames; 24 and 32 can.", to.depth);
        return false;
    }
    // An application can't run ahead of the server by more than a frame.
    wait_for_put();
    if (show_in_place(static_cast<xcb_window_t>(window), to, frame))
        return true;
    const size_t row_bytes = size_t{size.width} * 4;
    if (uint8_t* shared = shared_memory(row_bytes * size.height)) {
        for (uint32_t y = 0; y < size.height; ++y)
            copy_row(frame, y, shared + y * row_bytes);
        const auto width = static_cast<uint16_t>(size.width);
        const auto height = static_cast<uint16_t>(size.height);
        shm_.put_image(connection_, static_cast<xcb_window_t>(window), to.context, width, height, 0, 0, width,
                       height, 0, 0, to.depth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0, segment_, 0);
    } else {
        put_in_pieces(static_cast<xcb_window_t>(window), to, frame);
    }
    note_put();
    return false;
}

void x_server::note_put()
{
    put_ = xcb_.get_input_focus(connection_);
    put_under_way_ = true;
    xcb_.flush(connection_);
}

void x_server::wait_for_put()
{
    if (std::exchange(put_under_way_, false))
        own(xcb_.get_input_focus_reply(connection_, put_, nullptr));
}

bool x_server::answers()
{
    return own(xcb_.get_input_focus_reply(connection_, xcb_.get_input_focus(connection_), nullptr)) !=
           nullptr;
}

void x_server::forget(xcb_window_t window)
{
    const auto found = canvases_.find(window);
    if (found == canvases_.end())
        return;
    xcb_.free_gc(connection_, found->second.context);
    canvases_.erase(found);
}

/// Notes what has become of windows. Errors are nobody's: a window may go at any time.
void x_server::take_events()
{
    while (const auto event = own(xcb_.poll_for_event(connection_))) {
        constexpr uint8_t sent_by_a_client = 0x80;
        const int kind = event->response_type & ~sent_by_a_client;
        if (kind == XCB_CONFIGURE_NOTIFY) {
            const auto* change = reinterpret_cast<const xcb_configure_notify_event_t*>(event.get());
            if (const auto found = canvases_.find(change->window); found != canvases_.end())
                found->second.size = {change->width, change->height};
        } else if (kind == XCB_DESTROY_NOTIFY) {
            forget(reinterpret_cast<const xcb_destroy_notify_event_t*>(event.get())->window);
        }
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

void settle_xcb_connection(void* connection)
{
    xcb_functions xcb;
    if (!connection || !xcb.load())
        return;
    auto* to = static_cast<xcb_connection_t*>(connection);
    own(xcb.get_input_focus_reply(to, xcb.get_input_focus(to), nullptr));
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
