# Sourced by the scripts that need a fresh Debian, as root: a minimal system in a folder, from the mirror that this machine uses.
export LC_ALL=C.UTF-8
[ "$(id -u)" = 0 ] || { echo "$0: needs root, to make a Debian in a folder" >&2; exit 1; }

# expect WHAT HAVE WANT: equal texts.
expect() { [ "$2" = "$3" ] || { printf '%s: expected:\n%s\nfound:\n%s\n' "$1" "$3" "$2" >&2; exit 1; }; }

this_release=$(. /etc/os-release && echo "$VERSION_CODENAME")

debian_cache=$PWD/build/debian # of packages, for the next time

# fresh_debian RELEASE FOLDER PACKAGE...: that system with these packages and those that they need, in place of the folder,
# which is `root` from then on.
fresh_debian() {
    local release=$1 mirror cache=$debian_cache/$1
    root=$2
    shift 2
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Component: main' 'Label: Debian' \
        "Codename: $this_release" | head -n 1)
    expect 'mirror of Debian in the sources of apt' "${mirror:+one}" one
    remove_debian
    mkdir -p "$cache"
    debootstrap --variant=minbase --cache-dir="$cache" --include="$(IFS=,; echo "$*")" "$release" "$root" "$mirror"
}

# Removes the system, from which debootstrap unmounts /proc unless something looks into it.
remove_debian() {
    ! mountpoint -q "$root/proc" || umount "$root/proc"
    rm -rf --one-file-system "$root"
}

# inside COMMAND...: runs the command in that system.
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/tmp LC_ALL=C.UTF-8 TERM=dumb "$@"; }
