# Sourced by ./try and ./check: installs the Debian packages that they need and that are missing.
need() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    echo "Installing Debian packages: ${missing[*]}" >&2
    if ! { apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"; } \
            >"$log" 2>&1; then
        cat "$log" >&2
        echo "$0: cannot install ${missing[*]} (root and a reachable Debian mirror are needed)" >&2
        exit 1
    fi
}

log=$(mktemp)
trap 'rm -f "$log"' EXIT
build_packages=(g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev libsmartcols-dev nettle-dev)
wasm_packages=(clang-16 lld-16 wasi-libc libc++-16-dev-wasm32 libclang-rt-16-dev-wasm32 nodejs)
