#!/usr/bin/env bash
# Plants the faults of this folder one at a time in a worktree of the
# repository and runs the whole test suite against each: a fault the suite
# does not notice is a hole in the suite. See README.md.
#
#   tests/mutants/run.sh                      every patch of this folder
#   tests/mutants/run.sh 07 19-core-join-url-double-slash.patch
#                                             only these (number, name or file)
#
# Environment:
#   MUTANT_WORKTREE  the worktree, created when missing (/tmp/quorvel-mutants)
#   MUTANT_BUILD     its build folder, configured once (<worktree>-build)
#   MUTANT_LOGS      build and test output of each patch (<worktree>-logs)
#   MUTANT_RESULTS   the table, rewritten after every patch
#                    (/tmp/quorvel-mutants-results.md)
#   MUTANT_REV       the commit the patches are planted in (HEAD)
#   MUTANT_TIMEOUT   seconds the test run of one patch may take (900)
#   MUTANT_BUILD_TIMEOUT  seconds its build may take (3600)
#   MUTANT_BASELINE  0 to skip running the suite once without any patch
set -euo pipefail

HERE=$(cd "$(dirname "$0")" && pwd)
REPO=$(git -C "$HERE" rev-parse --show-toplevel)
WORKTREE=${MUTANT_WORKTREE:-/tmp/quorvel-mutants}
BUILD=${MUTANT_BUILD:-$WORKTREE-build}
LOGS=${MUTANT_LOGS:-$WORKTREE-logs}
RESULTS=${MUTANT_RESULTS:-/tmp/quorvel-mutants-results.md}
TEST_LIMIT=${MUTANT_TIMEOUT:-900}
BUILD_LIMIT=${MUTANT_BUILD_TIMEOUT:-3600}
BASELINE=${MUTANT_BASELINE:-1}
REV=$(git -C "$REPO" rev-parse --verify "${MUTANT_REV:-HEAD}^{commit}")

die() {
    echo "run.sh: $*" >&2
    exit 2
}

