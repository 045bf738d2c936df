#pragma once
// The lossless frame buffer format TPAK: the description of a frame, its geometry, file header, header blocks
// and superblocks. Pure computation over the caller's memory: nothing is allocated or locked. A fault in a
// buffer is told on standard output and never stops the work.

#include <cstdint>

/// One stripe of a frame whose stripes are checked. Made by the caller of the checks.
struct tpak_stripe
{
    uint64_t lowest_payload_offset = ~uint64_t{0};
    uint64_t highest_end_offset = ~uint64_t{0}; // all ones until a superblock was seen
    int superblocks_left = 0;
};

/// Describes one frame and carries what the codec keeps while it works on it. One caller at a time.
struct tpak_frame_info
{
    uint64_t frame_size = 0; // bytes of the encoded frame, header area included
    int layout = 0;          // 0 to 6, a row of the tables below
    int yuv_transform = 0;
    int nsubblocks = 0;  // of a superblock: 16, 20 or 24
    int nblocktypes = 0; // 1, or 2 when chroma is subsampled
    int ncomponents_of_type[2] = {};
    int first_component_of_type[2] = {};
    int uncompressed_block_size[2] = {}; // bytes
    int payload_offset_bits = 0;
    int subblock_size_bits = 0;
    int size_unit[2] = {};      // bytes
    int component_bits[4] = {}; // as in the source and in uncompressed blocks
    int body_bits[4] = {};      // inside compressed blocks
    unsigned default_value[4] = {};
    const unsigned char* subblock_order = nullptr; // triples: block type, x, y
    int version = 0;                               // 3, 4, 5 for 1.0, 1.1, 1.2
    int width = 0;                                 // pixels
    int height = 0;
    int mbw = 0; // superblocks
    int mbh = 0;
    int superblock_width = 0; // pixels
    int superblock_height = 0;
    int block_width = 0;
    int block_height = 0;
    int left_crop = 0; // pixels by which the superblocks start beside the picture
    int top_crop = 0;
    int ignore_crop = 0;         // for tpak_parse_fileheader: take the size from the superblocks
    int tile_width_override = 0; // superblocks
    int tiled = 0;
    int solid_enabled = 0; // the encoder may write solid superblocks
    int copy_identical_blocks = 0;
    int force_uncompressed = 0;
    unsigned split_read_bytes[4] = {}; // statistics, only index 1 is used
    unsigned contiguous_read_bytes[4] = {};
    int reserved = 0;
    int fileheader_reserved = 0;
    int tree_bits_limit = 0; // the decoder skips wider tree nodes; 0: none
    int block_split = 0;
    int no_copy_at_split = 0;
    int subsampled_copy_rule = 0;
    int fixed_superblock_positions = 0;
    int unused_zero = 0;
    int unused_page = 0;
    int conformance_error = 0;
    int zero_header_allowed = 0;
    int conformance = 0; // run the legality checks
    int paging_tile_start_check = 0;
    int payload_alignment = 0; // bytes, 0: not checked
    int payload_base = 0;
    int sparse_alloc = 0;
    int stripe_height = 0;               // pixels, 0: not checked
    tpak_stripe* stripe_table = nullptr; // one for each stripe, the caller's
    unsigned lowest_payload_offset = 0;
};

/// Most layouts, components and subblocks that there are.
inline constexpr int tpak_layouts = 7;
inline constexpr int tpak_most_components = 4;
inline constexpr int tpak_most_subblocks = 24;
inline constexpr int tpak_header_block_size = 16; // bytes
inline constexpr int tpak_fileheader_size = 32;   // bytes
inline constexpr int tpak_superblock_pixels = 256;

extern const int superblock_width[tpak_layouts];
extern const int superblock_height[tpak_layouts];
extern const int sl_subsampling[tpak_layouts]; // 0 none, 1 4:2:0, 2 4:2:2
extern const unsigned char* const subblock_orders[tpak_layouts];
extern const int log2_table[18]; // width of a root field by body bits

// Geometry.

/// Whether a frame can be described like this: what tpak_init_frame_info asserts, as a question.
bool tpak_is_describable(int ncomponents, int layout, int yuv_transform, const int* bits);
/// Fills `info` for a frame and forgets all that was in it. `bits` holds a depth for each component; a layout
/// of -1 means 0. Asserts that the format can hold such a frame.
void tpak_init_frame_info(tpak_frame_info* info, int width, int height, int ncomponents, int layout,
                          int yuv_transform, int tiled, int* bits);
