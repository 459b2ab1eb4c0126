# shellcheck shell=bash disable=SC2034 # its variables are used by those that read it
# common.sh: read by `setup` and `run`. Where things lie, and how a command gets into the rig.

RIG_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
export RIG_HOME=${RIG_HOME:-$HOME/.cache/velkantrix-rig}
RIG_ROOT=$RIG_HOME/root           # Debian 13's files, where this machine's own Wine is too old
RIG_STATE=$RIG_HOME/state         # Wine prefix, stand-ins, font, disks; the same path in and outside
RIG_STAMPS=$RIG_HOME/stamps
RIG_PREFIX=$RIG_STATE/prefix
RIG_STANDINS=$RIG_STATE/standins
RIG_DISKS=$RIG_STATE/disks        # where the small and the read-only disk are mounted
# Sockets and process ids: a short path, and gone after a restart of the machine. Inside it is handed
# down, for there the user may look like another.
rig_is_inside() { [ "${RIG_INSIDE:-}" = "$RIG_HOME" ]; }
if ! rig_is_inside; then
    RIG_RUN=/tmp/velkantrix-rig-$(id -u)-$(printf %s "$RIG_HOME" | cksum | cut -d' ' -f1)
fi
export RIG_RUN

rig_fail() { echo "rig: $*" >&2; exit 125; }

# "native" (the machine's own Wine serves) or "chroot"; empty before set-up.
rig_mode() { cat "$RIG_HOME/mode" 2>/dev/null || true; }

# The place: one mount namespace that all calls share, kept by a process that sleeps. It must be one
# and the same, for Wine's server lives on from call to call and opens the files for all of them.
rig_place() { # prints the process id of its keeper
    local pid namespace
    read -r pid namespace 2>/dev/null < "$RIG_RUN/place" || return 1
    [ "$(readlink "/proc/$pid/ns/mnt" 2>/dev/null)" = "$namespace" ] && echo "$pid"
}

# Root makes a mount namespace as it is; others need a user namespace of their own around it.
RIG_UNSHARE=(unshare --mount)
[ "$(id -u)" = 0 ] || RIG_UNSHARE=(unshare --user --map-root-user --mount)

rig_make_place() {
    mkdir -p "$RIG_RUN" && chmod 700 "$RIG_RUN"
    (
        flock 9
        rig_place >/dev/null && exit
        rm -f "$RIG_RUN/place"
        "${RIG_UNSHARE[@]}" true 2>"$RIG_RUN/place.log" || exit
        RIG_INSIDE=$RIG_HOME setsid "${RIG_UNSHARE[@]}" --propagation slave "$RIG_DIR/lib/keep-place" \
            </dev/null >"$RIG_RUN/place.log" 2>&1 8>&- 9>&- &
        for _ in {1..500}; do
            [ ! -e "$RIG_RUN/place" ] && kill -0 $! 2>/dev/null || exit 0
            sleep 0.02
        done
    ) 9>"$RIG_RUN/place.lock"
    rig_place
}

# rig_enter COMMAND...: replaces this process by COMMAND inside the rig, in the same folder.
# What the machine sets for its own programs must not reach those of the other file system.
rig_enter() {
    local keeper others=() inside=(env)
    rig_is_inside && exec "$@"
    export RIG_INSIDE=$RIG_HOME
    if [ "$(rig_mode)" = chroot ]; then
        inside=(env -u LD_PRELOAD -u LD_LIBRARY_PATH -u LIBRARY_PATH -u PYTHONHOME -u PYTHONPATH
                LANG=C.UTF-8 PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin)
    fi
    if keeper=$(rig_place || rig_make_place); then
        [ "$(id -u)" = 0 ] || others=(--user --preserve-credentials)
        exec nsenter --target "$keeper" --mount --root --wd "${others[@]}" \
            "$RIG_DIR/lib/enter-place" "$(id -u):$(id -g)" "$PWD" "${inside[@]}" "$@"
    fi
    [ "$(rig_mode)" = chroot ] || exec "$@" # without the two disks
    rig_fail "cannot enter $RIG_ROOT: neither root with the right to mount nor user namespaces" \
        "($(tail -n 1 "$RIG_RUN/place.log"))"
}

# Folders of the machine that the rig shows at the same path: all but those of an operating system.
rig_shared_folders() {
    local d
    for d in /*; do
        case $d in /bin|/boot|/etc|/lib*|/lost+found|/run|/sbin|/usr|/var) continue ;; esac
        if [ -d "$d" ] && [ ! -L "$d" ]; then echo "$d"; fi
    done
}

# rig_show FOLDER...: makes folders of the machine seen inside the root at the same paths.
rig_show() {
    local d
    for d in "$@"; do
        [ "$RIG_ROOT$d" -ef "$d" ] && continue
        mkdir -p "$RIG_ROOT$d"
        mount --rbind "$d" "$RIG_ROOT$d"
    done
}
