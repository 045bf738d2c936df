#version 450
layout(location = 0) in vec2 at;
layout(location = 0) out vec4 drawn;

void main()
{
    drawn = vec4(at, 0.5, 1.0);
}
