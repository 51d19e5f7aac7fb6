# carried: libraries for the card folder, trimmed to what the player calls. As Debian builds them,
# they bring 20 MB of others along. Sourced by ./dev, after tools/cross.sh.

carried_sources="alsa-lib curl harfbuzz libsoxr taglib"
carried_flags="-Os -fPIC -ffunction-sections -fdata-sections"

carried_apt() { # FOLDER ARGUMENTS...: knows sources, of the places where this machine has its packages from
    local state=$1/apt list
    shift
    mkdir -p "$state/lists/partial" "$state/cache/archives/partial" "$state/places"
    touch "$state/status"
    for list in /etc/apt/sources.list /etc/apt/sources.list.d/debian*; do
        [ ! -e "$list" ] ||
            sed 's/^Types: deb$/Types: deb-src/; s/^deb /deb-src /' "$list" >"$state/places/${list##*/}"
    done
    apt-get -o APT::Sandbox::User=root -o Dir::State::Lists="$state/lists" -o Dir::State::status="$state/status" \
        -o Dir::Cache="$state/cache" -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$state/places" "$@"
}

fetch_sources() {
    local source folder=$PWD/build/sources
    [ -e "$folder/.whole" ] && return 0
    echo "Fetching the sources of libraries into build/sources" >&2
    rm -rf "$folder"
    mkdir -p "$folder"
    {
        carried_apt "$folder" update -qq &&
            for source in $carried_sources; do
                mkdir -p "$folder/packed/$source"
                # The package system has compared the checksums.
                (cd "$folder/packed/$source" && carried_apt "$folder" source --download-only "$source") &&
                    dpkg-source --no-check -x "$folder/packed/$source"/*.dsc "$folder/$source" || exit 1
            done
    } >"$folder.log" 2>&1 || {
        tail -n 20 "$folder.log" >&2
        fail "The sources of libraries cannot be had; all of the output is in $folder.log."
    }
    touch "$folder/.whole"
}

# ---- one recipe a library: FOLDER-OF-SOURCES OUT, in an empty folder ----

carried_configure() { # SOURCES OPTIONS...
    local sources=$1
    shift
    "$sources/configure" -q --host="$carried_triple" CC="$carried_c" CFLAGS="$carried_flags" \
        LDFLAGS=-Wl,--gc-sections --disable-static --enable-shared "$@"
}

carried_cmake() { # SOURCES OPTIONS...
    local sources=$1
    shift
    cmake -S "$sources" -B . -G Ninja -DCMAKE_TOOLCHAIN_FILE="$carried_toolchain" -DCMAKE_BUILD_TYPE=None \
        -DCMAKE_C_FLAGS="$carried_flags" -DCMAKE_CXX_FLAGS="$carried_flags" \
        ${carried_cache:+-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache} \
        -DBUILD_SHARED_LIBS=OFF -DBUILD_TESTS=OFF -DBUILD_EXAMPLES=OFF "$@"
    cmake --build .
}

# The player speaks plain HTTP and nothing else.
make_carried_curl() {
    local off
    off=$(printf -- '--disable-%s ' ftp file ldap ldaps rtsp dict telnet tftp pop3 imap smb smtp gopher mqtt manual \
        libcurl-option ntlm ntlm-wb tls-srp unix-sockets cookies http-auth crypto-auth doh mime dateparse netrc \
        progress-meter alt-svc hsts websockets get-easy-options)
    # shellcheck disable=SC2086 # one word an option
    carried_configure "$1" $off --without-ssl --without-zlib --without-brotli --without-zstd --without-libpsl \
        --without-libgsasl --without-librtmp --without-libidn2 --without-nghttp2 --without-ca-bundle --without-ca-path
    make -C lib -s
    cp lib/.libs/libcurl.so.4 "$2/libcurl.so.4"
}

# Playing, with the plug-ins that its own configuration names.
make_carried_alsa-lib() {
    local off
    off=$(printf -- '--disable-%s ' mixer rawmidi hwdep seq ucm topology alisp aload python old-symbols)
    # shellcheck disable=SC2086
    carried_configure "$1" $off --with-configdir=/usr/share/alsa --with-plugindir=/usr/lib/alsa-lib \
        --with-pcm-plugins=copy,linear,route,rate,plug,multi,file,null,empty,hooks,asym,iec958,softvol,dmix,dsnoop,dshare,mmap_emul
    make -C src -s
    cp src/.libs/libasound.so.2 "$2/libasound.so.2"
}

# Without the other shaper and the general library that Debian builds in.
make_carried_harfbuzz() {
    # shellcheck disable=SC2086
    $carried_cxx $carried_flags -std=c++11 -fno-exceptions -fno-rtti -fno-threadsafe-statics \
        -DHAVE_FREETYPE=1 -I"$carried_sysroot/usr/include/freetype2" -c "$1/src/harfbuzz.cc" -o harfbuzz.o
    "$carried_triple-ar" rcs "$2/libharfbuzz.a" harfbuzz.o
}

# Without threads of its own and the paths for more than 20 bits: sound has 16. It runs with each sample.
make_carried_libsoxr() {
    local carried_flags=${carried_flags/-Os/-O2}
    carried_cmake "$1" -DWITH_OPENMP=OFF -DWITH_LSR_BINDINGS=OFF -DWITH_CR64=OFF -DWITH_CR64S=OFF -DWITH_VR32=OFF \
        -DBUILD_SHARED_LIBS=ON
    cp src/libsoxr.so.0 "$2/libsoxr.so.0"
}

make_carried_taglib() {
    local carried_flags="$carried_flags -I/usr/include/utf8cpp"
    carried_cmake "$1" -DBUILD_BINDINGS=OFF
    cp taglib/libtag.a "$2/libtag.a"
}

# Debian's own archive, of which only what a signature needs is taken.
make_carried_sodium() {
    local name wanted=()
    for name in sodium_init crypto_hash_sha512_{init,update,final} crypto_sign_ed25519_verify_detached; do
        wanted+=("-Wl,-u,$name")
    done
    $carried_c -shared -Wl,-soname,libsodium.so.23 -Wl,--gc-sections "${wanted[@]}" -o "$2/libsodium.so.23" \
        "$carried_sysroot/usr/lib/$carried_triple/libsodium.a" -lpthread
}

# make_carried ARCH: build/carried-ARCH/usr/lib.
make_carried() {
    local source recipe result out=$PWD/build/carried-$1 work=$PWD/build/carried-$1.work sources=$PWD/build/sources
    local carried_toolchain=$PWD/cmake/cross-$1.cmake carried_sysroot=$PWD/build/sysroot-$1
    local carried_cache carried_triple carried_c carried_cxx
    carried_cache=$(command -v ccache) || carried_cache=
    carried_triple=$(sed -n 's/^set(ZERV_CROSS_TRIPLE \(.*\))$/\1/p' "$carried_toolchain")
    carried_c="${carried_cache:+ccache }$carried_triple-gcc --sysroot=$carried_sysroot"
    carried_cxx="${carried_cache:+ccache }$carried_triple-g++ --sysroot=$carried_sysroot"
    fetch_sources
    mkdir -p "$out/usr/lib"
    for source in $carried_sources sodium; do
        recipe=$(declare -f "make_carried_$source" carried_configure carried_cmake; echo "$carried_flags")
        [ "$(cat "$out/$source.recipe" 2>/dev/null)" != "$recipe" ] || continue
        echo "Building $source for $1" >&2
        rm -rf "$work"
        mkdir -p "$work"
        # Errors end the recipe, because it runs outside of any condition.
        set +e
        (set -e; cd "$work"; "make_carried_$source" "$sources/$source" "$out/usr/lib") >"$out/$source.log" 2>&1
        result=$?
        set -e
        [ $result = 0 ] || {
            tail -n 20 "$out/$source.log" >&2
            fail "$source could not be built; all of the output is in $out/$source.log."
        }
        printf '%s\n' "$recipe" >"$out/$source.recipe"
    done
    rm -rf "$work"
}
