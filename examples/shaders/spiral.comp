#version 450
// Rings around a centre, on top of what is there.
layout(local_size_x = 8, local_size_y = 8) in;
layout(set = 0, binding = 0, rgba8) uniform image2D canvas;
layout(set = 0, binding = 1) buffer counters { uint hits[16]; };
layout(push_constant) uniform constants { vec2 centre; float width; float round; };

void main()
{
    const ivec2 at = ivec2(gl_GlobalInvocationID.xy);
    if (any(greaterThanEqual(at, imageSize(canvas))))
        return;
    const vec2 away = vec2(at) + 0.5 - centre;
    const uint ring = uint(sqrt(dot(away, away)) / width);
    atomicAdd(hits[ring % 16], 1);
    const vec4 old = round == 0.0 ? vec4(0.0, 0.0, 0.0, 1.0) : imageLoad(canvas, at);
    const vec4 mine = vec4(float(ring % 2), float(ring % 3) / 2.0, float(ring % 5) / 4.0, 1.0);
    imageStore(canvas, at, (old + mine) / 2.0);
}
