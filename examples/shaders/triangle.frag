#version 450
layout(push_constant) uniform constants
{
    layout(offset = 16) vec4 tint;
};
layout(location = 0) in vec3 colour;
layout(location = 0) out vec4 drawn;

void main()
{
    drawn = vec4(colour, 1.0) * tint;
}
