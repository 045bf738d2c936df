#pragma once
// Windows and their frame buffers. A native window is a full screen of the frame buffer's size, unless the
// application is a client of an X server: then it is what the server says.

#include "shim/connection.h"

#include <cstddef>
#include <cstdint>

namespace shim {

struct window_size
{
    uint32_t width = 0;  // pixels
    uint32_t height = 0; // pixels

    bool operator==(const window_size&) const = default;
};

/// Pixels that a finished frame is shown with: R, G, B, A bytes, the top row first.
struct frame_view
{
    const uint8_t* pixels = nullptr;
    window_size size;
    uint32_t stride = 0;     // pixels
    bool blue_first = false; // B, G, R, A
    uint8_t* own = nullptr;  // the same pixels, where nobody minds what becomes of them
};

/// Called once nobody looks at a frame's pixels any more.
struct read_notice
{
    void (*read)(void* owner, uint32_t number) = nullptr;
    void* owner = nullptr;
    uint32_t number = 0;
};

/// A server that knows real windows. Calls may come from any thread, one at a time.
class window_server
{
public:
    virtual ~window_server() = default;

    /// The window's size; false when there is no such window.
    virtual bool size_of(uint64_t window, window_size& size) = 0;

    /// Shows a frame. True while its pixels are still being looked at, until `finish_reading` or the next
    /// frame; those of its `own` are blue first from then on.
    virtual bool show(uint64_t window, const frame_view& frame) = 0;
    virtual void finish_reading() {}

    /// The visual that windows of an application should be made with; 0 when unknown.
    virtual uint32_t visual() = 0;
};

/// The size of the screen that the simulator offers, from the environment (ZELVAR_FB=WxH), else 640x480.
window_size screen_size();

/// Makes the process a client of a window server, for good; the first one stays. Null is ignored.
void use_window_server(window_server* server);

/// The visual of the window server; 0 without one.
uint32_t window_visual();

/// The size of a native window; zeros for the null window.
window_size size_of_window(uint64_t native_window);

/// A window surface was made, or has gone.
void add_window_surface(void* surface, uint64_t native_window);
void remove_window_surface(void* surface);

/// What a swap message says about the frame buffer of a surface. All zero for other surfaces.
struct frame_buffer
{
    const uint8_t* address = nullptr;
    uint32_t length = 0; // bytes
    window_size size;
    uint32_t stride = 0; // pixels
};

/// The frame buffer of a window surface, made anew when the window has changed its size.
frame_buffer frame_buffer_for_swap(void* surface);

/// The same with a size that isn't the window's to tell, but the application's.
frame_buffer frame_buffer_of_size(void* surface, window_size size);

/// Memory that the library writes frames to, compressed ones too; nothing else may lie behind it.
class frame_memory
{
public:
    frame_memory() = default;
    ~frame_memory();
    frame_memory(const frame_memory&) = delete;
    frame_memory& operator=(const frame_memory&) = delete;

    /// Makes the memory for frames of this size, all zero, in the place of what there was. False when there
    /// is none.
    bool make(window_size size);
    void release();
    /// Leaves the memory where it is and forgets it.
    void forget() { pixels_ = nullptr; }

    uint8_t* pixels() const { return pixels_; }
    /// Bytes for a frame of this size.
    static uint32_t length(window_size size);

private:
    uint8_t* pixels_ = nullptr;
    void* span_ = nullptr; // address space that they lie in
    size_t bytes_ = 0;     // of that
};

/// The size that the library has to read and write frames of `surface` with.
window_size frame_size(void* surface);

/// The library asks for that size only now and then; this is what it was told last.
window_size told_frame_size();
void note_told_width(uint32_t width);
void note_told_height(uint32_t height);

/// A swap has returned. When it went well, shows the frame and tells the device.
void frame_swapped(void* surface, bool swapped);

/// The same for a frame that isn't in the surface's frame buffer yet, where nobody would look for it there.
/// Otherwise false, and nothing is done. `notice` may come at once, or when another frame is shown, or from
/// `finish_reading_images`; with the lock of the windows held.
bool show_image(void* surface, const frame_view& image, const read_notice& notice);

/// Waits until no image is being read. Any thread.
void finish_reading_images();

/// Whether a swap of this surface can be taken for granted, since the one before it went well.
bool swap_will_succeed(void* surface);

/// A swap of this surface whose answer is left for later: the next frame gets memory of its own, and this one
/// is shown once it has arrived.
late_frame late_frame_of(void* surface);

/// For a forked child and for tests: forgets all windows.
void forget_windows();

} // namespace shim
