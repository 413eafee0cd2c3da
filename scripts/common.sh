# Shared by scripts/run and scripts/test: install what is missing, then configure and build.
# Sourced, not run.

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD_DIR=${TALLOWPINE_BUILD_DIR:-$ROOT/build}

install_missing_packages() {
    local wanted missing=()
    wanted=$(grep -vE '^\s*(#|$)' "$ROOT/scripts/packages.txt")
    for pkg in $wanted; do
        if [ "$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null)" != "install ok installed" ]; then
            missing+=("$pkg")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    echo "Installing ${#missing[@]} missing Debian packages: ${missing[*]}"
    local sudo=""
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "need root or sudo to install packages" >&2; exit 1; }
        sudo="sudo"
    fi
    $sudo env DEBIAN_FRONTEND=noninteractive apt-get update -q
    $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
}

configure_and_build() {
    # ccache keys on paths relative to the checkout, so a fresh clone elsewhere still hits the cache.
    export CCACHE_BASEDIR="$ROOT" CCACHE_NOHASHDIR=1
    if [ ! -f "$BUILD_DIR/build.ninja" ]; then
        cmake -S "$ROOT" -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
            -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@"
    fi
    cmake --build "$BUILD_DIR"
}
