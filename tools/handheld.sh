# handheld: an emulated machine with its own kernel, frame buffer, keys and sound card, and the
# card folder in it. Sourced by ./dev, after tools/cross.sh, tools/carried.sh and tools/package.sh.

machine_apt() { # FOLDER APT-ARGUMENTS...: the machine's packages; this one's are left alone
    local state=$1
    shift
    mkdir -p "$state/lists/partial" "$state/cache/archives/partial"
    touch "$state/status"
    apt-get -o APT::Sandbox::User=root -o Dir::State::Lists="$state/lists" \
        -o Dir::State::status="$state/status" -o Dir::Cache="$state/cache" \
        -o APT::Architecture=mipsel -o APT::Architectures=mipsel "$@"
}

# Unpacks the kernel and the small tools into build/handheld/parts.
fetch_machine() {
    local folder=$PWD/build/handheld kernel package
    [ -e "$folder/parts/.whole" ] && return 0
    echo "Fetching a kernel and tools for mipsel into build/handheld" >&2
    rm -rf "$folder/packages" "$folder/parts"
    mkdir -p "$folder/packages" "$folder/parts"
    {
        machine_apt "$folder/apt" update -qq
        # The meta package names the kernel of the day.
        kernel=$(machine_apt "$folder/apt" install -s --no-install-recommends linux-image-4kc-malta |
            awk '$1 == "Inst" && $2 ~ /^linux-image-[0-9]/ && !seen {print $2; seen = 1}')
        (cd "$folder/packages" && machine_apt "$folder/apt" download -qq "$kernel" busybox-static)
        for package in "$folder"/packages/*.deb; do
            dpkg-deb -x "$package" "$folder/parts"
        done
    } >"$folder/fetch.log" 2>&1 || {
        tail -n 20 "$folder/fetch.log" >&2
        fail "The machine's packages cannot be had: nothing was tested."
    }
    touch "$folder/parts/.whole"
}

# handheld [KIND]: boots it with the card folder on a card of that kind, plays, presses keys, quits,
# and compares picture and sound. handheld card [KIND [OPTIONS]]: scans, saves and updates there, and
# takes its power. handheld sound [KIND [OPTIONS]]: ten minutes without a break. handheld counts: what its work
# costs, in instructions. handheld folder ARCH: the card folder of any machine, without a machine.
handheld() {
    local command=plays
    case ${1:-} in
    card | counts | sound) command=$1; shift ;;
    folder) handheld_folder "${2:-}"; return ;;
    esac
    install_packages play test locales cross cross-mipsel card handheld
    fetch_machine
    make_card_folder mipsel
    local options=(--card build/card/mipsel/zerv-player --work build/handheld ${1:+--kind "$1"} "${@:2}")
    case $command in
    card | sound) python3 -B "tools/handheld_$command.py" "${options[@]}" ;;
    counts)
        build release make_music
        rm -rf build/handheld/music build/handheld/library
        mkdir -p build/handheld/music
        build/release/tests/real/make_music songs build/handheld/music
        build/release/tests/real/make_music library build/handheld/library 10000 0.2 0
        python3 -B tools/handheld_counts.py --music build/handheld/music --library build/handheld/library \
            --program build/card-mipsel/player/zerv-player "${options[@]}"
        ;;
    plays)
        build release zerv-player player-folder
        python3 -B tools/handheld.py --host build/release/player "${options[@]}"
        ;;
    esac
}

handheld_folder() { # ARCH
    local emulator
    install_packages play test locales cross card
    package_handheld "$1"
    case $1 in arm64) emulator=aarch64 ;; armhf) emulator=arm ;; *) emulator=$1 ;; esac
    build release zerv-player player-folder
    mkdir -p "build/folder-$1"
    python3 -B tools/handheld_folder.py --card "build/card/$1/zerv-player" --host build/release/player \
        --image "build/card/$1/zerv-player-$(package_version)-$1.squashfs" \
        --emulator "qemu-$emulator-static" --work "build/folder-$1"
}

# What the machine is made of, if it can be had; whatever fails says why.
handheld_parts() {
    install_packages play test locales cross cross-mipsel card handheld
    fetch_machine
    make_sysroot mipsel
    fetch_sources
}

# check_handheld: the short form. Where its packages cannot be had it says so, and the rest goes on.
check_handheld() {
    if ! (handheld_parts); then
        echo "NOT TRIED: the handheld. Its packages cannot be had here; see above." >&2
        return 0
    fi
    handheld ext4 --tries 2
}
