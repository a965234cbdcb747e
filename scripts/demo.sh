#!/usr/bin/env bash
# The main job: installs what is missing, builds qbfa, and runs the plug-in in
# a host on the bundled sample library (sample/FontAgent.db), in a throw-away
# home; a listener in another process shows the font sets it receives.
# Everything it starts and makes is gone when it ends.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build/demo -DQBFA_BUILD_TESTS=OFF >/dev/null
cmake --build build/demo --target qbfa -j"$(nproc)"
qbfa=$PWD/build/demo/cli/qbfa
bundle_id=$(sed -n 's/^QBFA_BUNDLE_IDENTIFIER:STRING=//p' build/demo/CMakeCache.txt)
sample=$PWD/sample

work=$(mktemp -d /tmp/qbfa-demo-XXXXXX)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do
    kill "$pid" 2>/dev/null || true
  done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

step() { printf '\n=== %s\n' "$*"; }

# Waits until the file $1 contains the text $2.
wait_for() {
  for _ in $(seq 200); do
    grep -qF -- "$2" "$1" 2>/dev/null && return 0
    sleep 0.1
  done
  echo "demo: gave up waiting for \"$2\" in $1" >&2
  cat "$1" >&2 || true
  return 1
}

# Waits until the listener has printed, after its latest announcement of a
# publication, the sets that are on the pasteboard now.
wait_for_publication() {
  wait_for "$work/listener.out" "== font sets published =="
  local expected
  expected=$("$qbfa" sets)
  for _ in $(seq 200); do
    [ "$(sed -n '/^== font sets published ==$/h; /^== font sets published ==$/!H; ${x;p}' \
      "$work/listener.out" | tail -n +2)" = "$expected" ] && return 0
    sleep 0.1
  done
  echo "demo: the listener did not print the published sets" >&2
  return 1
}

step "A session bus"
if dbus-send --session --dest=org.freedesktop.DBus --type=method_call --print-reply \
  /org/freedesktop/DBus org.freedesktop.DBus.GetId >/dev/null 2>&1; then
  echo "Using the running session bus."
else
  dbus-daemon --session --nofork --address="unix:path=$work/bus" --print-address=3 \
    3>"$work/bus-address" 2>"$work/bus.log" &
  pids+=($!)
  wait_for "$work/bus-address" "unix:"
  DBUS_SESSION_BUS_ADDRESS=$(head -n 1 "$work/bus-address")
  export DBUS_SESSION_BUS_ADDRESS
  echo "None was running: started a private one at $DBUS_SESSION_BUS_ADDRESS"
fi

step "A home with the sample library at ~/Library/FontAgent Pro/FontAgent.db"
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$HOME/Library/FontAgent Pro" "$XDG_CONFIG_HOME"
mkdir -m 700 "$XDG_RUNTIME_DIR"
cp "$sample/FontAgent.db" "$HOME/Library/FontAgent Pro/FontAgent.db"
"$qbfa" defaults write "$bundle_id" "Log Stuff" -bool yes
echo "HOME=$HOME; the plug-in's log switch: $("$qbfa" defaults read "$bundle_id" "Log Stuff")"

step "A listener (qbfa sets --follow) subscribes, then the host (qbfa host) starts the plug-in"
"$qbfa" sets --follow >"$work/listener.out" 2>"$work/listener.err" &
pids+=($!)
wait_for "$work/listener.err" "nothing has been published"
cat "$work/listener.err"
"$qbfa" host 2>"$work/host.log" &
host=$!
pids+=("$host")
wait_for_publication

step "The host's log"
cat "$work/host.log"

step "What the listener received"
cat "$work/listener.out"

step "The same publication as XML (qbfa sets --format xml), first lines"
"$qbfa" sets --format xml >"$work/sets.xml"
head -n 24 "$work/sets.xml"

step "Stopping the host"
kill -TERM "$host"
wait "$host" && echo "The host stopped cleanly."
