# cross: builds for another machine and tests under user-mode emulation. Sourced by ./dev.

# The libraries that the player and its tests link. The desktop window stays at home.
cross_libraries() {
    named_packages play test | grep -E '^lib.*-dev$' | grep -vE '^lib(sdl2|websockets|clang|benchmark)'
    # What a build with ZERV_FIXED_POINT links comes along.
    printf '%s\n' libc6-dev libstdc++-12-dev libatomic1 libmad0-dev libvorbisidec-dev
}

# Links that are absolute would point into the host.
repair_links() { # SYSROOT
    local link target
    find "$1" -type l -lname '/*' | while IFS= read -r link; do
        target=$(readlink "$link")
        ln -sfn "$(realpath -ms --relative-to="$(dirname "$link")" "$1$target")" "$link"
    done
}

make_sysroot() { # ARCH
    local sysroot=build/sysroot-$1 wanted log
    wanted=$(cross_libraries)
    [ "$(cat "$sysroot/.packages" 2>/dev/null)" = "$wanted" ] && return 0
    echo "Fetching the libraries of $1 into $sysroot" >&2
    rm -rf "$sysroot" "$sysroot.new"
    mkdir -p build
    log=build/sysroot-$1.log
    mmdebstrap --variant=extract --architectures="$1" --include="$(paste -sd, <<<"$wanted")" \
        "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$sysroot.new" >"$log" 2>&1 || {
        tail -n 20 "$log" >&2
        fail "The libraries could not be fetched; all of the output is in $log."
    }
    repair_links "$sysroot.new"
    # The emulator looks here first: nothing may stand in front of the host's own places.
    rm -rf "$sysroot.new"/{boot,dev,home,media,mnt,opt,proc,root,run,srv,sys,tmp,var}
    printf '%s\n' "$wanted" >"$sysroot.new/.packages"
    mv "$sysroot.new" "$sysroot"
}

# cross ARCH [FILTER]: builds, then runs the unit tests and scenarios whose names match.
cross() {
    local arch=${1:-}
    case $arch in
    armhf | arm64 | mipsel) ;;
    *) fail "./dev cross needs an architecture: armhf, arm64 or mipsel." ;;
    esac
    install_packages play test locales cross "cross-$arch"
    export ZERV_CMAKE_OPTIONS=-DZERV_TESTS=ON
    # What makes music runs here, many times faster than under emulation.
    build release demo-maker make_media
    make_sysroot "$arch"
    if [ $# -gt 1 ]; then
        configure "cross-$arch"
        build "cross-$arch" $(targets_of "cross-$arch" "$2")
    else
        build "cross-$arch"
    fi
    ctest --test-dir "build/cross-$arch" -j2 --output-on-failure ${2:+-R "$2"}
}
