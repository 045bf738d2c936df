#version 450
layout(input_attachment_index = 0, set = 0, binding = 0) uniform subpassInput drawn;
layout(input_attachment_index = 1, set = 0, binding = 1) uniform subpassInput depth;
layout(location = 0) out vec4 fogged;

void main()
{
    const float distance = subpassLoad(depth).r;
    fogged = mix(subpassLoad(drawn), vec4(0.5, 0.5, 0.5, 1.0), distance);
}
