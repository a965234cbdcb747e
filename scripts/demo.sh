#!/usr/bin/env bash
# The main job: installs what is missing, builds qbfa, and runs the plug-in in
# a host on the bundled sample library (sample/FontAgent.db), in a throw-away
# home; a listener in another process shows the font sets it receives. Then
# the font manager changes its database (sample/FontAgent-2.db written over
# the first), a front-application switch (qbfa switch) makes the host
# publish the new sets, and a second switch with nothing changed publishes
# nothing. Everything it starts and makes is gone when it ends.
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

# Waits until the file $1 contains the text $2 at least $3 times (by
# default once).
wait_for() {
  local times=${3:-1} count
  for _ in $(seq 200); do
    count=$(grep -cF -- "$2" "$1" 2>/dev/null) || true
    [ "${count:-0}" -ge "$times" ] && return 0
    sleep 0.1
  done
  echo "demo: gave up waiting for \"$2\" ($times times) in $1" >&2
  cat "$1" >&2 || true
  return 1
}

# Waits until the process $1 watches a file: its kernel queue adds an
# inotify watch when the plug-in's watcher registers the database.
wait_for_watch() {
  for _ in $(seq 200); do
    grep -qs "^inotify wd:" /proc/"$1"/fdinfo/* && return 0
    sleep 0.1
  done
  echo "demo: the host never started watching the database" >&2
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

step "The font manager changes its database: the second sample written over the first"
database="$HOME/Library/FontAgent Pro/FontAgent.db"
wait_for_watch "$host"
published=$(grep -cF "== font sets published ==" "$work/listener.out")
log_lines=$(wc -l <"$work/host.log")
# In place, as the font manager writes it: the watcher follows the file, so a
# file renamed over it would not be seen.
cat "$sample/FontAgent-2.db" >"$database"
# The watcher logs the event once the main thread has marked the sets stale.
wait_for "$work/host.log" "ident="
tail -n +"$((log_lines + 1))" "$work/host.log"
echo "Nothing is published yet: the sets are re-read at the next front-application switch."

step "A front-application switch (qbfa switch)"
log_lines=$(wc -l <"$work/host.log")
"$qbfa" switch
wait_for "$work/host.log" "qbfa host: front application switched" 1
wait_for "$work/listener.out" "== font sets published ==" $((published + 1))
wait_for_publication
# The refresh's own lines, without the reader's progress lines in between.
tail -n +"$((log_lines + 1))" "$work/host.log" |
  grep -E '^\[QB\] (Updating|Old sets|Notified|Could not)|^qbfa host' || true
echo
echo "The listener received:"
sed -n '/^== font sets published ==$/h; /^== font sets published ==$/!H; ${x;p}' "$work/listener.out"

step "Another switch, with nothing changed since"
log_lines=$(wc -l <"$work/host.log")
"$qbfa" switch
wait_for "$work/host.log" "qbfa host: front application switched" 2
tail -n +"$((log_lines + 1))" "$work/host.log"
echo "Publications the listener has received: $(grep -cF "== font sets published ==" \
  "$work/listener.out") (one at start-up, one after the change; the second switch published nothing)."

step "Stopping the host"
kill -TERM "$host"
wait "$host" && echo "The host stopped cleanly."
