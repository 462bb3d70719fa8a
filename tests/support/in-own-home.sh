#!/bin/sh
# Runs one test program with a home, settings, data and run-time directory of its own, which go with it.
home=$(mktemp -d "${TMPDIR:-/tmp}/parlowen-test.XXXXXX") || exit 1
trap 'rm -rf "$home"' EXIT
mkdir -m 700 "$home/config" "$home/data" "$home/cache" "$home/run" "$home/state"
export HOME="$home" XDG_CONFIG_HOME="$home/config" XDG_DATA_HOME="$home/data" XDG_CACHE_HOME="$home/cache"
export XDG_STATE_HOME="$home/state" XDG_RUNTIME_DIR="$home/run" QT_QPA_PLATFORM=offscreen
unset PULSE_SERVER PULSE_RUNTIME_PATH DBUS_SESSION_BUS_ADDRESS PARLOWEN_API_BASE_URL DISPLAY WAYLAND_DISPLAY
"$@"
