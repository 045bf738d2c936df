#include "commands.h"

#include "picture_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <stdexcept>

namespace tpak_tool {
namespace {

/// One superblock as its header block tells it.
struct superblock_cost
{
    bool solid = false;
    int copies = 0;
    int compressed = 0;
    int uncompressed = 0;
    int outside = 0;      // subblocks that reach beyond the frame
    unsigned payload = 0; // bytes
};

superblock_cost cost_of(frame_file& file, int mbx, int mby)
{
    const unsigned char* header =
        file.data.data() + tpak_get_superblock_index(&file.info, mbx, mby) * tpak_header_block_size;
    unsigned payload_offset;
    unsigned long offsets[tpak_most_subblocks];
    unsigned char sizes[tpak_most_subblocks];
    unsigned char forms[tpak_most_subblocks];
    tpak_frame_info& info = file.info;
    tpak_parse_header_block(&info, header, &payload_offset, offsets, sizes, forms);
    superblock_cost cost;
    cost.solid = sizes[0] == 0;
    if (cost.solid)
        return cost;
    unsigned long end[2] = {};
    for (int i = 0; i < info.nsubblocks; i++) {
        const int type = info.subblock_order[3 * i];
        cost.outside += offsets[i] + sizes[i] > info.frame_size;
        if (offsets[i] < end[type]) {
            cost.copies++;
            continue;
        }
        end[type] = offsets[i] + sizes[i];
        cost.payload += sizes[i];
        (forms[i] ? cost.uncompressed : cost.compressed)++;
    }
    return cost;
}

void for_each_superblock(frame_file& file, const std::function<void(int, int, const superblock_cost&)>& take)
{
    for (int mby = 0; mby < file.info.mbh; mby++) {
        for (int mbx = 0; mbx < file.info.mbw; mbx++)
            take(mbx, mby, cost_of(file, mbx, mby));
    }
}

const char* version_name(int version)
{
    return version == 3 ? "1.0" : version == 4 ? "1.1" : "1.2";
}

void print_geometry(const frame_file& file)
{
    const tpak_frame_info& info = file.info;
    std::printf("version       %s%s\n", version_name(info.version),
                file.has_header ? "" : " (no file header)");
    std::printf("size          %d x %d pixels, crop left %d top %d\n", info.width, info.height,
                info.left_crop, info.top_crop);
    std::printf("components   ");
    for (int c = 0; c < info.ncomponents_of_type[0] + info.ncomponents_of_type[1]; c++)
        std::printf(" %d", info.component_bits[c]);
    std::printf(" bits%s\n", info.yuv_transform ? ", colours transformed" : "");
    static constexpr const char* subsampling[] = {"not subsampled", "4:2:0", "4:2:2"};
    std::printf("superblocks   %d x %d of %d x %d pixels, layout %d, %s%s%s\n", info.mbw, info.mbh,
                info.superblock_width, info.superblock_height, info.layout,
                subsampling[sl_subsampling[info.layout]], info.tiled ? ", tiled" : "",
                info.block_split ? ", split" : "");
    std::printf("header area   %lu bytes\n", tpak_get_header_area_size(&info));
    std::printf("largest frame %lu bytes\n", tpak_get_max_frame_size(&info));
}

/// Checks what the format leaves to where a buffer lies.
void prepare_checks(tpak_frame_info& info, const check_options& options, std::vector<tpak_stripe>& stripes)
{
    info.conformance = 1;
    info.payload_alignment = options.alignment;
    info.payload_base = options.base;
    info.sparse_alloc = options.spacing;
    info.paging_tile_start_check = options.tile_starts;
    const int rows = options.stripe_height / info.superblock_height;
    if (options.stripe_height && rows == 0)
        throw std::runtime_error("a stripe of " + std::to_string(options.stripe_height) +
                                 " pixels is lower than a superblock");
    if (rows == 0)
        return;
    info.stripe_height = options.stripe_height;
    for (int row = 0; row < info.mbh; row += rows) {
        tpak_stripe stripe;
        stripe.superblocks_left = std::min(rows, info.mbh - row) * info.mbw;
        stripes.push_back(stripe);
    }
    info.stripe_table = stripes.data();
}

using colour = std::array<uint8_t, 4>;

/// Blue for solid; from green to red by payload; more white the more of it is uncompressed.
colour colour_of(const superblock_cost& cost, const tpak_frame_info& info)
{
    if (cost.solid)
        return {40, 60, 200, 255};
    const double share =
        std::min(1.0, static_cast<double>(cost.payload) /
                          static_cast<double>(tpak_get_max_superblock_payloadsize_no_rounding(&info)));
    const double white = static_cast<double>(cost.uncompressed) / info.nsubblocks;
    const auto mix = [white](double value) {
        return static_cast<uint8_t>(value + (255 - value) * white * 0.7 + 0.5);
    };
    return {mix(220 * share), mix(180 * (1 - share)), mix(20), 255};
}

} // namespace

int encode(const std::string& in, const std::string& out, const frame_description& description)
{
    packed_picture picture = read_pixels(in, description);
    const tpak_opts options = options_of(description);
    TpakEncoder encoder{picture.format, picture.width, picture.height, &options};
    std::vector<uint8_t> buffer(encoder.getMaxFrameSize());
    if (!encoder.encode(picture.pixels.data(), buffer.data(), description.reverse))
        throw std::runtime_error(in + " is too large to be encoded");
    if (description.header) {
        buffer.resize(encoder.frame_info().frame_size);
        std::array<uint8_t, tpak_fileheader_size> header;
        encoder.writeFileHeader(header.data());
        buffer.insert(buffer.begin(), header.begin(), header.end());
    }
    write_file(out, buffer);
    return 0;
}

int decode(const std::string& in, const std::string& out, const frame_description& description)
{
    frame_file file = read_frame(in, description);
    const std::vector<uint8_t> rgba = decode_to_rgba(file, description.reverse);
    const std::string fault = write_picture_file(out, static_cast<uint32_t>(file.info.width),
                                                 static_cast<uint32_t>(file.info.height), 4, rgba.data());
    if (!fault.empty())
        throw std::runtime_error(fault);
    return 0;
}

int info(const std::string& in, const frame_description& description)
{
    frame_file file = read_frame(in, description);
    superblock_cost sum;
    uint64_t solid = 0;
    uint64_t payload = 0;
    for_each_superblock(file, [&](int, int, const superblock_cost& cost) {
        solid += cost.solid;
        payload += cost.payload;
        sum.copies += cost.copies;
        sum.compressed += cost.compressed;
        sum.uncompressed += cost.uncompressed;
    });
    const uint64_t superblocks = static_cast<uint64_t>(file.info.mbw) * static_cast<uint64_t>(file.info.mbh);
    const double blocks = static_cast<double>(superblocks) * file.info.nsubblocks;
    const auto share = [blocks](double count) { return blocks == 0 ? 0 : 100 * count / blocks; };
    int bits = 0;
    for (int depth : file.info.component_bits)
        bits += depth;
    const double raw = static_cast<double>(file.info.width) * file.info.height * bits / 8;
    const double used = static_cast<double>(payload + superblocks * tpak_header_block_size);
    print_geometry(file);
    std::printf("frame         %zu bytes, payload %llu bytes\n", file.data.size(),
                static_cast<unsigned long long>(payload));
    std::printf(
        "blocks        %.1f%% in solid superblocks, %.1f%% copies, %.1f%% compressed, %.1f%% uncompressed\n",
        share(static_cast<double>(solid) * file.info.nsubblocks), share(sum.copies), share(sum.compressed),
        share(sum.uncompressed));
    std::printf("ratio         %.2f\n", used == 0 ? 0 : raw / used);
    return 0;
}

int check(const std::string& in, const frame_description& description, const check_options& options)
{
    frame_file file = read_frame(in, description);
    std::vector<tpak_stripe> stripes;
    prepare_checks(file.info, options, stripes);
    decode_to_rgba(file, false);
    // Two faults that the decoder tells and doesn't keep.
    bool good = !file.info.conformance_error;
    file.info.conformance = 0;
    for_each_superblock(file, [&](int, int, const superblock_cost& cost) {
        good = good && cost.outside == 0 && !(cost.solid && !file.info.zero_header_allowed);
    });
    std::printf("%s: %s\n", in.c_str(), good ? "conforms" : "does not conform");
    return good ? 0 : 1;
}

int map(const std::string& in, const std::string& out, const frame_description& description)
{
    frame_file file = read_frame(in, description);
    const tpak_frame_info& info = file.info;
    const int width = info.mbw * info.superblock_width;
    const int height = info.mbh * info.superblock_height;
    std::vector<uint8_t> rgba(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    for_each_superblock(file, [&](int mbx, int mby, const superblock_cost& cost) {
        const colour fill = colour_of(cost, info);
        for (int y = mby * info.superblock_height; y < (mby + 1) * info.superblock_height; y++) {
            uint8_t* row = rgba.data() + (static_cast<size_t>(y) * static_cast<size_t>(width) +
                                          static_cast<size_t>(mbx * info.superblock_width)) *
                                             4;
            for (int x = 0; x < info.superblock_width; x++)
                std::copy(fill.begin(), fill.end(), row + 4 * x);
        }
    });
    const std::string fault =
        write_picture_file(out, static_cast<uint32_t>(width), static_cast<uint32_t>(height), 4, rgba.data());
    if (!fault.empty())
        throw std::runtime_error(fault);
    return 0;
}

} // namespace tpak_tool
