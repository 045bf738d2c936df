#include "combiner.h"

#include "frame_counters.h"
#include "frame_dump.h"
#include "frame_encoder.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_channel_interface_wrapper.h"
#include "sidechannel_log.h"
#include "wire/pixel_order.h"
#include "zelvar/zelvar.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <utility>

namespace {

constexpr uint64_t word_size = sizeof(uint32_t);
constexpr uint32_t log_level_of_frame_numbers = 6565; // stamped above it

/// The model's write operation for a scope, with the channel of the process locked.
class locked_model
{
public:
    explicit locked_model(pid_t pid) : _pid{pid}, _model{sidechannel_model_interface_lock_and_get(pid)} {}
    ~locked_model() { sidechannel_model_interface_unlock(_pid); }
    locked_model(const locked_model&) = delete;
    locked_model& operator=(const locked_model&) = delete;

    void write(uint64_t address, const uint8_t* source, uint64_t size) const
    {
        const auto length = static_cast<uint32_t>(size);
        if (_model->write(address, source, length) != length)
            StackDump();
    }

private:
    pid_t _pid;
    scModelInterface* _model;
};

/// Bytes of an image, false beyond 4 GiB: the model's operations count in 32 bits, and no frame is that
/// large.
bool count_image_bytes(uint32_t columns, uint32_t rows, uint32_t bytes_per_pixel, uint64_t* size)
{
    *size = uint64_t{columns} * rows;
    return !__builtin_mul_overflow(*size, bytes_per_pixel, size) &&
           *size <= std::numeric_limits<uint32_t>::max();
}

/// The same, with a line where it is too large.
bool image_size(uint32_t columns, uint32_t rows, uint32_t bytes_per_pixel, uint64_t* size)
{
    if (count_image_bytes(columns, rows, bytes_per_pixel, size))
        return true;
    LOG_ERROR("A frame of %ux%u with %u bytes per pixel is too large to deliver.", columns, rows,
              bytes_per_pixel);
    return false;
}

void replace_current_frame(_inter_frame_data& frame, uint8_t* pixels, uint64_t size)
{
    if (frame.previous_frame == frame.pCurrentFrame) {
        frame.previous_frame = pixels;
        frame.previous_size = size;
    }
    std::free(frame.pCurrentFrame);
    frame.pCurrentFrame = pixels;
    frame.current_size = size;
}

void free_previous_frame(_inter_frame_data& frame)
{
    if (frame.previous_frame != frame.pCurrentFrame)
        std::free(frame.previous_frame);
    frame.previous_frame = nullptr;
    frame.previous_size = 0;
}

/// Appends zeros to the current frame, so that `size` bytes of it can be read. Sizes come from the target.
bool pad_current_frame(_inter_frame_data& frame, uint64_t size)
{
    if (frame.current_size >= size)
        return true;
    auto* padded = static_cast<uint8_t*>(std::calloc(size, 1));
    if (!padded) {
        LOG_ERROR("Out of memory for a frame of %llu bytes.", static_cast<unsigned long long>(size));
        return false;
    }
    std::memcpy(padded, frame.pCurrentFrame, frame.current_size);
    replace_current_frame(frame, padded, size);
    return true;
}

/// Row sizes of a flip in bytes, whole words each.
struct flip_rows
{
    uint64_t source;
    uint64_t destination;
    uint64_t count;
};

/// Copies upwards from the last source row; zeros what no source row covers.
void copy_rows_reversed(const flip_rows& rows, const uint8_t* source, uint64_t source_size,
                        uint8_t* destination, uint64_t destination_size)
{
    const uint64_t copied = std::min(rows.source, rows.destination);
    uint8_t* out = destination;
    for (uint64_t row = rows.count; row-- > 0; out += rows.destination) {
        const uint64_t at = row * rows.source;
        const uint64_t available = at < source_size ? std::min(copied, source_size - at) : 0;
        if (available != 0)
            std::memcpy(out, source + at, available);
        if (available < rows.destination)
            std::memset(out + available, 0, rows.destination - available);
    }
    std::memset(out, 0, static_cast<uint64_t>(destination + destination_size - out));
}

void swap_bytes(uint8_t* a, uint8_t* b, uint64_t size)
{
    struct
    {
        uint64_t words[8];
    } from_a, from_b;
    uint64_t at = 0;
    for (; size - at >= sizeof from_a; at += sizeof from_a) {
        std::memcpy(&from_a, a + at, sizeof from_a);
        std::memcpy(&from_b, b + at, sizeof from_b);
        std::memcpy(a + at, &from_b, sizeof from_b);
        std::memcpy(b + at, &from_a, sizeof from_a);
    }
    std::swap_ranges(a + at, a + size, b + at);
}

/// The flip of a block whose rows stay as long as they are. It needs no second block, and fresh pages cost
/// more than the copy itself.
template <class Exchange>
void reverse_rows_in_place(const flip_rows& rows, uint8_t* block, uint64_t size, Exchange exchange)
{
    // A row in the middle changes places with itself.
    for (uint64_t top = 0, bottom = rows.count; top < bottom; top++) {
        bottom--;
        exchange(block + top * rows.source, block + bottom * rows.source, rows.source);
    }
    const uint64_t covered = rows.count * rows.source;
    std::memset(block + covered, 0, size - covered);
}

void put_red_first(_inter_frame_data& frame)
{
    if (std::exchange(frame.blue_first, false))
        wire::swap_red_and_blue(frame.pCurrentFrame, frame.pCurrentFrame, frame.current_size / 4);
}

bool flip(_inter_frame_data& frame, uint32_t width, uint32_t height, uint32_t stride,
          uint32_t bytes_per_pixel)
{
    uint64_t size;
    uint64_t source_row;
    if (!image_size(stride, height, bytes_per_pixel, &size) ||
        !image_size(width, 1, bytes_per_pixel, &source_row))
        return false;
    const uint64_t destination_row = uint64_t{stride} * bytes_per_pixel;
    const flip_rows rows{source_row / word_size * word_size, destination_row / word_size * word_size, height};
    if (rows.source == rows.destination && frame.current_size == size) {
        if (std::exchange(frame.blue_first, false))
            reverse_rows_in_place(rows, frame.pCurrentFrame, size, [](uint8_t* a, uint8_t* b, uint64_t row) {
                wire::exchange_rows_swapped(a, b, row / 4);
            });
        else
            reverse_rows_in_place(rows, frame.pCurrentFrame, size, [](uint8_t* a, uint8_t* b, uint64_t row) {
                if (a != b)
                    swap_bytes(a, b, row);
            });
        return true;
    }
    put_red_first(frame);
    auto* flipped = static_cast<uint8_t*>(std::malloc(std::max<uint64_t>(size, 1)));
    if (!flipped) {
        LOG_ERROR("Out of memory for a frame of %llu bytes.", static_cast<unsigned long long>(size));
        return false;
    }
    copy_rows_reversed(rows, frame.pCurrentFrame, frame.current_size, flipped, size);
    replace_current_frame(frame, flipped, size);
    return true;
}

uint32_t bytes_per_pixel_of(const buffer_info& info)
{
    return static_cast<uint32_t>((uint64_t{info.bits_per_pixel} + 7) / 8);
}

bool is_known_pixel_size(uint32_t bytes_per_pixel)
{
    return bytes_per_pixel >= 2 && bytes_per_pixel <= 4;
}

void report_unknown_pixel_size(const buffer_info& info, uint32_t bytes_per_pixel)
{
    LOG_ERROR("Unknown pixel format.");
    LOG_ERROR("No %u: frameBufferLength = %d, width = %d, height = %d bytesPerPixel = %d buffer=%p",
              combiner_frame_number(), info.frameBufferLength, info.width, info.height, bytes_per_pixel,
              reinterpret_cast<void*>(info.buffer));
}

bool wants_encoding(pid_t pid, const buffer_info& info)
{
    if (setting(zelvar_only_settings.tpakForTRV))
        return true;
    return zelvar_target_gpu() == TARGET_GPU_DUMMY && (info.format & gralloc_tpak_mask) != 0 &&
           zelvar_object_manager_check_tpak_encode_allowed(pid, info.buffer);
}

void stamp_numbers(const buffer_info& info, _inter_frame_data& frame, uint32_t bytes_per_pixel)
{
    const auto stamp = [&](uint32_t x, double value) {
        displayNumberDirectly(frame.pCurrentFrame, frame.current_size, info.stride, info.height,
                              bytes_per_pixel, x, 5, value);
    };
    if (setting(zelvar_settings.zelvarLogLevel) > log_level_of_frame_numbers)
        stamp(5, static_cast<float>(combiner_frame_number()));
    if (_zelvar_is_framebuffer_size(info.width, info.height)) {
        const double rate = calculateFps(info.width, info.height);
        if (setting(zelvar_only_settings.showFPS))
            stamp(40, rate);
    }
}

tpak_attributes read_attributes(pid_t pid, tid_t tid, target_ptr address)
{
    constexpr uint64_t all_ones = std::numeric_limits<uint64_t>::max();
    tpak_attributes read;
    if (!address || address.address == all_ones || address.address == all_ones - 1)
        return read;
    if (!zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, sizeof read, address, &read))
        return {};
    LOG_DEBUG("[TPAK] framebuffer attr crop[t:%d, l:%d, h:%d, w:%d], yuv_trans: %d, sparse_alloc: %d.",
              read.crop_top, read.crop_left, read.crop_height, read.crop_width, read.yuv_transform,
              read.sparse_allocation);
    return read;
}

