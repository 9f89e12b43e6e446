# Sourced by the scripts: installs the Debian packages that they need and that are missing.
build_packages=(g++ cmake ninja-build pkg-config libcli11-dev rapidjson-dev nettle-dev libarchive-dev
    zlib1g-dev liblzma-dev libzstd-dev libbz2-dev)
debian_packages=(build-essential debhelper dpkg-dev fakeroot) # beside those of the build, which debian/control names again
wasm_clang=16 # of Debian 12; cmake/wasm.cmake takes either
grep -qx 'VERSION_ID="12"' /etc/os-release || wasm_clang=19
wasm_packages=("clang-$wasm_clang" "lld-$wasm_clang" wasi-libc "libc++-$wasm_clang-dev-wasm32" "libclang-rt-$wasm_clang-dev-wasm32")

need() {
    local package missing=() installed install reason
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2>/dev/null | sed -n 's/^installed //p') || true
    for package in "$@"; do
        grep -qxF "$package" <<<"$installed" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    install="apt-get install --no-install-recommends ${missing[*]}"
    if [ "$(id -u)" != 0 ]; then
        echo "$0: packages are missing; as root: $install" >&2
        exit 1
    fi
    echo "Installing Debian packages: ${missing[*]}" >&2
    if ! (
        export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
        options=(-qq -o DPkg::Lock::Timeout=300 -o Acquire::Retries=2 -o Acquire::http::Timeout=30)
        apt-get "${options[@]}" update
        apt-get "${options[@]}" install -y --no-install-recommends "${missing[@]}"
    ) >"$log" 2>&1 </dev/null; then
        reason=$(grep -m 1 '^E: ' "$log") || true
        echo "$0: packages are missing, and apt-get cannot install them (${reason:-$(tail -n 1 "$log")}): $install" >&2
        exit 1
    fi
}

log=$(mktemp)
trap 'rm -f "$log"' EXIT
