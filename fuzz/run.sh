#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time.
#
#   fuzz/run.sh [build-dir] [seconds-per-target] [target...]
#
#   build-dir           default build-fuzz (relative to the repository root)
#   seconds-per-target  default 60
#   target              parse_json, display_text, entity_dump, token_reply;
#                       all of them by default
#
# Each target first replays its regression inputs (fuzz/regressions/<target>/),
# then fuzzes starting from a scratch corpus in the build folder that is
# seeded from fuzz/corpus/<target>/; the committed corpus is only read. The
# script exits non-zero when any target fails and prints the reproducer.
#
# QUORVEL_FUZZ_SOURCE=<tree> fuzzes the code of another tree (holding sdk/,
# view/, host/platform/ and cmake/), such as one commit exported with git
# archive.
set -euo pipefail
cd "$(dirname "$0")/.."

BUILD_DIR=${1:-build-fuzz}
RUN_SECONDS=${2:-60}
if [ $# -gt 2 ]; then
    TARGETS=("${@:3}")
else
    TARGETS=(parse_json display_text entity_dump token_reply)
fi
for t in "${TARGETS[@]}"; do
    case "$t" in
        parse_json | display_text | entity_dump | token_reply) ;;
        *) echo "unknown fuzz target: $t" >&2; exit 2 ;;
    esac
done
case "$RUN_SECONDS" in
    '' | *[!0-9]*) echo "seconds-per-target must be a whole number: $RUN_SECONDS" >&2; exit 2 ;;
esac

# Debian 12's clang 14, 15 and 16 cannot compile the SDK: libstdc++ 12 only
# declares std::expected when the compiler reports full C++20 concepts,
# which Debian's clang first does in version 19.
CXX_COMPILER=clang++-19
PACKAGES=(cmake ninja-build clang-19 libclang-rt-19-dev qt6-base-dev)

install_missing() {
    local missing=()
    for p in "${PACKAGES[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing: ${missing[*]}"
    local sudo=()
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

build() {
    install_missing
    local source_option=()
    [ -n "${QUORVEL_FUZZ_SOURCE:-}" ] && source_option=(-DQUORVEL_SOURCE_ROOT="$(realpath "$QUORVEL_FUZZ_SOURCE")")
    if [ ! -f "$BUILD_DIR/build.ninja" ] || [ ${#source_option[@]} -gt 0 ]; then
        cmake -S fuzz -B "$BUILD_DIR" -G Ninja -DCMAKE_CXX_COMPILER="$CXX_COMPILER" "${source_option[@]}"
    fi
    local targets=()
    for t in "${TARGETS[@]}"; do targets+=("fuzz_$t"); done
    cmake --build "$BUILD_DIR" --target "${targets[@]}"
}

# Reports name functions and lines only with a symbolizer; clang 19 does not
# bring one, but any LLVM version's will do.
find_symbolizer() {
    local candidate
    for candidate in llvm-symbolizer-19 llvm-symbolizer /usr/lib/llvm-19/bin/llvm-symbolizer \
                     llvm-symbolizer-14 llvm-symbolizer-15 llvm-symbolizer-16; do
        if command -v "$candidate" > /dev/null 2>&1; then
            export ASAN_SYMBOLIZER_PATH
            ASAN_SYMBOLIZER_PATH=$(command -v "$candidate")
            return 0
        fi
    done
    echo "note: no llvm-symbolizer found; crash stacks will show addresses only" >&2
}

# Prints what a failed run left: the reproducer and the end of the log.
report_failure() {
    local target=$1 log=$2 artifacts=$3 found=0
    echo "FAILED: $target (log: $log)" >&2
    grep -E 'property violated|check:|ERROR: |SUMMARY: |runtime error' "$log" | head -20 >&2 || true
    for f in "$artifacts"/crash-* "$artifacts"/leak-* "$artifacts"/timeout-* "$artifacts"/oom-*; do
        [ -e "$f" ] || continue
        found=1
        echo "reproducer: $f" >&2
        echo "  replay with: $BUILD_DIR/fuzz_$target $f" >&2
    done
    [ "$found" -eq 1 ] || echo "no reproducer was written; see the log" >&2
}

run_target() {
    local target=$1
    local binary="$BUILD_DIR/fuzz_$target"
    local work="$BUILD_DIR/fuzz-work/$target"
    local corpus="$work/corpus" artifacts="$work/artifacts"
    mkdir -p "$corpus" "$artifacts"
    rm -f "$artifacts"/*

    local regressions=()
    if [ -d "fuzz/regressions/$target" ]; then
        while IFS= read -r -d '' f; do regressions+=("$f"); done \
            < <(find "fuzz/regressions/$target" -type f -print0 | sort -z)
    fi
    if [ ${#regressions[@]} -gt 0 ]; then
        local replay_log="$work/regressions.log"
        if ! "$binary" -artifact_prefix="$artifacts/" "${regressions[@]}" > "$replay_log" 2>&1; then
            echo "FAILED: $target regression inputs (log: $replay_log)" >&2
            grep -E 'property violated|check:|ERROR: |SUMMARY: |runtime error' "$replay_log" | head -20 >&2 || true
            # libFuzzer names each input before running it; the last one failed.
            local failed_input
            failed_input=$(sed -n 's/^Running: //p' "$replay_log" | tail -1)
            echo "reproducer: $failed_input" >&2
            echo "  replay with: $binary $failed_input" >&2
            return 1
        fi
        echo "$target: ${#regressions[@]} regression inputs pass"
    fi

    # The scratch corpus keeps what earlier runs found; the seeds are merged in.
    cp -n "fuzz/corpus/$target"/* "$corpus"/ 2> /dev/null || true

    local dictionary
    case "$target" in
        parse_json) dictionary=fuzz/dict/json.dict ;;
        display_text) dictionary=fuzz/dict/display_text.dict ;;
        entity_dump) dictionary=fuzz/dict/entity_dump.dict ;;
        token_reply) dictionary=fuzz/dict/token_reply.dict ;;
    esac

    local log="$work/fuzz.log" status=0
    "$binary" "$corpus" -dict="$dictionary" \
        -max_total_time="$RUN_SECONDS" -max_len=65536 -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$artifacts/" > "$log" 2>&1 || status=$?
    local executed
    executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    echo "$target: stat::number_of_executed_units: ${executed:-unknown} in ${RUN_SECONDS}s, exit $status"
    if [ "$status" -ne 0 ]; then
        report_failure "$target" "$log" "$artifacts"
        return 1
    fi
}

build
find_symbolizer
failed=()
for t in "${TARGETS[@]}"; do
    run_target "$t" || failed+=("$t")
done
if [ ${#failed[@]} -gt 0 ]; then
    echo "fuzz targets failed: ${failed[*]}" >&2
    exit 1
fi
echo "all fuzz targets passed"
