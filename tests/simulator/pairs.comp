#version 450
layout(local_size_x = 1) in;
layout(constant_id = 0) const uint length = 4;
layout(set = 0, binding = 0) buffer numbers { uint number[]; };

void main()
{
    uint kept[length];
    for (uint i = 0; i < 4u; ++i)
        kept[i % length] = i + number[i];
    number[0] = kept[3] + 39u;
}
