#!/usr/bin/env bash
# Shows alerts through the GUI presenter on a private Xvfb display, answers them with xdotool
# and checks each answer and its alert log line.
#
#   gui_alert_test.sh PROBE WORKDIR
#
# Exits 77 (skipped) only when Xvfb cannot start. Every wait is bounded.
set -uo pipefail

probe=$1
work=$2
rm -rf "$work"
mkdir -p "$work"

fail() {
    echo "FAIL: $*"
    exit 1
}

for tool in xdotool xwininfo timeout; do
    command -v "$tool" >/dev/null || fail "$tool is missing (scripts/bootstrap installs it)"
done
if ! command -v Xvfb >/dev/null; then
    echo "SKIP: Xvfb is not installed"
    exit 77
fi

xvfb_pid=""
probe_pid=""
cleanup() {
    [ -z "$probe_pid" ] || kill "$probe_pid" 2>/dev/null
    [ -z "$xvfb_pid" ] || kill "$xvfb_pid" 2>/dev/null
    wait 2>/dev/null
}
trap cleanup EXIT

# -displayfd makes Xvfb pick a free display and write its number once it accepts clients.
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.log" &
xvfb_pid=$!
for _ in $(seq 150); do
    [ -s "$work/display" ] && break
    kill -0 "$xvfb_pid" 2>/dev/null || break
    sleep 0.1
done
if [ ! -s "$work/display" ]; then
    echo "SKIP: Xvfb could not start"
    cat "$work/xvfb.log"
    exit 77
fi
export DISPLAY=":$(head -n 1 "$work/display")"
unset WAYLAND_DISPLAY
echo "Xvfb on $DISPLAY"

# The id and width of the probe's alert window once it is viewable; fails after 60 s (loading
# the X fonts for Japanese text can take a while on a busy machine). The box is titled with
# the program's name.
find_alert_window() {
    local wid geometry
    for _ in $(seq 600); do
        read -r wid geometry < <(xwininfo -root -tree 2>/dev/null |
            awk '/"velmora_alert_probe"/ { print $1, $(NF-1); exit }')
        if [ -n "${wid:-}" ] && xwininfo -id "$wid" 2>/dev/null | grep -q 'IsViewable'; then
            echo "$wid ${geometry%%x*}"
            return 0
        fi
        kill -0 "$probe_pid" 2>/dev/null || return 1
        sleep 0.1
    done
    return 1
}

# run_case NAME KEY EXPECTED_STATUS MIN_WIDTH PROBE_ARGS... -- EXPECTED_LOG_FRAGMENTS...
run_case() {
    local name=$1 key=$2 want=$3 min_width=$4
    shift 4
    local args=()
    while [ $# -gt 0 ] && [ "$1" != "--" ]; do
        args+=("$1")
        shift
    done
    shift

    # A window that never shows up is tried once more: on a loaded machine the X server or
    # SDL's start-up has been seen to lose one. Both tries failing fails the case.
    local found="" wid width attempt
    for attempt in 1 2; do
        rm -f "$work/alerts.log"
        # A C locale in the environment: the presenter must still draw non-ASCII text.
        LC_ALL=C VELMORA_ALERTS=gui VELMORA_ALERT_LOG="$work/alerts.log" \
            timeout 90 "$probe" "${args[@]}" >"$work/probe.out" 2>&1 &
        probe_pid=$!
        found=$(find_alert_window) && break
        echo "$name: no alert window on try $attempt; probe: $(cat "$work/probe.out")" \
            "log: $(cat "$work/alerts.log" 2>/dev/null)"
        kill "$probe_pid" 2>/dev/null
        wait "$probe_pid" 2>/dev/null
        probe_pid=""
    done
    [ -n "$found" ] || fail "$name: no alert window appeared"
    read -r wid width <<<"$found"
    [ "$width" -ge "$min_width" ] ||
        fail "$name: the box is $width pixels wide, expected at least $min_width (text cut?)"
    # A key pressed before the box listens is lost, so press again until the probe is done.
    local pressed=0
    for _ in $(seq 20); do
        kill -0 "$probe_pid" 2>/dev/null || break
        timeout 10 xdotool windowfocus "$wid" key "$key" 2>/dev/null && pressed=1
        for _ in $(seq 10); do
            kill -0 "$probe_pid" 2>/dev/null || break
            sleep 0.1
        done
    done
    [ "$pressed" -eq 1 ] || fail "$name: xdotool could not press $key"

    local status=0
    wait "$probe_pid" || status=$?
    probe_pid=""
    cat "$work/probe.out"
    [ "$status" -eq "$want" ] || fail "$name: the probe exited with $status, expected $want"
    local line
    line=$(cat "$work/alerts.log" 2>/dev/null)
    [ "$(wc -l <"$work/alerts.log")" -eq 1 ] || fail "$name: expected one log line, got: $line"
    for fragment in "$@"; do
        grep -qF -- "$fragment" <<<"$line" || fail "$name: log line lacks $fragment: $line"
    done
    echo "ok: $name"
}

message=$'Caf\x8e au lait? The installer asks before it goes on.'
common=('"presenter":"gui"' '"shown":true' '"message":"Café au lait? The installer asks before it goes on."'
        '"buttons":["Yes","No"]' '"defaultButton":1' '"cancelButton":2')

run_case "Return picks Yes" Return 0 300 yesno "$message" -- "${common[@]}" '"itemHit":1'
run_case "Escape picks No" Escape 1 300 yesno "$message" -- "${common[@]}" '"itemHit":2'
run_case "UTF-16 alert" Return 0 0 utf16 -- '"call":"RunStandardAlert"' '"presenter":"gui"' \
    '"message":"Café 日本語"' '"buttons":["OK はい"]' '"itemHit":1'
exit 0
