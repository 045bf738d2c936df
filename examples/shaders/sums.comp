#version 450
layout(local_size_x = 64) in;
layout(set = 0, binding = 0) readonly buffer numbers { uint number[]; };
layout(set = 0, binding = 1) writeonly buffer sums { uint sum_of_group[]; };
layout(set = 0, binding = 2) buffer total { uint sum; uint groups; uint most; };
shared uint part[64];

void main()
{
    const uint me = gl_LocalInvocationIndex;
    part[me] = number[gl_GlobalInvocationID.x];
    atomicMax(most, part[me]);
    for (uint step = 32; step > 0; step /= 2) {
        barrier();
        if (me < step)
            part[me] += part[me + step];
    }
    if (me == 0) {
        sum_of_group[gl_WorkGroupID.x] = part[0];
        atomicAdd(sum, part[0]);
        atomicAdd(groups, 1);
    }
}
