# common.sh: read by `setup` and `run`. Where things lie, and how a command gets into the rig.

RIG_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
export RIG_HOME=${RIG_HOME:-$HOME/.cache/velkantrix-rig}
RIG_ROOT=$RIG_HOME/root           # Debian 13's files, where this machine's own Wine is too old
RIG_STATE=$RIG_HOME/state         # Wine prefix, built stand-ins, font; the same path in and outside
RIG_STAMPS=$RIG_HOME/stamps
RIG_PREFIX=$RIG_STATE/prefix
RIG_STANDINS=$RIG_STATE/standins
# Sockets and process ids: a short path, and gone after a restart of the machine.
RIG_RUN=/tmp/velkantrix-rig-$(id -u)-$(printf %s "$RIG_HOME" | cksum | cut -d' ' -f1)

rig_fail() { echo "rig: $*" >&2; exit 125; }

# "native" (the machine's own Wine serves) or "chroot"; empty before set-up.
rig_mode() { cat "$RIG_HOME/mode" 2>/dev/null || true; }

rig_is_inside() { [ "${RIG_INSIDE:-}" = "$RIG_HOME" ] || [ "$(rig_mode)" = native ]; }

# May this user make a mount namespace of his own and change its root?
rig_can_unshare() { [ "$(id -u)" = 0 ] && unshare --mount true 2>/dev/null; }
rig_can_bwrap() { command -v bwrap >/dev/null && bwrap --dev-bind / / true 2>/dev/null; }

# rig_enter COMMAND...: replaces this process by COMMAND inside the rig, in the same folder.
# What the machine sets for its own programs must not reach those of the other file system.
rig_enter() {
    local clean=(env -u LD_PRELOAD -u LD_LIBRARY_PATH -u LIBRARY_PATH -u PYTHONHOME -u PYTHONPATH
                 RIG_INSIDE="$RIG_HOME" LANG=C.UTF-8
                 PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin)
    if rig_is_inside; then exec env RIG_INSIDE="$RIG_HOME" "$@"; fi
    if rig_can_unshare; then
        exec unshare --mount --propagation private \
            "$RIG_DIR/lib/enter-root" "$RIG_ROOT" "$RIG_STATE" "$RIG_DIR" "$PWD" "${clean[@]}" "$@"
    fi
    if rig_can_bwrap; then rig_enter_bwrap "${clean[@]}" "$@"; fi
    rig_fail "cannot enter $RIG_ROOT: needs root with the right to mount (unshare --mount), or a working bubblewrap (bwrap)"
}

# Folders of the machine that the rig shows at the same path: all but those of an operating system.
rig_shared_folders() {
    local d
    for d in /*; do
        case $d in /bin|/boot|/etc|/lib*|/lost+found|/run|/sbin|/usr|/var) continue ;; esac
        if [ -d "$d" ] && [ ! -L "$d" ]; then echo "$d"; fi
    done
}

rig_enter_bwrap() {
    local args=(--bind "$RIG_ROOT" /) d
    for d in $(rig_shared_folders); do args+=(--dev-bind "$d" "$d"); done
    for d in "$RIG_STATE" "$RIG_DIR" "$PWD"; do args+=(--bind "$d" "$d"); done
    exec bwrap "${args[@]}" --chdir "$PWD" "$@"
}
