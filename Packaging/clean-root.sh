# What the tests of the packages share; sourced with $build set. A clean Debian, kept as a tar file in /var/tmp for the next run.
unable() { echo "$0: $*" >&2; exit 77; }
step() { echo "== $*"; }
quietly() { "$@" >"$work/log" 2>&1 || { tail -n 30 "$work/log" >&2; echo "$0: failed: $*" >&2; exit 1; }; }

[ "$(id -u)" -eq 0 ] || unable "become root: it unpacks a Debian and enters it"
for program in debootstrap dpkg-shlibdeps unshare; do
    command -v "$program" >/dev/null || unable "install $program (packages debootstrap, dpkg-dev, util-linux)"
done
work=$(mktemp -d)
root=$work/root
trap 'rm -rf --one-file-system "$work"' EXIT

# The packages as they are, in $work/now, and as if of a later version, in $work/next.
make_packages() {
    quietly cmake --build "$build" --target ryntool Corvane Pellcore compressed_documents
    local version
    version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")$/\1/p' "$build/CPackConfig.cmake")
    (cd "$build" && quietly cpack -D "CPACK_PACKAGE_VERSION=$version" -B "$work/now")
    (cd "$build" && quietly cpack -D "CPACK_PACKAGE_VERSION=$version+next" -B "$work/next")
}

# A clean Debian in $root, with the packages in /debs and /debs/next and the script $1 as /debs/inside.
make_root() {
    local suite base
    suite=$(sed -n "s/^VERSION_CODENAME=//p" /etc/os-release)
    base=/var/tmp/corvane-test-$suite.tar
    if ! [ -O "$base" ]; then
        debootstrap --variant=minbase "$suite" "$work/base" >"$work/log" 2>&1 || { tail "$work/log" >&2; unable "debootstrap failed"; }
        tar -C "$work/base" -cf "$base.new.$$" . && mv "$base.new.$$" "$base"
    fi
    mkdir "$root"
    tar -C "$root" -xf "$base"
    cp /etc/resolv.conf /etc/hosts "$root/etc/"
    mkdir "$root/debs" "$root/debs/next"
    cp "$work/now"/*.deb "$root/debs/"
    cp "$work/next"/*.deb "$root/debs/next/"
    cp "$1" "$root/debs/inside"
}
