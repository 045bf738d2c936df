#version 450
// Samples images of all shapes; one row of results each.
layout(local_size_x = 16) in;
layout(set = 0, binding = 0) uniform sampler3D volume;
layout(set = 0, binding = 1) uniform samplerCube cube;
layout(set = 0, binding = 2) uniform sampler2DArray layers;
layout(set = 0, binding = 3) uniform sampler1D line;
layout(set = 0, binding = 4) uniform usampler2D numbers;
layout(set = 0, binding = 5) writeonly buffer results { vec4 result[]; };

void main()
{
    const uint me = gl_LocalInvocationID.x;
    const float x = (float(me) + 0.5) / 16.0;
    result[me] = textureLod(volume, vec3(x, 1.0 - x, x * x), 0.0);
    const float turn = x * 6.2831853;
    result[16 + me] = textureLod(cube, vec3(cos(turn), 0.7 * sin(2.0 * turn), sin(turn)), 0.0);
    result[32 + me] = textureLod(layers, vec3(x, x, float(me % 5)), float(me % 2));
    result[48 + me] = textureLod(line, x * 2.0 - 0.5, 0.0);
    result[64 + me] = vec4(texelFetch(numbers, ivec2(me % 4, me / 4), 0));
    result[80 + me] = vec4(textureSize(volume, 0), textureSize(layers, 1).z);
}
