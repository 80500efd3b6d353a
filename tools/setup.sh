# Shared by ./run and ./test: installs the Debian packages the build needs
# (only those missing) and configures and builds the tree in build/.
# Sourced, not run: the caller sets BUILD_DIR and CMAKE_EXTRA if it wants,
# EXTRA_PACKAGES for more Debian packages, and PACKAGES_ONLY=1 to stop after
# installing them.

packages=(cmake ninja-build g++ g++-mingw-w64-x86-64 make ccache pkg-config qtbase5-dev qtbase5-dev-tools qt6-base-dev zlib1g-dev
          fonts-dejavu-core python3-dev xvfb openbox xdotool ${EXTRA_PACKAGES:-})

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "== Installing Debian packages: ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        if command -v sudo >/dev/null; then SUDO=sudo; else
            echo "error: these packages are missing and installing them needs root: ${missing[*]}" >&2
            exit 1
        fi
    fi
    export DEBIAN_FRONTEND=noninteractive
    ${SUDO:-} apt-get update -q
    ${SUDO:-} apt-get install -y -q --no-install-recommends "${missing[@]}"
else
    echo "== Debian packages: all present"
fi

if [ -n "${PACKAGES_ONLY:-}" ]; then return 0; fi

BUILD_DIR=${BUILD_DIR:-build}
generator=()
[ -f "$BUILD_DIR/CMakeCache.txt" ] || generator=(-G Ninja)
# The compiler cache serves every build folder and every checkout: paths
# under this one are hashed relative to it, and the folder built in is not
# hashed (it only names where debug information looks for sources).
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD}
export CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-1}
echo "== Configuring in $BUILD_DIR"
cmake -S . -B "$BUILD_DIR" "${generator[@]}" -DQUILL_WERROR=ON -DCMAKE_CXX_COMPILER_LAUNCHER=ccache ${CMAKE_EXTRA:-} >"$BUILD_DIR.configure.log" 2>&1 || {
    cat "$BUILD_DIR.configure.log"; echo "error: configuring failed" >&2; exit 1; }
echo "== Building (log: $BUILD_DIR.build.log)"
cmake --build "$BUILD_DIR" -j "$(nproc)" >"$BUILD_DIR.build.log" 2>&1 || {
    tail -n 60 "$BUILD_DIR.build.log"; echo "error: the build failed" >&2; exit 1; }
