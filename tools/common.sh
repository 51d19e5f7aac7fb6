# common: what ./run, ./test and ./dev share. Sourced with the repository as working folder.

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

# named_packages PART...: the packages of these parts of tools/packages.txt, one a line.
named_packages() {
    sed -e 's/#.*//' -e 's/[[:space:]]//g' -e '/^$/d' tools/packages.txt |
        awk -v parts=" $* " '/^\[/ { wanted = index(parts, " " substr($0, 2, length($0) - 2) " "); next }
            wanted'
}

# run_apt LOG ARGUMENTS...: apt-get as root. While somebody else holds a package lock it waits.
run_apt() {
    local log=$1 told= root=()
    shift
    [ "$(id -u)" = 0 ] || root=(sudo)
    until "${root[@]}" env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get "$@" >"$log" 2>&1; do
        grep -q '^E: Could not get lock' "$log" || return 1
        [ -n "$told" ] || echo "Another program is installing packages. Waiting until it has finished ..." >&2
        told=1
        sleep 1
    done
}

# install_packages PART...: installs what is missing; silent when nothing is.
install_packages() {
    command -v dpkg-query >/dev/null || fail "This needs Debian 12 (or the packages of tools/packages.txt and their tools)."
    local missing=() package installed log
    installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' 2>/dev/null | awk '$2 == "installed" {print $1}') || true
    for package in $(named_packages "$@"); do
        grep -qx -- "$package" <<<"$installed" || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
        fail "Missing packages: ${missing[*]}. Install them as root, or install sudo."
    echo "Installing ${#missing[@]} packages: ${missing[*]}" >&2
    log=$(mktemp)
    if ! { run_apt "$log" update -qq && run_apt "$log" install -y -qq --no-install-recommends "${missing[@]}"; }; then
        tail -n 20 "$log" >&2
        rm -f "$log"
        fail "The packages could not be installed: ${missing[*]}"
    fi
    rm -f "$log"
}

# configure PRESET: prepares the build; quiet when it succeeds. One that was prepared with the same options
# is only asked whether its files have changed.
configure() {
    local place=build/$1 options=${ZERV_CMAKE_OPTIONS:-} known= command
    [ "${configured:-}" != "$1 $options" ] || return 0
    mkdir -p "$place"
    [ ! -e "$place/configured" ] || known=$(cat "$place/configured")
    command=(cmake --preset "$1" $options)
    if [ -e "$place/build.ninja" ] && [ "$known" = "options $options" ] &&
        [ "$place/configured" -nt CMakePresets.json ]; then
        command=(cmake --build "$place" --target build.ninja)
    fi
    if ! "${command[@]}" >"$place/build.log" 2>&1; then
        rm -f "$place/configured"
        cat "$place/build.log" >&2
        fail "Configuring failed. Repeat with: cmake --preset $1"
    fi
    echo "options $options" >"$place/configured"
    configured="$1 $options"
}

# targets_of PRESET FILTER: what has to be built for the tests whose names match.
targets_of() {
    local name
    ctest --test-dir "build/$1" -N -R "$2" | sed -n 's/^ *Test *#[0-9]*: *//p' |
        while read -r name; do
            case $name in
            unit/demo_music_test) printf '%s\n' demo_music_test demo-music ;;
            unit/*) echo "${name#unit/}" ;;
            fuzz/*) echo "fuzz_${name#fuzz/}" ;;
            real/*) printf '%s\n' zerv-player zerv-skin zerv-keys player-folder demo-music media make_music board package_verdicts keyed_player ;;
            faults/*) printf '%s\n' zerv-player player-folder media zerv-fail zerv-record ;;
            *) printf '%s\n' zerv-player zerv-skin player-folder demo-music media ;;
            esac
        done | sort -u
}

# build PRESET [TARGET ...]: configures and builds; shows progress on a terminal, and the whole
# output when something fails.
build() {
    local preset=$1
    shift
    local log=build/$preset/build.log
    configure "$preset"
    # A warm build takes a second; only a longer one says what it does.
    local targets=()
    [ $# -gt 0 ] && targets=(--target "$@")
    if [ -t 2 ]; then
        if ! cmake --build "build/$preset" "${targets[@]}" 2>&1 | tee "$log" | progress >&2; then
            fail_build "$preset" "$log"
        fi
    elif ! cmake --build "build/$preset" "${targets[@]}" >"$log" 2>&1; then
        fail_build "$preset" "$log"
    fi
}

fail_build() {
    grep -vE '^\[[0-9]+/[0-9]+\] (Building|Linking)' "$2" | tail -n 60 >&2
    fail "The build failed. Repeat with: cmake --build build/$1"
}

# Turns the build's "[12/90] ..." lines into one line that counts.
progress() {
    local line shown=0
    while IFS= read -r line; do
        if [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]]; then
            printf '\rbuilding %s of %s ' "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}"
            shown=1
        fi
    done
    [ $shown = 0 ] || printf '\r\033[K'
}
