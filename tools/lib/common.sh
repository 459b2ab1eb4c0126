# common.sh: what the commands of tools/ share. Sourced.

# shellcheck disable=SC2034  # used by the scripts that source this
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
RIG=$ROOT/tools/rig

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Sets the rig up where that is still to be done, and is silent where it isn't. Called inside the rig, it is
# there already.
set_up() {
    [ -n "${RIG_INSIDE:-}" ] || "$RIG/setup" | sed -u '/^rig: up to date$/d' >&2
}

# build PRESET TARGET...: quiet unless it fails.
build() {
    local preset=$1 log
    shift
    log=$(mktemp)
    if ! (cd "$ROOT" && "$RIG/run" cmake --preset "$preset" &&
        "$RIG/run" cmake --build "build/$preset" --target "$@") >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        rm -f "$log"
        fail "building $* failed"
    fi
    rm -f "$log"
}

# rig_path PATH: in full, as a program in the rig sees it.
rig_path() {
    local path
    path=$(realpath -m -- "$1")
    case $path in
    /bin/* | /boot/* | /etc/* | /lib/* | /lib[36x]*/* | /run/* | /sbin/* | /usr/* | /var/*)
        fail "$path lies in a folder of the operating system, which programs don't see here" ;;
    esac
    printf '%s' "$path"
}

# windows_path PATH: as a Windows program in the rig sees it.
windows_path() {
    local path
    path=$(rig_path "$1") || exit
    printf 'Z:%s' "${path//\//\\}"
}
