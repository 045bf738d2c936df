#version 450
layout(local_size_x = 1) in;
layout(set = 0, binding = 0) buffer numbers { uint number[]; };

// A software driver ends loops after thousands of rounds, so groups without number do the rest.
void main()
{
    while (number[1] == 0u)
        atomicAdd(number[0], 1u);
}
