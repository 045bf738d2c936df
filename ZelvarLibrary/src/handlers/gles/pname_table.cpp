#include "handlers/gles/pname_table.h"

#include "settings/zelvar_settings.h"
#include "wire/api.h"

#include <algorithm>
#include <iterator>

namespace {
struct pname_range
{
    uint32_t first;
    uint32_t last;
};

/// The 325 pnames that are known, in ascending ranges.
constexpr pname_range known_pnames[] = {
    {2849, 2849},   {2884, 2886},   {2928, 2932},   {2960, 2968},   {2978, 2978},   {3024, 3024},
    {3042, 3042},   {3074, 3074},   {3088, 3089},   {3106, 3107},   {3314, 3317},   {3330, 3333},
    {3379, 3379},   {3386, 3386},   {3408, 3408},   {3410, 3415},   {10752, 10752}, {32773, 32773},
    {32777, 32777}, {32823, 32824}, {32873, 32878}, {32883, 32883}, {32926, 32926}, {32928, 32928},
    {32936, 32939}, {32968, 32971}, {33000, 33001}, {33170, 33170}, {33307, 33310}, {33346, 33347},
    {33366, 33366}, {33370, 33370}, {33374, 33374}, {33378, 33382}, {33388, 33390}, {33493, 33498},
    {33509, 33509}, {33512, 33512}, {33901, 33902}, {34016, 34016}, {34024, 34024}, {34045, 34045},
    {34068, 34068}, {34076, 34076}, {34229, 34229}, {34466, 34467}, {34814, 34819}, {34852, 34868},
    {34877, 34877}, {34921, 34921}, {34924, 34925}, {34930, 34930}, {34964, 34965}, {35053, 35053},
    {35055, 35055}, {35071, 35071}, {35076, 35077}, {35097, 35097}, {35345, 35345}, {35368, 35396},
    {35398, 35398}, {35657, 35661}, {35723, 35723}, {35725, 35725}, {35738, 35739}, {35869, 35869},
    {35881, 35884}, {35894, 35895}, {35958, 35958}, {35967, 35968}, {35971, 35973}, {35976, 35979},
    {35982, 35983}, {36003, 36007}, {36010, 36010}, {36063, 36063}, {36183, 36183}, {36199, 36199},
    {36201, 36201}, {36203, 36203}, {36319, 36321}, {36344, 36349}, {36382, 36383}, {36387, 36389},
    {36433, 36434}, {36441, 36447}, {36466, 36466}, {36478, 36486}, {36489, 36490}, {36662, 36671},
    {36675, 36675}, {36687, 36687}, {36874, 36874}, {36974, 36974}, {37066, 37071}, {37074, 37087},
    {37099, 37099}, {37102, 37103}, {37124, 37125}, {37134, 37137}, {37154, 37157}, {37187, 37189},
    {37279, 37279}, {37307, 37311}, {37566, 37566}, {37568, 37571}, {37580, 37592}, {37596, 37596},
    {37600, 37600}, {37653, 37656}, {37761, 37761},
};

constexpr uint32_t count_known()
{
    uint32_t count = 0;
    for (const pname_range& range : known_pnames)
        count += range.last - range.first + 1;
    return count;
}
static_assert(count_known() == 325);

bool is_known(uint32_t pname)
{
    const auto* range = std::upper_bound(std::begin(known_pnames), std::end(known_pnames), pname,
                                         [](uint32_t p, const pname_range& r) { return p < r.first; });
    return range != std::begin(known_pnames) && pname <= std::prev(range)->last;
}

/// Answered from the model, or corrected by it, in every mode.
constexpr uint32_t always_local[] = {
    GL_DITHER,
    GL_TEXTURE_BINDING_2D,
    GL_TEXTURE_BINDING_3D,
    GL_TEXTURE_BINDING_CUBE_MAP,
    GL_TEXTURE_BINDING_2D_ARRAY,
    GL_NUM_EXTENSIONS,
    GL_PROGRAM_PIPELINE_BINDING,
    GL_VERTEX_ARRAY_BINDING,
    GL_CURRENT_PROGRAM,
    GL_FRAMEBUFFER_BINDING,
    GL_READ_FRAMEBUFFER_BINDING,
    GL_RENDERBUFFER_BINDING,
    GL_ARRAY_BUFFER_BINDING,
    GL_ELEMENT_ARRAY_BUFFER_BINDING,
    GL_PIXEL_PACK_BUFFER_BINDING,
    GL_PIXEL_UNPACK_BUFFER_BINDING,
    GL_COPY_READ_BUFFER,
    GL_COPY_WRITE_BUFFER,
    GL_TEXTURE_BUFFER,
    GL_DISPATCH_INDIRECT_BUFFER_BINDING,
    GL_DRAW_INDIRECT_BUFFER_BINDING,
    GL_UNIFORM_BUFFER_BINDING,
    GL_TRANSFORM_FEEDBACK_BUFFER_BINDING,
    GL_SHADER_STORAGE_BUFFER_BINDING,
    GL_ATOMIC_COUNTER_BUFFER_BINDING,
    GL_VERTEX_BINDING_BUFFER,
    GL_TRANSFORM_FEEDBACK_BINDING,
    GL_SAMPLER_BINDING,
    GL_NUM_COMPRESSED_TEXTURE_FORMATS,
    GL_COMPRESSED_TEXTURE_FORMATS,
    GL_NUM_PROGRAM_BINARY_FORMATS,
    GL_NUM_SHADER_BINARY_FORMATS,
    GL_PROGRAM_BINARY_FORMATS,
    GL_SHADER_BINARY_FORMATS,
    GL_ALIASED_LINE_WIDTH_RANGE,
    GL_UNIFORM_BUFFER_OFFSET_ALIGNMENT,
    GL_SHADER_STORAGE_BUFFER_OFFSET_ALIGNMENT,
    GL_MAX_VERTEX_ATOMIC_COUNTERS,
    37587,
    37588,
    37589,
    37590,
    GL_MAX_COMPUTE_ATOMIC_COUNTERS,
};

/// While the target runs calls its own answer to these stands.
constexpr uint32_t local_with_target[] = {
    GL_IMAGE_BINDING_NAME,  GL_IMAGE_BINDING_LEVEL,  GL_IMAGE_BINDING_LAYERED,
    GL_IMAGE_BINDING_LAYER, GL_IMAGE_BINDING_ACCESS, GL_IMAGE_BINDING_FORMAT,
};

template <size_t N>
bool contains(const uint32_t (&list)[N], uint32_t pname)
{
    return std::find(std::begin(list), std::end(list), pname) != std::end(list);
}

struct component_count
{
    uint32_t pname;
    uint32_t count;
};
constexpr component_count component_counts[] = {
    {GL_DEPTH_RANGE, 2},
    {GL_MAX_VIEWPORT_DIMS, 2},
    {GL_ALIASED_POINT_SIZE_RANGE, 2},
    {GL_ALIASED_LINE_WIDTH_RANGE, 2},
    {37761, 2}, // GL_MULTISAMPLE_LINE_WIDTH_RANGE
    {GL_VIEWPORT, 4},
    {GL_SCISSOR_BOX, 4},
    {GL_COLOR_CLEAR_VALUE, 4},
    {GL_COLOR_WRITEMASK, 4},
    {GL_BLEND_COLOR, 4},
    {GL_PROGRAM_BINARY_FORMATS, 0},
    {GL_SHADER_BINARY_FORMATS, 0},
    {37566, 8}, // GL_PRIMITIVE_BOUNDING_BOX
};
} // namespace

bool zelvar_helpers_get_pname_data_source(uint32_t pname, _zelvar_helpers_pname_data_source* source)
{
    if (!is_known(pname))
        return false;
    bool local =
        contains(always_local, pname) || (zelvar_call_on_target() && contains(local_with_target, pname));
    *source = local ? pname_source_local : pname_source_host;
    return true;
}

bool zelvar_helpers_get_number_of_pname_components(uint32_t pname, const _zelvar_context_data* context,
                                                   uint32_t* count)
{
    if (!is_known(pname))
        return false;
    *count = 1;
    if (pname == GL_COMPRESSED_TEXTURE_FORMATS)
        *count = static_cast<uint32_t>(context->target_constants.compressed_texture_formats.size());
    for (const component_count& row : component_counts)
        if (row.pname == pname)
            *count = row.count;
    return true;
}
