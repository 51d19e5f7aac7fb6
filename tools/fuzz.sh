# fuzz: runs the fuzzers. Sourced by ./dev, with tools/common.sh.

# A single allocation of more than 64 MiB fails the run, and so does an input that takes 20 s.
fuzz_limits=(-malloc_limit_mb=64 -timeout=20 -print_final_stats=1)

fuzz_names() {
    basename -s .cpp -a fuzz/fuzz_*.cpp | sed 's/^fuzz_//'
}

# MiB that a fuzzer may keep resident: 64 more than it needs for an empty input, when it holds the
# sanitizers' own memory, the libraries and, where it drives the whole program, that program.
fuzz_most_resident() {
    local empty
    empty=$("build/fuzz/fuzz/fuzz_$1" -runs=1 -print_final_stats=1 2>&1 | sed -n 's/^stat::peak_rss_mb: *//p')
    echo $((${empty:?fuzz_$1 does not start} + 64))
}

# fuzz_run NAME SECONDS: new inputs and finds go to build/fuzz/found/NAME.
fuzz_run() {
    local seeds=("fuzz/corpus/$1") words=() most
    mkdir -p "build/fuzz/found/$1"
    most=$(fuzz_most_resident "$1") || return 1
    [ -d "fuzz/corpus/$1" ] || seeds=()
    [ "$1" = font ] && seeds+=(build/fuzz/player/fonts)
    [ -e "fuzz/$1.dict" ] && words=(-dict="fuzz/$1.dict")
    ASAN_OPTIONS=quarantine_size_mb=8 "build/fuzz/fuzz/fuzz_$1" "${fuzz_limits[@]}" "-rss_limit_mb=$most" \
        "${words[@]}" -max_total_time="$2" -artifact_prefix="build/fuzz/found/$1/" "build/fuzz/found/$1" "${seeds[@]}"
}

# What a run came to: its executions and the places in the code that it reached.
fuzz_told() { # NAME LOG
    printf '%-10s %9s executions, %6s places\n' "$1" \
        "$(sed -n 's/^stat::number_of_executed_units: //p' "$2")" \
        "$(grep -oE 'cov: [0-9]+' "$2" | tail -n 1 | cut -d' ' -f2)"
}

# The inputs that ended a run, and how to run one again.
fuzz_tell_finds() { # NAME
    local found
    find build/fuzz/found/"$1" -name 'crash-*' -o -name 'oom-*' -o -name 'timeout-*' -o -name 'leak-*' | while read -r found; do
        printf 'fuzz_%s fails on %s\n    build/fuzz/fuzz/fuzz_%s %s\n' "$1" "$found" "$1" "$found" >&2
    done
}

# fuzz_all SECONDS: every fuzzer, as many at a time as there are cores.
fuzz_all() {
    local failed=0 name
    build fuzz $(fuzz_names | sed 's/^/fuzz_/') player-folder
    export -f fuzz_run fuzz_most_resident
    fuzz_names | xargs -P"$(nproc)" -I{} bash -c "$(declare -p fuzz_limits)
        fuzz_run {} $1 >build/fuzz/{}.log 2>&1; echo \$? >build/fuzz/{}.status"
    for name in $(fuzz_names); do
        fuzz_told "$name" "build/fuzz/$name.log"
        [ "$(cat "build/fuzz/$name.status")" = 0 ] && continue
        tail -n 40 "build/fuzz/$name.log" >&2
        fuzz_tell_finds "$name"
        failed=1
    done
    [ $failed = 0 ] || fail "A fuzzer found something. Mend it, and keep the input in fuzz/corpus under the name of its symptom."
}

# fuzz_lines [NAME...]: the lines of our code that the corpora and what was found since reach.
fuzz_lines() {
    local name place inputs
    [ $# -gt 0 ] || set -- $(fuzz_names)
    build coverage $(printf 'fuzz_%s\n' "$@") player-folder
    for name in "$@"; do
        inputs=()
        [ "$name" = font ] && inputs=(build/coverage/player/fonts)
        for place in "fuzz/corpus/$name" "build/fuzz/found/$name"; do
            [ ! -d "$place" ] || inputs+=("$place")
        done
        python3 -B tools/coverage.py build/coverage --fuzz "$name" "${inputs[@]}"
    done
}
