# handheld: an emulated machine with its own kernel, frame buffer, keys and sound card, and the
# player on it. Sourced by ./dev, after tools/cross.sh.

machine_apt() { # FOLDER APT-ARGUMENTS...: the machine's packages; this one's are left alone
    local state=$1
    shift
    mkdir -p "$state/lists/partial" "$state/cache/archives/partial"
    touch "$state/status"
    apt-get -o APT::Sandbox::User=root -o Dir::State::Lists="$state/lists" \
        -o Dir::State::status="$state/status" -o Dir::Cache="$state/cache" \
        -o APT::Architecture=mipsel -o APT::Architectures=mipsel "$@"
}

# Unpacks the kernel, the small tools and the sound configuration into build/handheld/parts.
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
        (cd "$folder/packages" && machine_apt "$folder/apt" download -qq "$kernel" busybox-static libasound2-data)
        for package in "$folder"/packages/*.deb; do
            dpkg-deb -x "$package" "$folder/parts"
        done
    } >"$folder/fetch.log" 2>&1 || {
        tail -n 20 "$folder/fetch.log" >&2
        fail "The machine's packages cannot be had: nothing was tested."
    }
    touch "$folder/parts/.whole"
}

# handheld: boots it, plays, presses keys, quits, and compares picture and sound. handheld card:
# boots it with the player on a memory card, and takes its power.
handheld() {
    install_packages play test cross cross-mipsel handheld
    fetch_machine
    build release zerv-player player-folder
    make_sysroot mipsel
    build cross-mipsel zerv-player player-folder
    if [ "${1:-}" = card ]; then
        python3 -B tools/handheld_card.py --player build/cross-mipsel/player \
            --sysroot build/sysroot-mipsel --work build/handheld
        return
    fi
    python3 -B tools/handheld.py --player build/cross-mipsel/player --host build/release/player \
        --sysroot build/sysroot-mipsel --work build/handheld "$@"
}
