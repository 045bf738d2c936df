#include "frame_sink.h"

#include "picture_file.h"
#include "tpakutil/tpak_main.h"

#include <cstdio>
#include <new>
#include <utility>

namespace simulator {
namespace {

constexpr uint32_t largest_side = 16384;
constexpr uint64_t largest_block = 256u << 20;
constexpr size_t frames_ahead = 8;
/// Further windows of a process that has made so many share one number.
constexpr size_t most_windows = 1024;

/// From the first pixel to the last one, bytes.
uint64_t block_size(const frame_buffer_place& place)
{
    return (uint64_t{place.stride} * (place.height - 1) + place.width) * (place.bits_per_pixel / 8);
}

const char* fault_of(const frame_buffer_place& place)
{
    if (!place.address)
        return "has no address";
    if (!place.width || !place.height || place.width > largest_side || place.height > largest_side)
        return "has an impossible size";
    if (place.stride < place.width || place.stride > 2 * largest_side)
        return "has an impossible stride";
    if (place.bits_per_pixel != 16 && place.bits_per_pixel != 24 && place.bits_per_pixel != 32)
        return "has neither 16, 24 nor 32 bits a pixel";
    if (block_size(place) > largest_block)
        return "is too large";
    return nullptr;
}

uint8_t widen(uint32_t value, uint32_t bits)
{
    return static_cast<uint8_t>((value << (8 - bits)) | (value >> (2 * bits - 8)));
}

void convert_row(const uint8_t* source, uint32_t bytes_per_pixel, uint8_t* target, uint32_t width,
                 bool keep_alpha)
{
    const uint32_t channels = keep_alpha ? 4 : 3;
    for (uint32_t x = 0; x < width; ++x, source += bytes_per_pixel, target += channels) {
        if (bytes_per_pixel == 2) {
            const uint32_t packed = source[0] | uint32_t{source[1]} << 8;
            target[0] = widen(packed >> 11, 5);
            target[1] = widen(packed >> 5 & 0x3f, 6);
            target[2] = widen(packed & 0x1f, 5);
        } else {
            target[0] = source[0];
            target[1] = source[1];
            target[2] = source[2];
        }
        if (keep_alpha)
            target[3] = bytes_per_pixel == 4 ? source[3] : 255;
    }
}

picture picture_of(const frame_buffer_place& place, const uint8_t* block, uint32_t stride, bool keep_alpha)
{
    picture frame{place.width, place.height, keep_alpha ? 4u : 3u, {}};
    const uint32_t bytes_per_pixel = place.bits_per_pixel / 8;
    const size_t out_row = size_t{frame.channels} * frame.width;
    frame.pixels.resize(out_row * frame.height);
    for (uint32_t y = 0; y < frame.height; ++y)
        convert_row(block + uint64_t{y} * stride * bytes_per_pixel, bytes_per_pixel,
                    frame.pixels.data() + y * out_row, frame.width, keep_alpha);
    return frame;
}

/// The codec gives 16-bit pixels back with the outer two of their components exchanged.
void exchange_ends(std::vector<uint8_t>& pixels)
{
    for (size_t i = 0; i + 1 < pixels.size(); i += 2) {
        const uint32_t packed = pixels[i] | uint32_t{pixels[i + 1]} << 8;
        const uint32_t exchanged = (packed & 0x7e0) | packed >> 11 | (packed & 0x1f) << 11;
        pixels[i] = static_cast<uint8_t>(exchanged);
        pixels[i + 1] = static_cast<uint8_t>(exchanged >> 8);
    }
}

} // namespace

picture copy_compressed_frame(const frame_buffer_place& place, const memory_reader& read, bool keep_alpha,
                              const char** why)
try {
    *why = fault_of(place);
    if (*why)
        return {};
    tpak_opts options;
    options.yuv_trans = 1; // as for any frame buffer that names no attributes
    const uint32_t bytes_per_pixel = place.bits_per_pixel / 8;
    TpakDecoder decoder{bytes_per_pixel - 1, place.width, place.height, &options};
    std::vector<uint8_t> block(decoder.getMaxFrameSize());
    if (read(place.address, block.data(), static_cast<uint32_t>(block.size())) != block.size()) {
        *why = "can't be read";
        return {};
    }
    std::vector<uint8_t> pixels(size_t{place.width} * place.height * bytes_per_pixel);
    if (!decoder.decode(block.data(), pixels.data())) {
        *why = "is too large";
        return {};
    }
    if (bytes_per_pixel == 2)
        exchange_ends(pixels);
    return picture_of(place, pixels.data(), place.width, keep_alpha);
} catch (const std::bad_alloc&) {
    *why = "doesn't fit into memory";
    return {};
}

picture copy_frame(const frame_buffer_place& place, const memory_reader& read, bool keep_alpha,
                   const char** why)
try {
    *why = fault_of(place);
    if (*why)
        return {};
    std::vector<uint8_t> block(block_size(place));
    if (read(place.address, block.data(), static_cast<uint32_t>(block.size())) != block.size()) {
        *why = "can't be read";
        return {};
    }
    return picture_of(place, block.data(), place.stride, keep_alpha);
} catch (const std::bad_alloc&) {
    *why = "doesn't fit into memory";
    return {};
}

std::string frame_name(const std::string& application, long process, uint32_t window, uint64_t number)
{
    char tail[80];
    if (window == 0)
        std::snprintf(tail, sizeof tail, "_%ld_%04llu.png", process, static_cast<unsigned long long>(number));
    else
        std::snprintf(tail, sizeof tail, "_%ld_w%u_%04llu.png", process, window,
                      static_cast<unsigned long long>(number));
    return application + tail;
}

window_numbers::frame window_numbers::next(uint64_t frame_buffer)
{
    const uint64_t key = _windows.size() < most_windows || _windows.contains(frame_buffer) ? frame_buffer : 0;
    window& found =
        _windows.try_emplace(key, window{static_cast<uint32_t>(_windows.size()), 0}).first->second;
    return {found.index, found.frames++};
}

frame_writer::frame_writer(frame_options options) : _options(std::move(options)), _thread([this] { run(); })
{
}

frame_writer::~frame_writer()
{
    {
        std::lock_guard guard{_lock};
        _stop = true;
    }
    _changed.notify_all();
    _thread.join();
}

void frame_writer::put(std::string name, picture frame)
{
    std::unique_lock guard{_lock};
    _changed.wait(guard, [this] { return _jobs.size() < frames_ahead; });
    _jobs.push_back({std::move(name), std::move(frame)});
    _changed.notify_all();
}

void frame_writer::flush()
{
    std::unique_lock guard{_lock};
    _changed.wait(guard, [this] { return _jobs.empty() && !_writing; });
}

uint64_t frame_writer::written() const
{
    std::lock_guard guard{_lock};
    return _written;
}

uint64_t frame_writer::failed() const
{
    std::lock_guard guard{_lock};
    return _failed;
}

void frame_writer::run()
{
    std::unique_lock guard{_lock};
    for (;;) {
        _changed.wait(guard, [this] { return _stop || !_jobs.empty(); });
        if (_jobs.empty())
            return;
        const job next = std::move(_jobs.front());
        _jobs.pop_front();
        _writing = true;
        guard.unlock();
        const std::string fault =
            write_picture_file(_options.directory + "/" + next.name, next.frame.width, next.frame.height,
                               next.frame.channels, next.frame.pixels.data());
        guard.lock();
        _writing = false;
        ++(fault.empty() ? _written : _failed);
        if (!fault.empty() && _failed == 1)
            std::fprintf(stderr, "zelvar-sim: a frame can't be written: %s\n", fault.c_str());
        _changed.notify_all();
    }
}

} // namespace simulator
