# What the commands in this folder share: how they speak, Debian packages, presets. Sourced, not run.
# shellcheck shell=bash disable=SC2034 # package lists are used by the commands
set -euo pipefail

project_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# Builds and test runs use this many jobs; a small machine can be given fewer.
zelvar_jobs=${ZELVAR_JOBS:-$(nproc)}

say()
{
    printf '==> %s\n' "$*"
}

# fail WHAT [COMMAND THAT MENDS IT]
fail()
{
    printf 'error: %s\n' "$1" >&2
    if [ $# -gt 1 ]; then
        printf '       mend it with: %s\n' "$2" >&2
    fi
    exit 1
}

# What every build needs.
packages_build=(build-essential cmake ninja-build ccache pkg-config python3 git
    libegl-dev libgles-dev libvulkan-dev libx11-dev glslang-tools spirv-tools
    libgtest-dev libgmock-dev libbenchmark-dev libpng-dev libcli11-dev libfmt-dev)
# What the codec is measured beside.
packages_bench=(libqoi-dev liblz4-dev)
# What examples and tests meet at run time: the software drivers.
packages_run=(libegl1 libgles2 libegl-mesa0 libgl1-mesa-dri libvulkan1 mesa-vulkan-drivers)
# What only tests need: an X server, for windows of X clients, and real applications.
packages_test=(xvfb glmark2-es2-x11 mesa-utils libsdl2-tests vulkan-tools vulkan-validationlayers)
# What checks and fuzz targets need on top.
packages_clang=(clang clang-tidy clang-format libclang-rt-dev)
# 32-bit targets are built where the compiler can.
if [ "$(uname -m)" = x86_64 ]; then
    packages_build+=(gcc-multilib g++-multilib)
fi

# need_packages PACKAGE...: installs those that are missing.
need_packages()
{
    local missing=() package status run=()
    if ! command -v dpkg-query >/dev/null; then
        say "This is no Debian system; taking for granted that these are there: $*"
        return
    fi
    for package in "$@"; do
        # shellcheck disable=SC2016 # dpkg's own variable
        status=$(dpkg-query -W -f='${db:Status-Status} ' "$package" 2>/dev/null || true)
        case " $status" in
        *" installed "*) ;;
        *) missing+=("$package") ;;
        esac
    done
    if [ ${#missing[@]} -eq 0 ]; then
        return
    fi
    local mend="apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || fail "these Debian packages are missing: ${missing[*]}" "(as root) $mend"
        run=(sudo)
    fi
    say "Installing Debian packages: ${missing[*]}"
    "${run[@]}" apt-get -q update || fail "the package lists could not be fetched" "(as root) $mend"
    "${run[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q install -y --no-install-recommends "${missing[@]}" ||
        fail "these Debian packages could not be installed: ${missing[*]}" "(as root) $mend"
}

# preset_folder PRESET: where the preset builds.
preset_folder()
{
    case $1 in
    release) echo "$project_root/build" ;;
    debug | asan | tsan) echo "$project_root/build-$1" ;;
    *) fail "there is no preset '$1'" "scripts/build release|debug|asan|tsan" ;;
    esac
}

# build_preset PRESET [TARGET...]: configures and builds; prints progress.
build_preset()
{
    local preset=$1 folder
    shift
    folder=$(preset_folder "$preset")
    say "Configuring $preset in ${folder#"$project_root"/}"
    (cd "$project_root" && cmake --preset "$preset") || return 1
    say "Building $preset with $zelvar_jobs jobs"
    (cd "$project_root" && cmake --build --preset "$preset" -j "$zelvar_jobs" ${1:+--target "$@"}) || return 1
}
