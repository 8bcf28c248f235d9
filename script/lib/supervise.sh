# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
#
# supervise COMMAND...: run an `unshare --fork --kill-child` so that whatever ends this shell ends all that runs in its PID
# namespace. The exit status is COMMAND's, 128 + N after signal N.
#
# Why not exec: unshare blocks SIGINT and SIGTERM while it waits, so somebody has to hear them for it.

supervised=

# The first process of the namespace turns into a zombie, or goes, only when the kernel has ended all the others: after
# the wait nothing is left. Before unshare has forked there is only unshare itself.
end_supervised() {
    trap '' HUP INT TERM
    first=$(cat "/proc/$supervised/task/$supervised/children" 2>/dev/null) || first=
    first=${first% }
    # shellcheck disable=SC2086  # nothing or one number
    kill -KILL "$supervised" $first 2>/dev/null || true
    wait "$supervised" 2>/dev/null || true
    tries=1000
    while [ -n "$first" ] && [ "$tries" -gt 0 ]; do
        case $(cat "/proc/$first/stat" 2>/dev/null) in "" | *") Z "*) break ;; esac
        sleep 0.002
        tries=$((tries - 1))
    done
    exit "$1"
}

supervise() {
    # A background command of a shell gets /dev/null as its input and ignores SIGINT: both are put back. Standard input may
    # be closed. SIGKILL runs no trap, so the kernel passes this shell's death on.
    if (true <&0) 2>/dev/null; then exec 9<&0; else exec 9</dev/null; fi
    trap 'end_supervised 129' HUP
    trap 'end_supervised 130' INT
    trap 'end_supervised 143' TERM
    env --default-signal=INT,QUIT setpriv --pdeathsig KILL "$@" <&9 9<&- &
    supervised=$!
    exec 9<&-
    status=0
    wait "$supervised" || status=$?
    trap - HUP INT TERM
    exit "$status"
}