frame_encoding encoding_of(pid_t pid, tid_t tid, const buffer_info& info, uint32_t bytes_per_pixel)
{
    if ((info.format & gralloc_tpak_wide_block) != 0)
        LOG_ERROR("GRALLOC_CORVANE_INTFMT_TPAK_WIDEBLK not support in zelvar");
    frame_encoding encoding;
    encoding.format_code = bytes_per_pixel - 1;
    encoding.width = info.width;
    encoding.height = info.height;
    encoding.attributes = read_attributes(pid, tid, {info.attributes});
    const uint32_t version = setting(zelvar_only_settings.tpakVersion);
    encoding.version = version != TPAK_VERSION_NONE ? version : uint32_t{TPAK_VERSION_1_2};
    encoding.block_split = (info.format & gralloc_tpak_split_block) != 0;
    encoding.reverse_components = encoding.format_code == 1;
    return encoding;
}

double percentage(uint64_t part, uint64_t whole)
{
    return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

/// Sends an encoded frame through the codec once more, so that plain pixels reach the target.
void decode_in_place(pid_t pid, const frame_encoding& encoding, const frame_block& encoded, uint64_t size,
                     _inter_frame_data& frame)
{
    frame_block decoded;
    if (!decode_frame(encoding, encoded, size, &decoded)) {
        LOG_ERROR("[TPAK] framebuffer failed to decode %dx%d, format:0x%X, at process:%d.", encoding.width,
                  encoding.height, encoding.format_code, pid);
        return;
    }
    LOG_DEBUG("[TPAK] framebuffer decoded %dx%d, format:0x%X, len:%d->%d (%.2f%%) at process:%d.",
              encoding.width, encoding.height, encoding.format_code, static_cast<int>(encoded.encoded_size),
              static_cast<int>(decoded.size), percentage(decoded.size, encoded.encoded_size), pid);
    replace_current_frame(frame, decoded.pixels, decoded.size);
}

/// Leaves the raw frame where it can't be encoded.
void encode_current_frame(pid_t pid, tid_t tid, const buffer_info& info, uint32_t bytes_per_pixel,
                          _inter_frame_data& frame)
{
    const frame_encoding encoding = encoding_of(pid, tid, info, bytes_per_pixel);
    uint64_t raw_size;
    frame_block encoded;
    // The codec takes the rows without gaps, whatever the stride.
    if (!image_size(info.width, info.height, bytes_per_pixel, &raw_size) ||
        !pad_current_frame(frame, raw_size) ||
        !encode_frame(encoding, frame.pCurrentFrame, frame.current_size, info.frameBufferLength, &encoded)) {
        LOG_ERROR("[TPAK] framebuffer failed to encode %dx%d, format:0x%X, at process:%d.", info.width,
                  info.height, encoding.format_code, pid);
        return;
    }
    if (!encoded.pixels)
        return;
    LOG_DEBUG("[TPAK] framebuffer encoded %dx%d, format:0x%X, len:%d->%d (%.2f%%) at process:%d.", info.width,
              info.height, encoding.format_code, static_cast<int>(raw_size),
              static_cast<int>(encoded.encoded_size), percentage(encoded.encoded_size, raw_size), pid);
    replace_current_frame(frame, encoded.pixels, encoded.size);
    if (setting(zelvar_only_settings.tpakDecodeInPlace))
        decode_in_place(pid, encoding, encoded, std::max<uint64_t>(info.frameBufferLength, raw_size), frame);
}

/// Moves the frame into the native buffer cache.
void keep_current_frame(const buffer_info& info, _inter_frame_data& frame)
{
    LOG_DEBUG("Cache texture on %dbpp %d * %d", info.bits_per_pixel, info.width, info.height);
    try {
        keep_native_buffer({info.width, info.height, info.bits_per_pixel}, frame.pCurrentFrame,
                           frame.current_size);
    } catch (const std::bad_alloc&) {
        LOG_ERROR("Out of memory for the native buffer cache.");
        return;
    }
    if (frame.previous_frame == frame.pCurrentFrame)
        frame.previous_frame = nullptr;
    frame.pCurrentFrame = nullptr;
    frame.current_size = 0;
}

void dump_current_frame(pid_t pid, const buffer_info& info, const _inter_frame_data& frame)
{
    std::string name;
    if (!zelvar_object_manager_get_target_process_name(pid, &name))
        LOG_ERROR("Could not find process_name for PID: %d in pid_to_process_data_map", pid);
    if (!zelvar_screenshot_should_proceed(info.width, info.height, name))
        return;
    LOG_INFO("Initiating screenshot dump of image (size %dx%d) for application %s from combiner to disk.",
             info.width, info.height, name.c_str());
    if (!zelvar_screenshot_dump_frame_to_file(info.bits_per_pixel, frame.pCurrentFrame, frame.current_size,
                                              info.width, info.height, name))
        LOG_ERROR("Dumping image to disk failed.");
}

void write_whole_frame(pid_t pid, const buffer_info& info, uint64_t size, _inter_frame_data& frame)
{
    if (!pad_current_frame(frame, size))
        return;
    // Before the channel is locked, so that a slow disk holds nobody up.
    dump_current_frame(pid, info, frame);
    {
        const locked_model model{pid};
        model.write(info.buffer, frame.pCurrentFrame, size);
    }
    free_previous_frame(frame);
    frame.previous_frame = std::exchange(frame.pCurrentFrame, nullptr);
    frame.previous_size = std::exchange(frame.current_size, 0);
}

uint32_t load_word(const uint8_t* words, uint64_t index)
{
    uint32_t word;
    std::memcpy(&word, words + index * word_size, word_size);
    return word;
}

/// Writes each run of differing words by itself: a write is what costs, not the comparison.
void write_changed_words(pid_t pid, const buffer_info& info, _inter_frame_data& frame)
{
    ZELVAR_ASSERT_TEXT(info.frameBufferLength % sizeof(unsigned int) == 0,
                       "frameBufferLength % sizeof(unsigned int) == 0");
    const uint8_t* current = frame.pCurrentFrame;
    const uint8_t* previous = frame.previous_frame;
    const uint64_t bytes =
        std::min({uint64_t{info.frameBufferLength}, frame.current_size, frame.previous_size});
    const uint64_t words = bytes / word_size;
    const auto differs = [&](uint64_t index) {
        return load_word(current, index) != load_word(previous, index);
    };

    const locked_model model{pid};
    // The word that ends a run is equal, so it needs no second look.
    for (uint64_t at = 0; at < words; at++) {
        const uint64_t begin = at;
        while (at < words && differs(at))
            at++;
        if (at != begin)
            model.write(info.buffer + begin * word_size, current + begin * word_size,
                        (at - begin) * word_size);
    }
    std::swap(frame.pCurrentFrame, frame.previous_frame);
    std::swap(frame.current_size, frame.previous_size);
}

/// Where a frame goes. Asked once for each, as asking notes the frame buffer, and settings change at any
/// time.
struct frame_road
{
    bool encoded; // replaced by its compressed form, and written
    bool kept;    // aside, for the native buffer cache
};

frame_road road_of(pid_t pid, const buffer_info& info)
{
    frame_road road{};
    road.encoded = wants_encoding(pid, info) && is_known_pixel_size(bytes_per_pixel_of(info));
    road.kept = !road.encoded && setting(zelvar_only_settings.cacheAndroidNativeBuffer) &&
                !_zelvar_is_framebuffer_size(info.width, info.height);
    return road;
}

/// False when there is no frame.
bool begin_frame(const buffer_info* info, _inter_frame_data* frame, bool reset)
{
    const uint32_t bytes_per_pixel = bytes_per_pixel_of(*info);
    if (!is_known_pixel_size(bytes_per_pixel))
        report_unknown_pixel_size(*info, bytes_per_pixel);
    if (reset || frame->framebuffer_address != info->buffer) {
        LOG_DEBUG("Reset Frame Buffers.");
        free_previous_frame(*frame);
        frame->framebuffer_address = info->buffer;
    }
    if (!frame->pCurrentFrame) {
        LOG_FATAL("combiner(): inter_frame_data->pCurrentFrame shouldn't be NULL.");
        return false;
    }
    return true;
}

void carry_frame(pid_t pid, tid_t tid, const buffer_info* info, _inter_frame_data* frame,
                 const frame_road& road)
{
    const uint32_t bytes_per_pixel = bytes_per_pixel_of(*info);
    if (frame->reversed && !flip(*frame, info->width, info->height, info->stride, bytes_per_pixel))
        return;
    put_red_first(*frame);
    stamp_numbers(*info, *frame, bytes_per_pixel);
    // A frame that failed to encode goes on as an encoded one: whole, and as long as the frame buffer.
    if (road.encoded)
        encode_current_frame(pid, tid, *info, bytes_per_pixel, *frame);

    if (road.kept) {
        keep_current_frame(*info, *frame);
    } else if (frame->previous_frame && !road.encoded) {
        write_changed_words(pid, *info, *frame);
    } else if (uint64_t size = info->frameBufferLength;
               road.encoded || image_size(info->stride, info->height, bytes_per_pixel, &size)) {
        write_whole_frame(pid, *info, size, *frame);
    }
}

/// Whether the pixels of a whole frame are only looked at and stamped on their way, in a block of this size.
bool is_only_written(const buffer_info& info, uint64_t block_size, const frame_road& road)
{
    uint64_t needed = 0;
    return !road.encoded && !road.kept &&
           count_image_bytes(info.stride, info.height, bytes_per_pixel_of(info), &needed) &&
           needed <= block_size;
}

} // namespace

