#version 450
layout(set = 0, binding = 0) uniform block { vec4 tint; };
layout(set = 0, binding = 1) uniform sampler2D image;
layout(location = 0) in vec2 at;
layout(location = 0) out vec4 drawn;

void main()
{
    drawn = tint + texture(image, at);
}
