#version 450
layout(local_size_x = 8, local_size_y = 8) in;
layout(set = 0, binding = 0) readonly buffer before { uint was[]; };
layout(set = 0, binding = 1) writeonly buffer after { uint is[]; };
layout(push_constant) uniform constants { uint side; };

void main()
{
    const uvec2 at = gl_GlobalInvocationID.xy;
    uint neighbours = 0;
    for (uint y = side - 1; y <= side + 1; ++y)
        for (uint x = side - 1; x <= side + 1; ++x)
            if (x != side || y != side)
                neighbours += was[(at.y + y) % side * side + (at.x + x) % side];
    const bool lives = was[at.y * side + at.x] != 0;
    is[at.y * side + at.x] = neighbours == 3 || (lives && neighbours == 2) ? 1 : 0;
}
