# What the scripts share: where the tree is, and how missing packages are installed. Sourced, not run.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export LC_ALL=C.UTF-8

say() { printf '== %s\n' "$*" >&2; }

# install_packages NAME...: installs those Debian packages that are not there yet.
install_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    local as_root=()
    ((EUID == 0)) || as_root=(sudo)
    say "installing ${missing[*]}"
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q >&2
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}" >&2
}

# install_npm: whoever has a node of their own keeps it.
install_npm() { command -v npm >/dev/null || install_packages nodejs npm; }

# What is installed.
programs=(kim2kmg kmginfo kmg2glb gltf2kim kimbuild kimlint)

build_packages=(g++ cmake ninja-build)
inspector_packages=(libcli11-dev nlohmann-json3-dev libtinygltf-dev)
test_packages=(libgtest-dev libgmock-dev make python3)
fuzz_packages=(clang libclang-rt-dev)
benchmark_packages=(libbenchmark-dev libmeshoptimizer-dev)

# configure PRESET [CMAKE-OPTION...]: into build/PRESET.
configure() {
    local preset=$1
    shift
    say "building preset $preset"
    cmake --preset "$preset" "$@" >build-"$preset".log 2>&1 || { cat build-"$preset".log >&2; rm -f build-"$preset".log; return 1; }
    rm -f build-"$preset".log
}

# build PRESET [CMAKE-OPTION...]: configures and builds everything.
build() {
    configure "$@"
    cmake --build --preset "$1" >&2
}

# build_only PRESET TARGET...: configures and builds these.
build_only() {
    configure "$1"
    cmake --build --preset "$1" --target "${@:2}" >&2
}
