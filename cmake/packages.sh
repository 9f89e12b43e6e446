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

# unpack ARCHITECTURE FOLDER PACKAGE...: packages of another architecture, into a folder rather than the system.
unpack() {
    local folder=$2 work options=(-o "APT::Architecture=$1" -o "APT::Architectures=$1" -o Dir::State::status=/dev/null)
    [ ! -d "$folder" ] || return 0
    shift 2
    work=$(mktemp -d)
    mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/root" "${folder%/*}"
    options+=(-o "Dir::State::lists=$work/lists" -o "Dir::Cache=$work/cache" -o APT::Sandbox::User=root)
    if ! (cd "$work" && apt-get "${options[@]}" update -qq && apt-get "${options[@]}" download -qq "$@" &&
            for package in *.deb; do dpkg-deb -x "$package" root || exit 1; done) >"$log" 2>&1; then
        cat "$log" >&2
        echo "$0: cannot fetch $* (a reachable Debian mirror is needed)" >&2
        exit 1
    fi
    mv "$work/root" "$folder"
    rm -rf "$work"
}

log=$(mktemp)
trap 'rm -f "$log"' EXIT
build_packages=(g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev libsmartcols-dev nettle-dev)
