# fuzz: runs the fuzzers. Sourced by ./dev, with tools/common.sh.

# A single allocation of more than 64 MiB fails the run, and so does more memory than twice that
# beside what the sanitizers keep for themselves; so does an input that takes 20 s.
fuzz_limits=(-malloc_limit_mb=64 -rss_limit_mb=512 -timeout=20 -print_final_stats=1)

fuzz_names() {
    basename -s .cpp -a fuzz/fuzz_*.cpp | sed 's/^fuzz_//'
}

# fuzz_run NAME SECONDS: new inputs and finds go to build/fuzz/found/NAME.
fuzz_run() {
    local seeds=("fuzz/corpus/$1") words=()
    mkdir -p "build/fuzz/found/$1"
    [ -d "fuzz/corpus/$1" ] || seeds=()
    [ "$1" = font ] && seeds+=(build/fuzz/player/fonts)
    [ -e "fuzz/$1.dict" ] && words=(-dict="fuzz/$1.dict")
    ASAN_OPTIONS=quarantine_size_mb=8 "build/fuzz/fuzz/fuzz_$1" "${fuzz_limits[@]}" "${words[@]}" \
        -max_total_time="$2" -artifact_prefix="build/fuzz/found/$1/" "build/fuzz/found/$1" "${seeds[@]}"
}

# What a run came to: its executions and the places in the code that it reached.
fuzz_told() { # NAME LOG
    printf '%-10s %9s executions, %6s places\n' "$1" \
        "$(sed -n 's/^stat::number_of_executed_units: //p' "$2")" \
        "$(grep -oE 'cov: [0-9]+' "$2" | tail -n 1 | cut -d' ' -f2)"
}

# fuzz_all SECONDS: every fuzzer, as many at a time as there are cores.
fuzz_all() {
    local failed=0 name
    build fuzz $(fuzz_names | sed 's/^/fuzz_/') player-folder
    export -f fuzz_run
    fuzz_names | xargs -P"$(nproc)" -I{} bash -c "$(declare -p fuzz_limits)
        fuzz_run {} $1 >build/fuzz/{}.log 2>&1; echo \$? >build/fuzz/{}.status"
    for name in $(fuzz_names); do
        fuzz_told "$name" "build/fuzz/$name.log"
        [ "$(cat "build/fuzz/$name.status")" = 0 ] && continue
        tail -n 40 "build/fuzz/$name.log" >&2
        failed=1
    done
    [ $failed = 0 ] || fail "A fuzzer found something: build/fuzz/found holds the input."
}
