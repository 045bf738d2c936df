#version 450
// A long road of sums for each number, as long as is told.
layout(local_size_x = 64) in;
layout(push_constant) uniform constants { uint steps; };
layout(set = 0, binding = 0) buffer numbers { uint number[]; };

void main()
{
    uint n = number[gl_GlobalInvocationID.x];
    for (uint i = 0; i < steps; ++i)
        n = n * 1664525u + 1013904223u + (n >> 16);
    number[gl_GlobalInvocationID.x] = n;
}
