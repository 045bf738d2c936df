#version 450
layout(set = 0, binding = 0) uniform sampler2D image;
layout(push_constant) uniform constants { float level; };
layout(location = 0) in vec2 at;
layout(location = 0) out vec4 drawn;

void main()
{
    drawn = textureLod(image, at * 2.0, level);
}
