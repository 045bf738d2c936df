#version 450
layout(local_size_x = 32) in;
layout(set = 0, binding = 0) uniform fixed_block { mat4 matrix; ivec4 integers[3]; float single; };
layout(set = 0, binding = 1) uniform moving_block { vec4 offset; };
layout(set = 0, binding = 2) readonly buffer vectors { vec4 vector[]; };
layout(set = 0, binding = 3) buffer moving_words { uint word[32]; };
layout(set = 0, binding = 4) uniform samplerBuffer colours;
layout(set = 0, binding = 5, r32ui) uniform uimageBuffer numbers;
layout(set = 0, binding = 6) writeonly buffer results { vec4 result[]; };
layout(push_constant) uniform constants { uint first; };

void main()
{
    const uint me = gl_LocalInvocationID.x;
    const vec4 given = vector[me % vector.length()];
    result[first + me] = matrix * given + offset + texelFetch(colours, int(me % uint(textureSize(colours))));
    const uint old = imageAtomicAdd(numbers, int(me), word[me] + uint(integers[me % 3][me % 4]));
    word[me] = old + floatBitsToUint(single);
}
