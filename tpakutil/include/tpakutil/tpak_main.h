#pragma once
// Whole frames: between packed pixels, or planes of components, and the frame buffer format of tpak_common.h.

#include "tpakutil/tpak_common.h"

#include <cstdint>
#include <memory>

/// Options of a frame. -1 means 0 in `crop_top`, `crop_left`, `sparse_alloc` and `yuv_trans`. The first six
/// are what a frame buffer's attributes in target memory hold.
struct tpak_opts
{
    int32_t crop_top = 0;
    int32_t crop_left = 0;
    int32_t crop_height = 0;
    int32_t crop_width = 0;
    int32_t yuv_trans = 0;
    int32_t sparse_alloc = 0;
    int32_t version = 0; // 3, 4, 5 for 1.0, 1.1, 1.2
    int32_t block_split = 0;
    int32_t tiled = 0;
};

/// What encoder and decoder of one frame share. Not for two threads at once.
class TpakBase
{
public:
    /// `format`: 1 for 16-bit pixels of 5, 6 and 5 bits, 2 for 3 bytes, 3 for 4 bytes. An unknown one, or a
    /// size beyond what the format can hold, leaves the object without a frame.
    TpakBase(unsigned format, unsigned width, unsigned height, const tpak_opts* opts);
    virtual ~TpakBase();

    /// Bytes; 0 without a frame.
    unsigned long getMaxFrameSize() const;
    /// Bytes that an encoded frame occupies, without a tiled header area's padding; 0 without a frame.
    unsigned long getEncodedFrameSize(const unsigned char* buffer);
    const tpak_frame_info& frame_info() const { return _info; }
    /// Positions are counted in 31 bits; larger frames are refused.
    static bool is_within_31_bits(unsigned long size) { return size <= 0x7fffffff; }

protected:
    tpak_frame_info _info;
    bool _valid = false;
};

/// Threads that encode frames together with their caller. They wait between frames and end with this object,
/// which a library that can be unloaded has to see to. For one frame at a time.
class tpak_threads
{
public:
    /// `count` includes the caller. Threads that the system refuses are done without.
    explicit tpak_threads(unsigned count);
    ~tpak_threads();
    tpak_threads(const tpak_threads&) = delete;
    tpak_threads& operator=(const tpak_threads&) = delete;

    /// Calls `work` with 0 on this thread, and with other numbers on those that come in time: the work of a
    /// thread that hasn't begun when this one's is done is left out.
    void run(void (*work)(void* context, unsigned number), void* context);

private:
    struct state;
    std::unique_ptr<state> _state;
};

class TpakEncoder : public TpakBase
{
public:
    using TpakBase::TpakBase;
    ~TpakEncoder() override;

    /// Encodes packed pixels, rows without gaps, into `buffer`, which has `getMaxFrameSize()` zeroed bytes.
    /// False only for a frame that counts more than 31 bits of bytes.
    /// With `threads` large frames are shared with them, to the same bytes. A caller whose other cores draw
    /// the next frame meanwhile is better off without.
    bool encode(const uint8_t* pixels, uint8_t* buffer, bool reverse_components,
                tpak_threads* threads = nullptr);
    /// Writes 32 bytes that describe the last encoded frame.
    void writeFileHeader(unsigned char* buffer) const;
};

class TpakDecoder : public TpakBase
{
public:
    using TpakBase::TpakBase;
    ~TpakDecoder() override;

    /// Decodes `getMaxFrameSize()` bytes to packed pixels. False without a frame, or for one that counts more
    /// than 31 bits of bytes.
    bool decode(const unsigned char* buffer, unsigned char* pixels);
};

// Frames as planes, for every layout. Planes have a value of 32 bits for each pixel.

/// Makes `count` zeroed planes from malloc, null for the rest of the four. Planes behind the first are halved
/// where they are subsampled, rounded up.
void alloc_planes(uint32_t** planes, int count, int width, int height, int subsample_x, int subsample_y);
/// The planes of a frame.
void alloc_frame_planes(uint32_t** planes, const tpak_frame_info& info);
void free_planes(uint32_t** planes);
/// Encodes a frame into `buffer_size` zeroed bytes; returns the position behind the last payload.
int encode_frame(tpak_frame_info& info, uint32_t* const* planes, unsigned char* buffer, int buffer_size);
/// Decodes a frame; no read leaves `buffer_size` bytes.
void decode_frame(tpak_frame_info& info, const unsigned char* buffer, int buffer_size,
                  uint32_t* const* planes);

// Which code does the work of the classes. All of it gives the same bytes.

enum class tpak_coder
{
    best,      // the fastest of this machine
    reference, // by planes and single bits, the measure of the others
    portable,
    avx2,
    avx512, // with byte permutes and bit matrices
};
/// False when this machine can't run it; then nothing changes. For the whole process; before the first frame.
bool tpak_select_coder(tpak_coder coder);
