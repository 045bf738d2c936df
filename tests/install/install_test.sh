#!/bin/bash
# Installs a build into a folder, moves it, and embeds it from there in both ways: CMake package and pkg-config.
# usage: install_test.sh BUILD_FOLDER SOURCE_FOLDER WORK_FOLDER
set -euo pipefail

build=$1
source=$2
work=$3
cxx=${CXX:-c++}

fail()
{
    printf 'FAILED: %s\n' "$1"
    exit 1
}

rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/first" >"$work/install.log"
# What is installed must not remember where it was installed to.
mv "$work/first" "$work/moved"
prefix=$work/moved
if grep -rIl -e "$work/first" -e "$source" "$prefix"; then
    fail "the installed files above name the folder of the sources or of the installation"
fi

library=$(find "$prefix" -name libZelvar.so)
[ -n "$library" ] || fail "libZelvar.so is not installed"
if [ -f "$build/lib/libZelvarShaderCheck.so" ] && [ ! -f "$(dirname "$library")/libZelvarShaderCheck.so" ]; then
    fail "libZelvarShaderCheck.so is not installed beside it"
fi
for header in "$source"/include/zelvar/*.h; do
    [ -f "$prefix/include/zelvar/$(basename "$header")" ] || fail "$(basename "$header") is not installed"
done
# Each header stands by itself, in the oldest standard that the package asks for, beside strict warnings.
for header in "$prefix"/include/zelvar/*.h; do
    echo "#include <zelvar/$(basename "$header")>" |
        "$cxx" -std=c++14 -Wall -Wextra -Wpedantic -Werror -I"$prefix/include" -fsyntax-only -x c++ - ||
        fail "$(basename "$header") does not compile by itself"
done

# run_embedding PROGRAM: it must reach the driver and come back with a display.
run_embedding()
{
    local output
    output=$(cd "$work" && TRV_ZELVAR_SETTINGS_PATH=$source/examples/embedding/settings.ini \
        EGL_PLATFORM=surfaceless MESA_GLES_VERSION_OVERRIDE=3.1 LD_LIBRARY_PATH=$(dirname "$library") "$1") ||
        fail "$1 ended with status $?"
    printf '%s\n' "$output"
    grep -Eq '^eglGetDisplay returned display 0x0*[1-9a-f][0-9a-f]*$' <<<"$output" || fail "$1 printed no display"
}

cmake -S "$source/examples/embedding" -B "$work/with_cmake" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$cxx" >"$work/configure.log"
cmake --build "$work/with_cmake" >"$work/build.log" || fail "the CMake package does not build: $work/build.log"
run_embedding "$work/with_cmake/embedding"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name zelvar.pc)")
export PKG_CONFIG_PATH
read -ra flags <<<"$(pkg-config --cflags --libs zelvar)"
"$cxx" -std=c++14 "$source/examples/embedding/embedding.cpp" "${flags[@]}" -o "$work/with_pkg_config" ||
    fail "the flags of pkg-config do not build: ${flags[*]}"
run_embedding "$work/with_pkg_config"
echo "embedded through the CMake package and through pkg-config"
