#version 450
layout(local_size_x = 4) in;
layout(set = 0, binding = 2) buffer numbers { uint number[]; };
layout(set = 0, binding = 3, rgba8) uniform image2D image;
layout(set = 0, binding = 4) uniform samplerBuffer texels;

void main()
{
    const uint me = gl_GlobalInvocationID.x;
    number[me] = me + number[number[me]];
    imageStore(image, ivec2(me, number[me]), texelFetch(texels, int(number[me])));
}
