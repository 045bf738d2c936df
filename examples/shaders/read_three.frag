#version 450
layout(input_attachment_index = 0, set = 0, binding = 0) uniform subpassInput drawn;
layout(input_attachment_index = 2, set = 0, binding = 2) uniform subpassInput fogged;
layout(input_attachment_index = 3, set = 0, binding = 3) uniform subpassInput inverse;
layout(location = 0) in vec2 at;
layout(location = 0) out vec4 mixed;

void main()
{
    mixed = at.x < 0.33 ? subpassLoad(drawn) : at.x < 0.67 ? subpassLoad(fogged) : subpassLoad(inverse);
}
