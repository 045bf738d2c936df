#version 450
// Every texel of a level of an image, as the sampler sees it.
layout(local_size_x = 8, local_size_y = 8) in;
layout(set = 0, binding = 0) uniform sampler2D image;
layout(set = 0, binding = 1) writeonly buffer results { uint result[]; };
layout(push_constant) uniform constants { int level; uint first; };

void main()
{
    const ivec2 size = textureSize(image, level);
    const ivec2 at = ivec2(gl_GlobalInvocationID.xy);
    if (any(greaterThanEqual(at, size)))
        return;
    const vec2 where = (vec2(at) + 0.5) / vec2(size);
    result[first + at.y * size.x + at.x] = packUnorm4x8(textureLod(image, where, float(level)));
}
