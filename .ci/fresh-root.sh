#!/usr/bin/env bash
# The README promises that `./run demo` works on a fresh Debian 12 machine as
# root. A CI machine has long since got every package, so only a root made
# from nothing proves it: a minimal bookworm (apt and the essential set, no
# compiler, no Qt), the committed HEAD cloned into it, `./run demo` run there.
# Whatever the demo needs must come from ./run's own install step.
#   .ci/fresh-root.sh     (prefix with `nice -n 19` to leave the machine to others)
# FRESH_ROOT_LIMIT bounds each step in seconds (default 2400).
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
# mmdebstrap's root mode, mount and chroot all need root.
[ "$(id -u)" -eq 0 ] || exec sudo env FRESH_ROOT_LIMIT="${FRESH_ROOT_LIMIT:-}" "$0" "$@"
# The repository may belong to another user; it is the one this script came from.
git=(git -c safe.directory='*')
rev=$("${git[@]}" -C "$repo" rev-parse HEAD)
limit=${FRESH_ROOT_LIMIT:-2400}
start=$(date +%s)
t_root='?' t_demo='?' job=

# A CI runner in an unprivileged container cannot make the namespaces the
# root is built and run in; saying so loudly beats failing every build there.
if ! unshare --mount --propagation private --pid --fork true 2> /dev/null; then
    echo "fresh-root: SKIPPED: this machine cannot create mount and PID namespaces" >&2
    exit 0
fi

if ! command -v mmdebstrap > /dev/null; then
    {
        apt-get update -qq
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends mmdebstrap
    } >&2
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/fresh-root.XXXXXX")
# apt fetches as _apt, which must be able to reach the root's package cache.
chmod 755 "$work"
root=$work/root
mkdir "$root"

cleanup() {
    local rc=$?
    # SIGKILL to unshare reaches the namespace's first process through
    # --kill-child, and its death takes every process and mount with it.
    if [ -n "$job" ]; then
        kill -KILL "$job" 2> /dev/null || true
        wait "$job" 2> /dev/null || true
    fi
    # The mounts lived in private namespaces only; --one-file-system still
    # guards the machine's own /dev, /proc and /sys if one ever leaked.
    rm -rf --one-file-system "$work" 2> /dev/null || { sleep 2; rm -rf --one-file-system "$work" || true; }
    echo "fresh-root: mmdebstrap $t_root s, run demo $t_demo s, total $(($(date +%s) - start)) s"
    exit "$rc"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# isolated LOG CMD…: runs CMD in private mount and PID namespaces, bounded by
# $limit, in the background so that a signal reaches the traps at once.
isolated() {
    local log=$1 rc=0
    shift
    unshare --mount --propagation private --pid --fork --kill-child \
        timeout -k 10 "$limit" "$@" > "$log" 2>&1 < /dev/null &
    job=$!
    wait "$job" || rc=$?
    job=
    return "$rc"
}

fail() {
    echo "fresh-root: $1; the last lines of $2:" >&2
    tail -n 60 "$3" >&2
    exit 1
}

# The machine's own Debian mirror for SUITE, from one-line or deb822 sources;
# only http(s), since nothing else is reachable from inside the root.
mirror_for() {
    local f
    for f in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ -r "$f" ] || continue
        awk -v s="$1" '$1 == "deb" {
            i = 2
            if ($2 ~ /^\[/) { while (i <= NF && $i !~ /\]$/) i++; i++ }
            if ($(i + 1) == s && $i ~ /^https?:\/\//) { print $i; exit }
        }' "$f"
    done
    for f in /etc/apt/sources.list.d/*.sources; do
        [ -r "$f" ] || continue
        awk -v s="$1" '
            function flush() {
                if (!found && types ~ /(^| )deb( |$)/ && (suites " ") ~ (" " s " ") && enabled != "no" && uri ~ /^https?:\/\//) {
                    print uri; found = 1
                }
                types = suites = uri = enabled = ""
            }
            /^[ \t]*#/ { next }
            /^[ \t]*$/ { flush(); next }
            tolower($1) == "types:" { $1 = ""; types = $0 }
            tolower($1) == "uris:" { uri = $2 }
            tolower($1) == "suites:" { $1 = ""; suites = $0 }
            tolower($1) == "enabled:" { enabled = tolower($2) }
            END { flush() }' "$f"
    done | sed -n 1p
}

main=$(mirror_for bookworm)
security=$(mirror_for bookworm-security)
mirrors=() opts=()
if [ -n "$main" ]; then
    mirrors=("deb $main bookworm main" "deb $main bookworm-updates main")
    [ -z "$security" ] || mirrors+=("deb $security bookworm-security main")
    case "$main $security" in *https://*) opts+=(--include=ca-certificates) ;; esac
fi
# A machine that serves a frozen snapshot turns off apt's freshness checks;
# the root must do the same or its `apt-get update` fails where the host's works.
for o in Acquire::Check-Valid-Until Acquire::Check-Date; do
    v=$(apt-config dump "$o" | sed -n "s/^$o \"\(.*\)\";$/\1/p")
    case "$v" in false | no | 0) opts+=("--aptopt=$o \"false\"") ;; esac
done

echo "fresh-root: Debian 12 root from ${main:-the default mirror} in $root"
t0=$(date +%s)
isolated "$work/mmdebstrap.log" mmdebstrap --mode=root --variant=apt "${opts[@]}" bookworm "$root" "${mirrors[@]}" ||
    fail "mmdebstrap failed" "its log" "$work/mmdebstrap.log"
t_root=$(($(date +%s) - t0))
# apt inside the root resolves the mirror with the machine's resolver.
[ -s "$root/etc/resolv.conf" ] || cat /etc/resolv.conf > "$root/etc/resolv.conf"

# Only committed work travels through a clone, which is what CI tests.
src=/root/quorvelChat
"${git[@]}" clone --quiet --no-checkout --no-hardlinks "$repo" "$root$src"
"${git[@]}" -C "$root$src" checkout --quiet --detach "$rev"

echo "fresh-root: ./run demo at $rev"
t0=$(date +%s)
demo_rc=0
# A login's environment, not the CI's: no DISPLAY, so the host goes headless.
# shellcheck disable=SC2016  # expanded by the inner shells
isolated "$work/demo.log" sh -c '
    set -e
    mount -t proc proc "$1/proc"
    mount --rbind /sys "$1/sys"
    mount --rbind /dev "$1/dev"
    exec chroot "$1" /usr/bin/env -i HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        sh -c "cd \"\$0\" && exec ./run demo" "$2"' sh "$root" "$src" || demo_rc=$?
t_demo=$(($(date +%s) - t0))

[ "$demo_rc" -ne 124 ] || fail "./run demo took over $limit s" "its output" "$work/demo.log"
[ "$demo_rc" -eq 0 ] || fail "./run demo exited $demo_rc" "its output" "$work/demo.log"
grep -qxF 'Chat resolved.' "$work/demo.log" || fail "the chat did not resolve" "its output" "$work/demo.log"
grep -m 1 '^Installing: ' "$work/demo.log" || true
sed -n '/^Entity service emulator on /,$p' "$work/demo.log"
echo "fresh-root: passed"
