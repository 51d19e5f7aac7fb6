# common: what ./run, ./test and ./dev share. Sourced with the repository as working folder.

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

# Installs the packages of tools/packages.txt that are missing; silent when none is.
install_packages() {
    command -v dpkg-query >/dev/null || fail "This needs Debian 12 (or the packages of tools/packages.txt and their tools)."
    local missing=() package
    local installed
    installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' | awk '$2 == "installed" {print $1}')
    while read -r package; do
        grep -qx -- "$package" <<<"$installed" || missing+=("$package")
    done < <(sed -e 's/#.*//' -e '/^[[:space:]]*$/d' tools/packages.txt)
    [ ${#missing[@]} -eq 0 ] && return 0

    local root=()
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || fail "Missing packages: ${missing[*]}. Install them as root, or install sudo."
        root=(sudo)
    fi
    echo "Installing ${#missing[@]} packages: ${missing[*]}" >&2
    local log
    log=$(mktemp)
    if ! { "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq &&
        "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
        tail -n 20 "$log" >&2
        rm -f "$log"
        fail "The packages could not be installed: ${missing[*]}"
    fi
    rm -f "$log"
}

# build PRESET [TARGET ...]: configures and builds; shows progress on a terminal, and the whole
# output when something fails.
build() {
    local preset=$1
    shift
    local log=build/$preset/build.log
    mkdir -p "build/$preset"
    if ! cmake --preset "$preset" ${ZERV_CMAKE_OPTIONS:-} >"$log" 2>&1; then
        cat "$log" >&2
        fail "Configuring failed. Repeat with: cmake --preset $preset"
    fi
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
