#include "shim/windows.h"

#include "shim/compressed_frames.h"
#include "shim/connection.h"
#include "shim/late_frames.h"
#include "shim/log.h"
#include "shim/process_lock.h"
#include "shim/shared_blocks.h"

#include <EGL/egl.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace shim {

namespace {

/// Address space behind each frame buffer that nothing may touch. The library writes frames with the size
/// that it was told last, which can be another process's: what is too long must not hit the application.
/// Behind a block that the device shares it may be written, and nobody reads it.
constexpr size_t guard_span = size_t{16} << 20;

/// The first pixels of a frame buffer that was shown in place, until the library writes the next frame there.
/// No picture begins with them.
using frame_head = std::array<uint8_t, 16>;
constexpr frame_head unwritten{0x5a, 0xe1, 0x0c, 0x93, 0x7f, 0x28, 0xd4, 0xb6,
                               0x11, 0xc9, 0x4e, 0x85, 0xf2, 0x3b, 0x60, 0xad};

struct frame
{
    frame_memory memory;
    window_size size;
    bool turned = false; // blue first, since it was shown in place
    frame_head head{};   // what `unwritten` stands in the place of

    bool is_unwritten() const
    {
        return turned && std::memcmp(memory.pixels(), unwritten.data(), unwritten.size()) == 0;
    }
    /// Before the library is asked for the next frame. It may leave it out, and then this one is shown again.
    void mark()
    {
        if (!turned || is_unwritten())
            return;
        std::memcpy(head.data(), memory.pixels(), head.size());
        std::memcpy(memory.pixels(), unwritten.data(), unwritten.size());
    }
    /// Before it is shown.
    void take_mark_away()
    {
        turned = is_unwritten();
        if (turned)
            std::memcpy(memory.pixels(), head.data(), head.size());
    }
};

struct surface_record
{
    uint64_t native_window = 0;
    window_size size;
    frame frames[2]; // the second one is for swaps whose answer is left for later
    uint32_t next = 0;
    bool swapped = false;     // the last swap went well
    uint32_t out = 0;         // frames whose answers are still to be taken
    frame* arrived = nullptr; // its answer was, and it is still to be shown

