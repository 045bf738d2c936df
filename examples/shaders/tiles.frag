#version 450
// Tiles, each from another descriptor.
layout(set = 0, binding = 0) uniform sampler2D pairs[4];
layout(set = 1, binding = 0) uniform texture2D images[2];
layout(set = 1, binding = 3) uniform sampler samplers[2];
layout(set = 2, binding = 1) uniform colour { vec4 tint; } blocks[3];
layout(location = 0) in vec2 at;
layout(location = 0) out vec4 drawn;

vec4 separate(int tile, vec2 where)
{
    switch (tile) {
    case 0:
        return texture(sampler2D(images[0], samplers[0]), where);
    case 1:
        return texture(sampler2D(images[0], samplers[1]), where);
    case 2:
        return texture(sampler2D(images[1], samplers[0]), where);
    default:
        return texture(sampler2D(images[1], samplers[1]), where);
    }
}

void main()
{
    const ivec2 tile = ivec2(at * vec2(4.0, 3.0));
    const vec2 where = fract(at * vec2(4.0, 3.0)) * 1.5 - 0.25;
    if (tile.y == 0)
        drawn = tile.x == 0   ? textureLod(pairs[0], where, 0.0)
                : tile.x == 1 ? textureLod(pairs[1], where, 0.0)
                : tile.x == 2 ? textureLod(pairs[2], where, 0.0)
                              : textureLod(pairs[3], where, 0.0);
    else if (tile.y == 1)
        drawn = separate(tile.x, where);
    else
        drawn = tile.x == 0 ? blocks[0].tint : tile.x == 1 ? blocks[1].tint : blocks[2].tint;
}
