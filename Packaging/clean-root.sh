# What the tests of the packages share; sourced with $build and $suite set. A clean Debian is kept as a tar file in /var/tmp for
# the next run.
unable() { echo "$0: $*" >&2; exit 77; }
step() { echo "== $*"; }
quietly() { "$@" >"$work/log" 2>&1 || { tail -n 30 "$work/log" >&2; echo "$0: failed: $*" >&2; exit 1; }; }

[ "$(id -u)" -eq 0 ] || unable "become root: it unpacks a Debian and enters it"
for program in mmdebstrap dpkg-shlibdeps unshare; do
    command -v "$program" >/dev/null || unable "install $program (packages mmdebstrap, dpkg-dev, util-linux)"
done
unshare --mount --pid --fork true 2>/dev/null || unable "this machine allows no namespaces"
running=$(sed -n "s/^VERSION_CODENAME=//p" /etc/os-release)
suite=${suite:-$running}
work=$(mktemp -d)
root=$work/root
trap 'rm -rf --one-file-system "$work"' EXIT

# The packages as they are, in $work/now, and as if of a later version, in $work/next.
make_packages() {
    quietly cmake --build "$build" --target ryntool Corvane Pellcore corvane-bridge compressed_documents
    local version
    version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")$/\1/p' "$build/CPackConfig.cmake")
    (cd "$build" && quietly cpack -D "CPACK_PACKAGE_VERSION=$version" -B "$work/now")
    (cd "$build" && quietly cpack -D "CPACK_PACKAGE_VERSION=$version+next" -B "$work/next")
}

# Where this machine gets its own packages, for $suite.
sources() {
    # shellcheck disable=SC2016
    apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
        grep -E " $running(-updates|-security)? " | sed "s/ $running/ $suite/" | sort -u
}

# A clean Debian in $root, with the packages in /debs and /debs/next and the script $1 as /debs/inside.
make_root() {
    local base=/var/tmp/corvane-test-$suite.tar
    if ! [ -O "$base" ]; then
        sources >"$work/sources"
        [ -s "$work/sources" ] || quietly apt-get update
        sources >"$work/sources"
        quietly mmdebstrap --variant=minbase --format=tar "$suite" "$base.new.$$" - <"$work/sources"
        mv "$base.new.$$" "$base"
    fi
    mkdir "$root"
    tar -C "$root" -xf "$base"
    cp /etc/resolv.conf /etc/hosts "$root/etc/"
    mkdir "$root/debs" "$root/debs/next"
    cp "$work/now"/*.deb "$root/debs/"
    cp "$work/next"/*.deb "$root/debs/next/"
    cp "$1" "$root/debs/inside"
}
