#version 450
layout(location = 0) in vec4 colour;
layout(location = 0) out vec4 drawn;
layout(location = 1) out vec4 inverse;

void main()
{
    drawn = colour;
    inverse = vec4(1.0 - colour.rgb, gl_FragCoord.x / 128.0);
}