    frame& current() { return frames[next]; }
    frame& oldest_out() { return frames[(next + out) % std::size(frames)]; }
};

// All guarded by windows_lock and never destroyed.
process_lock& windows_lock = *new process_lock;
std::map<void*, surface_record>& surfaces = *new std::map<void*, surface_record>;
window_server* server = nullptr;
window_size told;
read_notice being_read;           // the image that the server may still look at
const frame* looked_at = nullptr; // the frame that it may still look at

/// Before the server does anything else: it looks at one image at a time.
void finish_reading_locked()
{
    if (!being_read.read)
        return;
    if (server)
        server->finish_reading();
    const read_notice done = std::exchange(being_read, {});
    done.read(done.owner, done.number);
}

/// Before the memory of a frame gets another one, or goes.
void finish_looking_locked(const frame& at)
{
    if (looked_at != &at)
        return;
    looked_at = nullptr;
    if (server)
        server->finish_reading();
}

void drop_surface_locked(void* surface)
{
    const auto found = surfaces.find(surface);
    if (found == surfaces.end())
        return;
    for (const frame& each : found->second.frames)
        finish_looking_locked(each);
    surfaces.erase(found);
}

window_size size_of_window_locked(uint64_t native_window)
{
    window_size size;
    if (server && server->size_of(native_window, size))
        return size;
    return native_window ? screen_size() : window_size{};
}

frame_buffer frame_buffer_locked(surface_record& record, window_size size)
{
    if (size.width && size.height)
        record.size = size;
    frame& to = record.current();
    finish_looking_locked(to);
    if (!to.memory.pixels() || to.size != record.size) {
        to.size = record.size;
        to.turned = false;
        if (!to.memory.make(to.size))
            return {};
    }
    to.mark();
    return {to.memory.pixels(), frame_memory::length(to.size), to.size, to.size.width};
}

size_t round_up(size_t number, size_t step)
{
    return (number + step - 1) / step * step;
}

/// What the device says of frames. Asked before the lock is taken, as a conversation with the device takes
/// it.
struct frame_customs
{
    bool compressed = frames_are_compressed();
    bool only_counted = frames_are_only_counted();
};

void show_frame(uint64_t native_window, frame& shown, const frame_customs& customs)
{
    std::unique_ptr<uint8_t[]> pixels;
    if (customs.compressed && !(pixels = decompress_frame(shown.memory.pixels(), shown.size)))
        return;
    finish_reading_locked();
    shown.take_mark_away();
    frame_view view{.pixels = shown.memory.pixels(),
                    .size = shown.size,
                    .stride = shown.size.width,
                    .blue_first = shown.turned};
    if (customs.compressed)
        view.pixels = pixels.get();
    else if (customs.only_counted && uint64_t{shown.size.width} * shown.size.height * 4 >= unwritten.size())
        view.own = shown.memory.pixels();
    looked_at = server->show(native_window, view) ? &shown : nullptr;
    shown.turned = shown.turned || (looked_at && view.own);
    if (customs.compressed)
        finish_looking_locked(shown); // its pixels go at once
}

surface_record* find_surface(void* surface)
{
    const auto found = surfaces.find(surface);
    return found == surfaces.end() ? nullptr : &found->second;
}

frame_notice notice_of(const frame& finished)
{
    return {finished.memory.pixels(), finished.size.width, finished.size.height};
}

/// Shows a frame of a surface; what the device is to be told of it. With the lock held.
frame_notice show_locked(const surface_record& record, frame& shown, const frame_customs& customs)
{
    if (server)
        show_frame(record.native_window, shown, customs);
    return notice_of(shown);
}

void frame_is_out(void* surface, uint32_t)
{
    const std::lock_guard<process_lock> guard{windows_lock};
    if (surface_record* record = find_surface(surface)) {
        ++record->out;
        record->next ^= 1;
    }
}

void show_arrived(void* surface, uint32_t)
{
    frame_notice notice;
    const frame_customs customs;
    {
        const std::lock_guard<process_lock> guard{windows_lock};
        surface_record* record = find_surface(surface);
        frame* const arrived = record ? std::exchange(record->arrived, nullptr) : nullptr;
        if (!arrived)
            return;
        notice = show_locked(*record, *arrived, customs);
    }
    announce_frame(notice);
}

void frame_arrived(void* surface, uint32_t, const return_value& answer)
{
    const std::lock_guard<process_lock> guard{windows_lock};
    surface_record* record = find_surface(surface);
    if (!record || !record->out)
        return;
    frame* const arrived = &record->oldest_out();
    --record->out;
    record->swapped = answer.value == EGL_TRUE;
    if (!record->swapped)
        return;
    record->arrived = arrived;
    show_later(show_arrived, surface, 0);
}

} // namespace

frame_memory::~frame_memory()
{
    release();
}

void frame_memory::release()
{
    if (pixels_ && !give_back_shared_block(pixels_))
        munmap(span_, bytes_);
    pixels_ = nullptr;
}

/// Bytes of a frame buffer: its pixels, or a compressed frame that found nothing to save, which has a header
/// block of 16 bytes for each 16x16 pixels and whole 16x16 pixels at its edges.
uint32_t frame_memory::length(window_size size)
{
    const uint32_t across = (size.width + 15) / 16;
    const uint32_t down = (size.height + 15) / 16;
    return across * down * (16 + 16 * 16 * 4);
}

