#version 450
// What is told when the pipeline is made: numbers, and how large a group is.
layout(local_size_x_id = 10, local_size_y_id = 11) in;
layout(constant_id = 0) const int whole = 1;
layout(constant_id = 1) const float real = 0.5;
layout(constant_id = 2) const bool flag = false;
layout(constant_id = 3) const uint words = 2;
layout(constant_id = 7) const double longer = 0.25;
layout(set = 0, binding = 0) buffer results { float result[]; };
shared float kept[words];

void main()
{
    const uint me = gl_LocalInvocationIndex;
    if (me < words)
        kept[me] = float(whole) * float(me) + real;
    barrier();
    result[me] = kept[me % words] + (flag ? 1000.0 : 0.0) + float(gl_WorkGroupSize.x * 10 + gl_WorkGroupSize.y) +
                 float(longer * 4.0);
}