void combiner(pid_t pid, tid_t tid, buffer_info* info, _inter_frame_data* frame, bool reset)
{
    if (begin_frame(info, frame, reset))
        carry_frame(pid, tid, info, frame, road_of(pid, *info));
}

bool combiner_of_lent_frame(pid_t pid, tid_t tid, buffer_info* info, uint8_t* pixels, uint64_t size)
{
    const frame_road road = road_of(pid, *info);
    const bool lent = is_only_written(*info, size, road);
    _inter_frame_data frame;
    frame.current_size = size;
    frame.pCurrentFrame = lent ? pixels : static_cast<uint8_t*>(std::malloc(std::max<uint64_t>(size, 1)));
    if (!frame.pCurrentFrame)
        return false;
    if (!lent)
        std::memcpy(frame.pCurrentFrame, pixels, size);
    if (begin_frame(info, &frame, true))
        carry_frame(pid, tid, info, &frame, road);
    if (lent)
        frame.pCurrentFrame = frame.previous_frame = nullptr;
    release_inter_frame_data(&frame);
    return true;
}

void release_inter_frame_data(_inter_frame_data* frame)
{
    free_previous_frame(*frame);
    std::free(frame->pCurrentFrame);
    frame->pCurrentFrame = nullptr;
    frame->current_size = 0;
    frame->framebuffer_address = 0;
}

void flip_reversed_image_data_and_handle_stride(_inter_frame_data* frame, uint32_t width, uint32_t height,
                                                uint32_t stride, uint32_t bytes_per_pixel)
{
    flip(*frame, width, height, stride, bytes_per_pixel);
}

bool _zelvar_is_framebuffer_size(uint32_t width, uint32_t height)
{
    return width == fb_xres.load(std::memory_order_relaxed) &&
           height == fb_yres.load(std::memory_order_relaxed);
}
