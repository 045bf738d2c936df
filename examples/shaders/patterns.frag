#version 450
layout(constant_id = 4) const int pattern = 0;
layout(constant_id = 5) const float scale = 8.0;
layout(location = 0) in vec2 at;
layout(location = 0) out vec4 drawn;

void main()
{
    const vec2 cell = floor(at * scale);
    const float on = pattern == 0   ? mod(cell.x + cell.y, 2.0)
                     : pattern == 1 ? mod(cell.x, 2.0)
                                    : step(0.5, fract(dot(cell, vec2(0.25, 0.5))));
    drawn = vec4(on, at.x, at.y, 1.0);
}
