# An empty Debian to try things in; to be read by the scripts that need one, in the tree's top folder, as root.
# shellcheck shell=bash

# make_empty_debian RELEASE PACKAGE...: makes it in a new folder, whose name is $root then, with these packages of that
# release besides what every Debian has. It goes when the script ends.
make_empty_debian() {
  local release=$1 here mirror
  shift
  root=$(mktemp -d)
  trap 'rm -rf "$root"' EXIT
  chmod 755 "$root"
  here=$(. /etc/os-release && echo "$VERSION_CODENAME")
  mirror=$(apt-cache policy | sed -n "s|^ *[0-9]* \(https\{0,1\}://[^ ]*\) $here/main .*|\1|p" | head -n 1)
  mmdebstrap --variant=minbase ${1+--include="$(IFS=,; echo "$*")"} "$release" "$root" "$mirror"
}

# inside COMMAND...: runs it there, with nothing of this machine's environment. What it mounts and starts goes with it.
inside() {
  # shellcheck disable=SC2016
  unshare --mount --pid --fork --kill-child sh -euc '
    root=$1
    shift
    mount -t proc proc "$root/proc"
    mkdir -p "$root/dev/shm" "$root/dev/pts"
    mount -t tmpfs tmpfs "$root/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=666 devpts "$root/dev/pts"
    if [ -n "${bound_folder:-}" ]; then mount --bind "$bound_folder" "$root/$bound_at"; fi
    exec chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive "$@"' \
    sh "$root" "$@"
}

# copy_tree FOLDER: what git knows, or will know, of this tree; no build's products.
copy_tree() {
  mkdir -p "$1"
  git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -pt "$1"
}
