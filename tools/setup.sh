# SPDX-License-Identifier: GPL-3.0-or-later
# Sourced by the commands in the root: installs what is missing, and builds. Quiet when there is
# nothing to do.

build_packages=(
    cmake ninja-build g++ pkg-config qt6-base-dev libqt6opengl6-dev libgl-dev libvips-dev
    libtiff-dev libexiv2-dev libheif-dev libraw-dev libopenexr-dev liblcms2-dev
    libjpeg62-turbo-dev libxcb1-dev
)
program_packages=(enfuse hugin-tools libqt6svg6 qt6-wayland xdg-utils)
display_packages=(xvfb xauth libgl1-mesa-dri fonts-dejavu-core)
test_packages=(
    libgtest-dev libgmock-dev libglu1-mesa-dev libjxl-dev libopenjp2-7-dev libavif-bin
    zlib1g-dev libtiff-tools libimage-exiftool-perl locales
)
bench_packages=(libbenchmark-dev libvips-tools)
lint_packages=(clang clang-format clang-tidy)

fail() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

# Installs the named Debian packages that are not there yet.
install_missing() {
    local package missing=()
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    command -v apt-get >/dev/null || fail "these Debian packages are missing: ${missing[*]}"
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || fail "run as root or install sudo, to install ${missing[*]}"
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}"
    "${as_root[@]}" apt-get update -qq || fail "apt-get update did not succeed"
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null ||
        fail "these Debian packages could not be installed: ${missing[*]}"
}

# build PRESET OPTION TARGET...: configures when that was never done or the option (none: -) was off,
# and builds with progress.
build() {
    local preset=$1 option=$2
    shift 2
    local folder=build/$preset
    if [ ! -f "$folder/build.ninja" ] ||
        { [ "$option" != - ] && ! grep -qs "^$option:BOOL=ON" "$folder/CMakeCache.txt"; }; then
        echo "Configuring ($preset)"
        local options=() messages
        [ "$option" = - ] || options=("-D$option=ON")
        messages=$(cmake --preset "$preset" "${options[@]}" 2>&1) || {
            echo "$messages" >&2
            rm -f "$folder/build.ninja"
            fail "the build could not be configured"
        }
    fi
    # Leaves out the two lines that ninja prints without work.
    ninja -C "$folder" "$@" | awk -v preset="$preset" '
        /Entering directory|Re-checking globbed directories|no work to do/ { next }
        !started++ { print "Building (" preset ")" }
        { print; fflush() }' || fail "the build did not succeed"
}

# Runs a command on the screen that is there, or on a virtual one. (-noreset: otherwise the
# screen starts anew when its last program has gone, and refuses others meanwhile.)
with_display() {
    if [ -n "${DISPLAY:-}" ]; then
        "$@"
    else
        xvfb-run -a -s "-screen 0 1920x1200x24 -noreset" "$@"
    fi
}
