# Installed tree: library, public headers, CMake package, pkg-config file.
