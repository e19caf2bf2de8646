# What makes the packages and tries them in a clean Debian; sourced with $suite set to a release's name, or empty for this machine's.
# The clean Debian is kept as a tar file in /var/tmp for the next run, and so are the packages that it downloads.
unable() { echo "$0: $*" >&2; exit 77; }
needed() {  # WHAT COMMAND...: where the command fails, this machine is no place to try anything
    "${@:2}" >"$work/log" 2>&1 || { tail -n 5 "$work/log" >&2; unable "this machine can't $1"; }
}
step() { echo "== $* ($(date +%T))"; }
quietly() { "$@" >"$work/log" 2>&1 || { tail -n 30 "$work/log" >&2; echo "$0: failed: $*" >&2; exit 1; }; }

[ "$(id -u)" -eq 0 ] || unable "become root: it unpacks a Debian and enters it"
for program in mmdebstrap unshare; do
    command -v "$program" >/dev/null || unable "install $program (script/bootstrap --packaging does)"
done
unshare --mount --pid --ipc --uts --fork --mount-proc true 2>/dev/null || unable "this machine allows no namespaces with mounts of their own"
running=$(sed -n "s/^VERSION_CODENAME=//p" /etc/os-release)
suite=${suite:-$running}
downloads=/var/tmp/corvane-debs-$suite
packages=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/build/packages/$suite
work=$(mktemp -d /var/tmp/corvane-XXXXXX)  # beside what is kept, which is linked and not copied
root=$work/root
trap 'rm -rf --one-file-system "$work"' EXIT

# Where this machine gets its own packages, for $suite.
sources() {
    # shellcheck disable=SC2016
    apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
        grep -E " $running(-updates|-security)? " | sed "s/ $running/ $suite/" | sort -u
}

# A clean Debian in $root.
make_root() {
    local base=/var/tmp/corvane-clean-$suite.tar
    if ! [ -O "$base" ]; then
        [ -n "$(sources)" ] || needed "list the packages of $suite" apt-get update
        sources >"$work/sources"
        # Nothing here outlives a crash, so nothing need be on disk at once.
        needed "make a clean $suite" mmdebstrap --variant=minbase --dpkgopt=force-unsafe-io --aptopt='Acquire::Languages "none"' \
            --aptopt='Acquire::Retries "3"' --skip=cleanup/apt/lists --format=tar "$suite" "$base.new.$$" - <"$work/sources"
        mv "$base.new.$$" "$base"
    fi
    mkdir "$root"
    tar -C "$root" -xf "$base"
    cp /etc/resolv.conf /etc/hosts "$root/etc/"
    mkdir -p "$downloads"
    cp -l "$downloads"/*.deb "$root/var/cache/apt/archives/" 2>/dev/null || true
    needed "list the packages of $suite" inside apt-get -q -o APT::Update::Error-Mode=any update
}

# Runs a command in $root, with processes and mounts of its own: whatever it starts ends with it.
inside() {
    local status=0
    # shellcheck disable=SC2016
    # No chroot: what runs in one can't have namespaces of its own.
    unshare --mount --pid --ipc --uts --fork --kill-child /bin/sh -c '
        mount --bind "$0" "$0" && cd "$0" && pivot_root . mnt && cd / && mount -t proc proc /proc && umount -l /mnt &&
        mount -t tmpfs tmpfs /run && mount -t tmpfs tmpfs /dev/shm &&
        mkdir -p /dev/pts && mount -t devpts -o newinstance,ptmxmode=0666 devpts /dev/pts &&
        exec env -i DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root "$@"
    ' "$root" "$@" || status=$?
    cp -ln "$root"/var/cache/apt/archives/*.deb "$downloads/" 2>/dev/null || true
    return $status
}

# The checkout's files, in a folder of $root.
put_source() {
    mkdir -p "$root$1"
    (cd "$here/.." && git ls-files -z | tar --null -T - -c) | tar -C "$root$1" -x --no-same-owner
}

# The packages that make-packages left, in /debs of $root; programs among them claim a later version in /debs/next.
put_packages() {
    local package
    ls "$packages"/ryntool_*.deb >/dev/null || { echo "$0: run Packaging/make-packages $suite first" >&2; exit 1; }
    mkdir -p "$root/debs/next"
    cp "$packages"/{python3-corvane,libryn-client1,libryn-client-dev}_*.deb "$root/debs/"
    for package in "$packages"/{ryntool,corvane}_*.deb; do
        cp "$package" "$root/debs/"
        dpkg-deb -R "$package" "$work/next"
        sed -i 's/^Version: .*/&+next/' "$work/next/DEBIAN/control"
        quietly dpkg-deb -b "$work/next" "$root/debs/next/$(basename "$package")"
        rm -r "$work/next"
    done
}