case "$WORKTREE" in
"$REPO" | "$REPO"/*) die "the worktree must lie outside the repository, not at $WORKTREE" ;;
esac
case "$BUILD" in
"$REPO" | "$REPO"/*) die "the build folder must lie outside the repository, not at $BUILD" ;;
esac

# The patches to plant, in name order, into PATCHES. Run in this shell, not
# a subshell, so that a name nobody knows ends the run.
PATCHES=()
select_patches() {
    local all=("$HERE"/[0-9]*.patch)
    [ -e "${all[0]}" ] || die "no patches in $HERE"
    if [ $# -eq 0 ]; then
        PATCHES=("${all[@]}")
        return
    fi
    local wanted match p
    for wanted in "$@"; do
        wanted=$(basename "$wanted" .patch)
        match=
        for p in "${all[@]}"; do
            case "$(basename "$p" .patch)" in
            "$wanted" | "$wanted"-*) match=$p && break ;;
            esac
        done
        [ -n "$match" ] || die "no patch named $wanted"
        PATCHES+=("$match")
    done
}
select_patches "$@"

# Two runs at once would plant their faults in the same worktree.
mkdir -p "$(dirname "$WORKTREE")" "$LOGS" "$(dirname "$RESULTS")"
exec 9>"$WORKTREE.lock"
flock -n 9 || die "another run holds $WORKTREE.lock"

restore() {
    if [ -e "$WORKTREE/.git" ]; then
        git -C "$WORKTREE" checkout -q -- . 2>/dev/null || true
        git -C "$WORKTREE" clean -fdq 2>/dev/null || true
    fi
}
# The worktree goes back to the commit whatever ends the run; an interrupt
# ends it through EXIT.
trap restore EXIT
trap 'exit 130' INT TERM

if [ ! -e "$WORKTREE/.git" ]; then
    [ ! -e "$WORKTREE" ] || die "$WORKTREE exists and is not a worktree"
    git -C "$REPO" worktree add -q --detach "$WORKTREE" "$REV"
fi
restore
git -C "$WORKTREE" checkout -q --detach "$REV"

if [ ! -f "$BUILD/build.ninja" ]; then
    echo "== configuring $BUILD (once)"
    (cd "$WORKTREE" && cmake --preset default -B "$BUILD" \
        -DQUORVEL_BUILD_BENCH=OFF -DQUORVEL_BUILD_EXAMPLES=OFF) >"$LOGS/configure.log" 2>&1 ||
        die "configuring failed; see $LOGS/configure.log"
fi

ROWS=()
STARTED=$(date +%s)

write_results() {
    {
        echo "# Planted faults against the test suite"
        echo
        echo "Commit $(git -C "$REPO" rev-parse --short "$REV"), run of $(date -u '+%Y-%m-%d %H:%M UTC')," \
            "$(($(date +%s) - STARTED)) s so far; tests run with" \
            "\`ctest --stop-on-failure -j2 --timeout 300\`."
        echo
        echo "| Patch | Verdict | First failing test | Seconds |"
        echo "|---|---|---|---:|"
        printf '%s\n' "${ROWS[@]}"
    } >"$RESULTS"
}

# The first test ctest reported as not passing, in the order they ended.
first_failure() {
    local name
    name=$(sed -nE 's/^.*Test +#[0-9]+: ([^ ]+) .*(\*\*\*|Not Run).*$/\1/p' "$1" | head -n 1)
    if [ -z "$name" ]; then
        name=$(sed -n '/The following tests FAILED:/{n;p;q}' "$1" | sed -E 's/^[[:space:]]*[0-9]+ - //')
    fi
    echo "${name:-?}"
}

# build NAME: incremental build of the worktree; 0, or the verdict on stdout.
build() {
    local log="$LOGS/$1.build.log" rc=0
    timeout -k 30 "$BUILD_LIMIT" cmake --build "$BUILD" >"$log" 2>&1 || rc=$?
    if [ "$rc" -eq 124 ] || [ "$rc" -eq 137 ]; then
        echo "TIMEOUT"
    elif [ "$rc" -ne 0 ]; then
        echo "BUILD-FAILED"
    fi
}

# suite NAME: the whole suite; prints "verdict|first failing test".
suite() {
    local log="$LOGS/$1.test.log" rc=0
    QT_QPA_PLATFORM=offscreen timeout -k 30 "$TEST_LIMIT" \
        ctest --test-dir "$BUILD" --stop-on-failure -j2 --timeout 300 --output-on-failure \
        >"$log" 2>&1 || rc=$?
    if [ "$rc" -eq 0 ]; then
        echo "SURVIVED|"
    elif [ "$rc" -eq 124 ] || [ "$rc" -eq 137 ]; then
        echo "TIMEOUT|$(first_failure "$log")"
    else
        echo "CAUGHT|$(first_failure "$log")"
    fi
}

if [ "$BASELINE" != 0 ]; then
    # Without this a suite that already fails would "catch" every fault.
    echo "== baseline: the suite at $(git -C "$REPO" rev-parse --short "$REV") without any fault"
    start=$(date +%s)
    verdict=$(build baseline)
    [ -z "$verdict" ] || die "the commit itself does not build ($verdict); see $LOGS/baseline.build.log"
    IFS='|' read -r verdict first < <(suite baseline)
    [ "$verdict" = SURVIVED ] ||
        die "the suite fails without any fault ($first); see $LOGS/baseline.test.log"
    ROWS+=("| (none: baseline) | PASSED | | $(($(date +%s) - start)) |")
    write_results
fi

for patch in "${PATCHES[@]}"; do
    name=$(basename "$patch" .patch)
    start=$(date +%s)
    first=
    restore
    if ! git -C "$WORKTREE" apply --check "$patch" >"$LOGS/$name.apply.log" 2>&1; then
        verdict=STALE
    else
        git -C "$WORKTREE" apply "$patch"
        verdict=$(build "$name")
        if [ -z "$verdict" ]; then
            IFS='|' read -r verdict first < <(suite "$name")
        elif [ "$verdict" = TIMEOUT ]; then
            first="(build)"
        fi
    fi
    seconds=$(($(date +%s) - start))
    printf '%-50s %-13s %-60s %5d s\n' "$name" "$verdict" "$first" "$seconds"
    ROWS+=("| $name | $verdict | ${first:+\`$first\`} | $seconds |")
    write_results
done

restore
echo
echo "== total $(($(date +%s) - STARTED)) s; table in $RESULTS"
cat "$RESULTS"
