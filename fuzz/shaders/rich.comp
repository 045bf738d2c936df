#version 450
layout(local_size_x_id = 0) in;
layout(constant_id = 1) const int rounds = 5;
layout(constant_id = 2) const uint length = 8;
layout(set = 0, binding = 2) buffer numbers { uint number[]; };
layout(set = 0, binding = 3, rgba8) uniform image2D image;
shared uint sums[length];

struct pair { vec3 value; mat3 turned; };

uint added(inout pair one, uint by)
{
    switch (by & 3u) {
    case 0u:
        one.value = one.turned * one.value;
        break;
    case 1u:
        one.value = cross(one.value, vec3(1.0, by, 2.0));
    default:
        one.value.yx += unpackHalf2x16(by);
    }
    return by + floatBitsToUint(one.value.x);
}

void main()
{
    const uint me = gl_GlobalInvocationID.x;
    pair one = pair(vec3(me), mat3(2.0));
    uint kept[4] = uint[](1u, 2u, me, number[0]);
    for (int i = 0; i < rounds; ++i) {
        if (number[me] == 7u)
            continue;
        kept[me & 3u] += added(one, kept[i & 3]);
        if (kept[1] > 1000u)
            break;
    }
    atomicAdd(sums[me % length], kept[2]);
    barrier();
    number[me] = sums[0] + imageSize(image).x + bitCount(kept[3]) + findMSB(kept[0]);
    imageStore(image, ivec2(me), vec4(one.value, determinant(one.turned)));
}