int tpak_mb_round(int value, int multiple);
int tpak_get_tile_size_x(const tpak_frame_info* info);
int tpak_get_tile_size_y(const tpak_frame_info* info);
int tpak_get_tile_size_z(const tpak_frame_info* info);
/// Bytes; offset of the first payload.
unsigned long tpak_get_header_area_size(const tpak_frame_info* info);
unsigned long tpak_get_max_superblock_payloadsize_no_rounding(const tpak_frame_info* info);
unsigned long tpak_get_max_superblock_payloadsize(const tpak_frame_info* info);
unsigned long tpak_get_max_frame_size(const tpak_frame_info* info);
unsigned long tpak_get_uncompressed_frame_size(const tpak_frame_info* info);
/// Where the header block of a superblock stands, in header blocks. The encoder's differs under a
/// `tile_width_override`.
uint64_t tpak_get_superblock_index(const tpak_frame_info* info, int mbx, int mby);
uint64_t tpak_get_encoder_superblock_index(const tpak_frame_info* info, int mbx, int mby);
bool tpak_first_block_in_8x8(const tpak_frame_info* info, int subblock);
int tpak_block_split_block(const tpak_frame_info* info);
int tpak_block_split_block_alt(const tpak_frame_info* info);
bool tpak_is_last_block_before_split(const tpak_frame_info* info, int subblock);

// File header.

/// Reads 32 bytes. Returns 0; -1 for what is no file header or describes a frame that can't be; the negated
/// version for one that isn't known. Unless 0 is returned nothing is written.
int tpak_parse_fileheader(const unsigned char* buffer, tpak_frame_info* info, unsigned long* frame_size);
/// Writes 32 bytes.
void tpak_write_fileheader(const tpak_frame_info* info, int frame_size, unsigned char* buffer);

// Header blocks.

/// Parses one header block of 16 bytes. The arrays have `nsubblocks` entries: offset from the start of the
/// buffer, bytes, and whether it is uncompressed. Returns the payload bytes that the superblock covers, 0 for
/// a solid one.
unsigned tpak_parse_header_block(tpak_frame_info* info, const unsigned char* header, unsigned* payload_offset,
                                 unsigned long* subblock_offsets, unsigned char* subblock_sizes,
                                 unsigned char* uncompressed);
/// The same for one subblock: returns its offset.
unsigned long tpak_get_subblock_offset(tpak_frame_info* info, const unsigned char* header_block, int subblock,
                                       int* size, int* uncompressed);

// Decoder. A plane holds the pixel (x, y) of a superblock at y * superblock_width + x, also when it is a
// narrower chroma plane.

/// Decodes one superblock; no read leaves the `buffer_size` bytes of the buffer. Returns 1, or 0 for a solid
/// one.
int tpak_decode_superblock(tpak_frame_info* info, const unsigned char* buffer, int buffer_size, int mbx,
                           int mby, unsigned (*planes)[tpak_superblock_pixels]);
/// Decodes one subblock of `size` bytes into an array for each component of its type. Returns the bytes that
/// it took, or -1 when it ran past `size`.
int tpak_decode_block4x4(tpak_frame_info* info, int block_type, const unsigned char* data, int size,
                         int uncompressed, unsigned (*block)[4][4], int subblock);

// Encoder.

/// Encodes one superblock: its header block, and its payload from `payload_position` on. Returns the position
/// behind the payload, or -1 when a subblock did not fit.
int tpak_encode_superblock(tpak_frame_info* info, unsigned (*planes)[tpak_superblock_pixels],
                           unsigned char* buffer, int buffer_size, int superblock_index, int payload_position,
                           int wrap_minval, int default_all_components);
/// The same; with a split it stores where the first half ends through `first_half_end`, which may be null.
int tpak_encode_superblock_ext(tpak_frame_info* info, unsigned (*planes)[tpak_superblock_pixels],
                               unsigned char* buffer, int buffer_size, int superblock_index,
                               int payload_position, int wrap_minval, int default_all_components,
                               int* first_half_end);
bool tpak_encode_superblock_is_solid(const tpak_frame_info* info,
                                     const unsigned (*planes)[tpak_superblock_pixels]);
/// Encodes one subblock, at most `out_size` bytes. `block` is overwritten. `flat_key` becomes the colour of a
/// flat block, or all ones. Returns the bytes, or -1 when they don't fit.
int tpak_encode_block4x4(const tpak_frame_info* info, int block_type, unsigned (*block)[16],
                         unsigned char* out, int out_size, long long* flat_key, int* uncompressed,
                         int wrap_minval, int default_all_components);
/// Minimum and maximum of four values. With `wrap`, values that cluster at both ends of the range of `bits`
/// bits are taken as neighbours across it.
void select_minval(unsigned a, unsigned b, unsigned c, unsigned d, unsigned* minval, unsigned* maxval,
                   int bits, int wrap);
/// Adds a superblock of these raw subblock sizes to the record's statistics.
void update_statistics(tpak_frame_info* info, int payload_size, const int* subblock_sizes);
int round_up(int value, int multiple);