bool frame_memory::make(window_size size)
{
    release();
    // Where it isn't shared, the simulator reaches memory of large pages in less than half the time.
    constexpr size_t large_page = size_t{2} << 20;
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t used = round_up(length(size), page);
    if ((pixels_ = take_shared_block(used, guard_span))) {
        std::memset(pixels_, 0, used);
        return true;
    }
    const size_t step = used < large_page / 4 ? page : large_page;
    const size_t bytes = round_up(used, step);
    bytes_ = step + bytes + guard_span;
    span_ = mmap(nullptr, bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    auto* begin = reinterpret_cast<uint8_t*>(round_up(reinterpret_cast<uintptr_t>(span_), step));
    if (span_ == MAP_FAILED || mprotect(begin, bytes, PROT_READ | PROT_WRITE) != 0) {
        say(gate::error, "There is no memory for a frame buffer of %ux%u.", size.width, size.height);
        if (span_ != MAP_FAILED)
            munmap(span_, bytes_);
        return false;
    }
    madvise(begin, bytes, MADV_HUGEPAGE);
    pixels_ = begin + bytes - used; // right in front of what nothing may touch
    return true;
}

window_size screen_size()
{
    window_size size;
    const char* text = std::getenv("ZELVAR_FB");
    constexpr uint32_t widest = 16384;
    if (text && std::sscanf(text, "%ux%u", &size.width, &size.height) == 2 && size.width && size.height &&
        size.width <= widest && size.height <= widest)
        return size;
    if (text)
        SHIM_SAY_ONCE(gate::error, "ZELVAR_FB=%s is no size like 640x480.", text);
    return {640, 480};
}

void use_window_server(window_server* new_server)
{
    const std::lock_guard<process_lock> guard{windows_lock};
    if (!server)
        server = new_server;
}

uint32_t window_visual()
{
    const std::lock_guard<process_lock> guard{windows_lock};
    return server ? server->visual() : 0;
}

window_size size_of_window(uint64_t native_window)
{
    const std::lock_guard<process_lock> guard{windows_lock};
    return size_of_window_locked(native_window);
}

void add_window_surface(void* surface, uint64_t native_window)
{
    const std::lock_guard<process_lock> guard{windows_lock};
    drop_surface_locked(surface);
    surface_record& record = surfaces[surface];
    record.native_window = native_window;
    record.size = size_of_window_locked(native_window);
}

void remove_window_surface(void* surface)
{
    settle_late_frames(); // which writes to the memory that goes
    const std::lock_guard<process_lock> guard{windows_lock};
    drop_surface_locked(surface);
}

frame_buffer frame_buffer_for_swap(void* surface)
{
    std::unique_lock<process_lock> guard{windows_lock};
    surface_record* record = find_surface(surface);
    if (!record)
        return {};
    const window_size size = size_of_window_locked(record->native_window);
    if (record->out && size != record->size) {
        // The library may ask for the size of the frame that is out.
        guard.unlock();
        finish_late_frames();
        guard.lock();
        record = find_surface(surface);
    }
    return record ? frame_buffer_locked(*record, size) : frame_buffer{};
}

frame_buffer frame_buffer_of_size(void* surface, window_size size)
{
    const std::lock_guard<process_lock> guard{windows_lock};
    surface_record* record = find_surface(surface);
    return record ? frame_buffer_locked(*record, size) : frame_buffer{};
}

window_size frame_size(void* surface)
{
    const std::lock_guard<process_lock> guard{windows_lock};
    const surface_record* record = find_surface(surface);
    return record ? record->size : screen_size();
}

window_size told_frame_size()
{
    const std::lock_guard<process_lock> guard{windows_lock};
    return told;
}

void note_told_width(uint32_t width)
{
    const std::lock_guard<process_lock> guard{windows_lock};
    told.width = width;
}

void note_told_height(uint32_t height)
{
    const std::lock_guard<process_lock> guard{windows_lock};
    told.height = height;
}

bool show_image(void* surface, const frame_view& image, const read_notice& read)
{
    if (!frames_are_only_counted() || frames_are_compressed())
        return false;
    frame_notice notice;
    {
        const std::lock_guard<process_lock> guard{windows_lock};
        surface_record* record = find_surface(surface);
        finish_reading_locked();
        being_read = read;
        if (!record || !server || !server->show(record->native_window, image))
            finish_reading_locked();
        if (!record)
            return true;
        notice = notice_of(record->current());
    }
    announce_frame(notice);
    return true;
}

void finish_reading_images()
{
    const std::lock_guard<process_lock> guard{windows_lock};
    finish_reading_locked();
}

void frame_swapped(void* surface, bool swapped)
{
    frame_notice notice;
    const frame_customs customs;
    {
        const std::lock_guard<process_lock> guard{windows_lock};
        surface_record* record = find_surface(surface);
        if (!record || !record->current().memory.pixels())
            return;
        record->swapped = swapped;
        if (!swapped)
            return;
        notice = show_locked(*record, record->current(), customs);
    }
    announce_frame(notice);
}

bool swap_will_succeed(void* surface)
{
    const std::lock_guard<process_lock> guard{windows_lock};
    const surface_record* record = find_surface(surface);
    return record && record->swapped;
}

late_frame late_frame_of(void* surface)
{
    return {.sent = frame_is_out, .answered = frame_arrived, .owner = surface};
}

void forget_windows()
{
    windows_lock.revive();
    // Frame buffers stay mapped: in a forked child they are a copy that nothing refers to any more.
    for (auto& [surface, record] : surfaces)
        for (frame& each : record.frames)
            each.memory.forget();
    surfaces.clear();
    server = nullptr;
    told = {};
    being_read = {};
    looked_at = nullptr;
}

} // namespace shim
