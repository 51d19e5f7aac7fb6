# package: packages and releases. Sourced by ./dev, with tools/common.sh.

# What a machine makes is readable to everybody, whatever its user's mask says.
umask 022
card_machines="mipsel armhf arm64"

package_version() { python3 -B packaging/changes.py version; }

# package_tree FOLDER: a copy of the sources, as they are here and now.
package_tree() {
    rm -rf "$1"
    mkdir -p "$1"
    git ls-files -co --exclude-standard -z | while IFS= read -r -d '' file; do
        [ ! -e "$file" ] || printf '%s\0' "$file"
    done | tar -c --null -T - | tar -x -C "$1"
}

# package_debian_folder TREE: gives it the folder that the package tools read.
package_debian_folder() {
    cp -r packaging/debian "$1/debian"
    # The keys of a list in control end in commas; the last one does as well.
    named_packages play | sed 's/^/ /; s/$/,/' >"$1/depends"
    sed -i -e "/^@BUILD_DEPENDS@/{r $1/depends" -e 'd}' "$1/debian/control"
    sed -i -e "/^@LICENSE@/{r LICENSE" -e 'd}' "$1/debian/copyright"
    rm "$1/depends"
    python3 -B packaging/changes.py debian >"$1/debian/changelog"
}

# package_debian: Debian packages in build/package/debian, accepted by their own checker.
package_debian() {
    local out=$PWD/build/package/debian tree
    tree=$out/zerv-player-$(package_version)
    install_packages play package locales card
    rm -rf "$out"
    package_tree "$tree"
    package_debian_folder "$tree"
    echo "Building the packages ..." >&2
    if ! (cd "$tree" && DEB_BUILD_OPTIONS=parallel=$(nproc) dpkg-buildpackage -b -us -uc) >"$out/build.log" 2>&1; then
        tail -n 40 "$out/build.log" >&2
        fail "The packages could not be built."
    fi
    rm -rf "$tree"
    # The packages name no address of a maintainer: who distributes them has one.
    lintian --fail-on error,warning --allow-root --suppress-tags \
        bogus-mail-host,bogus-mail-host-in-debian-changelog \
        "$out"/*.changes || fail "The checker of packages has something to say."
    ls -1 "$out"/*.deb
}

# package_release: what a version is published with, in build/release-VERSION. Nothing of the machine
# or the moment goes into it: the same commit gives the same bytes.
package_release() {
    local version out machine
    version=$(package_version)
    out=$PWD/build/release-$version
    [ -z "$(git status --porcelain)" ] || fail "Commit first: a release is made of a commit."
    rm -rf "$out"
    mkdir -p "$out"
    git -c tar.umask=0022 archive --format=tar --prefix="zerv-player-$version/" HEAD |
        gzip -9n >"$out/zerv-player-$version.tar.gz"
    package_debian >/dev/null
    cp build/package/debian/*.deb "$out"
    rm -f "$out"/*-dbgsym_*
    for machine in $card_machines; do
        package_handheld "$machine" >&2
        cp "build/card/$machine/zerv-player-$version-$machine".{zip,squashfs} "$out"
    done
    python3 -B packaging/changes.py notes >"$out/notes.md"
    (cd "$out" && LC_ALL=C && sha256sum -- *.deb *.squashfs *.tar.gz *.zip notes.md >SHA256SUMS)
    echo "$out"
}

in_root() { chroot "$package_root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }

# What a user of that system does: starts the player on the scripted device and looks at it.
in_root_play() {
    printf 'advance 400\nscreenshot /home/user/screen.png\nstate\n' |
        in_root setpriv --reuid=1000 --regid=1000 --clear-groups env HOME=/home/user ZERV_DEVICE=virtual zerv-player |
        grep -q '^state ' || fail "The installed player does not start."
    [ -s "$package_root/home/user/screen.png" ] || fail "The installed player shows nothing."
}

# package_raised FOLDER: the same packages with a version above.
package_raised() {
    local deb folder
    for deb in "$1"/zerv-*_*.deb; do
        case $deb in *-dbgsym_*) continue ;; esac
        folder=$1/raised/$(basename "$deb" .deb)
        mkdir -p "$1/raised"
        dpkg-deb -R "$deb" "$folder"
        sed -i -E 's/^Version: (.*)/Version: \1+raised/' "$folder/DEBIAN/control"
        dpkg-deb --root-owner-group -b "$folder" "$folder.deb" >/dev/null
        rm -rf "$folder"
    done
}

# package_try: installs, starts, upgrades and purges the packages in a system that has nothing else.
package_try() {
    local out=$PWD/build/package/debian left
    package_root=$PWD/build/package/root
    [ "$(id -u)" = 0 ] || fail "Another system is entered by root only: sudo ./dev package try"
    [ -e "$out" ] || package_debian
    install_packages package cross # what makes a system stands with the cross builds
    rm -rf "$package_root" "$out/raised"
    echo "Making a system without anything ..." >&2
    mmdebstrap --quiet --variant=minbase bookworm "$package_root" || fail "The system could not be made."
    mkdir -p "$package_root/packages" "$package_root/home/user"
    chown 1000:1000 "$package_root/home/user"
    cp "$out"/*.deb "$package_root/packages"
    rm -f "$package_root"/packages/*-dbgsym_*
    package_raised "$package_root/packages"
    cp /etc/resolv.conf "$package_root/etc/resolv.conf"
    [ ! -d /etc/apt/apt.conf.d ] || cp -n /etc/apt/apt.conf.d/* "$package_root/etc/apt/apt.conf.d/"
    local log=$out/try.log
    {
        in_root sh -c 'apt-get update -qq && apt-get install -y -qq --no-install-recommends /packages/*.deb'
    } >"$log" 2>&1 || { tail -n 20 "$log" >&2; fail "The packages could not be installed."; }
    in_root_play
    echo mine >"$package_root/home/user/.local/share/zerv-player/skins/mine.txt"
    in_root sh -c 'apt-get install -y -qq --no-install-recommends /packages/raised/*.deb' >>"$log" 2>&1 ||
        { tail -n 20 "$log" >&2; fail "The packages could not be upgraded."; }
    in_root dpkg-query -W zerv-player | grep -q '+raised$' || fail "The upgrade changed nothing."
    in_root_play
    in_root sh -c 'zerv-skin --help && zerv-keys --help && zerv-package --help && zerv-services --help' >>"$log"
    in_root apt-get purge -y -qq zerv-player zerv-player-skins zerv-skin-tools >>"$log" 2>&1 ||
        { tail -n 20 "$log" >&2; fail "The packages could not be purged."; }
    left=$(find "$package_root"/usr "$package_root"/etc "$package_root"/var -iname '*zerv*')
    [ -z "$left" ] || fail "The purge left behind: $left"
    [ -e "$package_root/home/user/.local/share/zerv-player/skins/mine.txt" ] ||
        fail "The purge took what belongs to the user."
    rm -rf "$package_root"
    echo "Installed, started, upgraded, purged." >&2
}

# make_card_folder ARCH: build/card/ARCH/zerv-player, which runs from a memory card.
make_card_folder() {
    local folder=$PWD/build/card/$1/zerv-player
    case $1 in
    armhf | arm64 | mipsel) ;;
    *) fail "A handheld needs an architecture: armhf, arm64 or mipsel." ;;
    esac
    install_packages play cross "cross-$1" locales card
    make_sysroot "$1"
    make_carried "$1"
    ZERV_CMAKE_OPTIONS= build "card-$1" card-folder desktop-icons
    rm -rf "$folder"
    mkdir -p "$folder"
    cmake --install "build/card-$1" --component handheld --prefix "$folder" >"build/card/$1.log" ||
        fail "The card folder could not be made."
    # A clone may have been made under another mask, and its modes are copied.
    chmod -R u=rwX,go=rX "$folder"
}

# package_handheld ARCH: the folder, as a zip, and as an image with its desktop entry.
package_handheld() {
    local folder=$PWD/build/card/$1 name
    mkdir -p "$folder"
    make_card_folder "$1"
    name=$folder/zerv-player-$(package_version)-$1
    python3 -B packaging/handheld/pack.py "$folder/zerv-player" "$name.zip" || exit 1
    rm -f "$name.squashfs"
    mksquashfs "$folder/zerv-player" "$name.squashfs" -all-root -no-xattrs -comp gzip -mkfs-time 0 \
        -all-time 0 -no-progress -quiet || fail "The image could not be made."
    ls -l "$name".*
}
