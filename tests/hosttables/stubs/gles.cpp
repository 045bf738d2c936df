// A libGLESv2.so for tests of the loader. It exports one entry point, which nobody may take from here.

extern "C" void glClear(unsigned) {}
