#!/usr/bin/env bash
# qbfa as a user gets it, with no build tree to lean on:
#   1. installs the build BUILD_DIR into a temporary prefix, moves the build
#      tree out of reach, and runs qbfa read, qbfa host (on a private session
#      bus, up to its first publication) and qbfa sets from the prefix;
#   2. makes the Debian package, unpacks it into a scratch root, and checks
#      its file list, its dependencies and that qbfa runs from it.
# Usage: installed_tree_test.sh BUILD_DIR
set -euo pipefail
build=$(realpath "$1")
source=$(cd "$(dirname "$0")/../.." && pwd)
sample=$source/sample/FontAgent.db

work=$(mktemp -d /tmp/qbfa-installed-XXXXXX)
away=$work/build-out-of-reach
pids=()
cleanup() {
  for pid in "${pids[@]}"; do
    kill "$pid" 2>/dev/null || true
  done
  wait 2>/dev/null || true
  if [ -d "$away" ]; then mv "$away" "$build"; fi
  rm -rf "$work"
}
trap cleanup EXIT

fail() {
  echo "installed tree: $*" >&2
  exit 1
}

# Waits until the command "$@" succeeds, for up to 20 seconds.
wait_until() {
  for _ in $(seq 200); do
    "$@" >/dev/null 2>&1 && return 0
    sleep 0.1
  done
  return 1
}

# A home of the test's own: the sets' font paths start from it.
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$HOME/Library/FontAgent Pro" "$XDG_CONFIG_HOME"
mkdir -m 700 "$XDG_RUNTIME_DIR"
unset DISPLAY WAYLAND_DISPLAY

echo "--- the package and the installed tree, from $build"
cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work/package" >"$work/cpack.log" 2>&1 ||
  { cat "$work/cpack.log" >&2; fail "cpack failed"; }
deb=$(echo "$work"/package/qbfa_*.deb)
[ -f "$deb" ] || fail "cpack made no qbfa_*.deb"
# What the build tree prints is what the installed qbfa must print.
"$build/cli/qbfa" read "$sample" >"$work/expected.xml"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
mv "$build" "$away"

prefix=$work/prefix
qbfa=$prefix/bin/qbfa
installed=$(cd "$prefix" && find . -type f | sort)
expected_files="./bin/qbfa
./lib/qbfa/libhookwright.so
./lib/qbfa/libqbfa_plugin.so
./lib/systemd/user/qbfa-host.service
./share/doc/qbfa/README.md
./share/gnome-shell/extensions/qbfa-front-switch@quillbox.com/extension.js
./share/gnome-shell/extensions/qbfa-front-switch@quillbox.com/metadata.json
./share/kwin/scripts/qbfa-front-switch/contents/code/main.js
./share/kwin/scripts/qbfa-front-switch/metadata.json
./share/man/man1/qbfa.1.gz"
[ "$installed" = "$expected_files" ] || fail "installed files differ:"$'\n'"$installed"
# By default the GNOME Shell extension is the form Debian 12's shell (43) runs.
extension=$prefix/share/gnome-shell/extensions/qbfa-front-switch@quillbox.com
grep -q '"43"' "$extension/metadata.json" && grep -q '^function init()' "$extension/extension.js" ||
  fail "the installed GNOME Shell extension is not the form GNOME Shell 43 loads"
if ldd "$qbfa" "$prefix/lib/qbfa/libqbfa_plugin.so" | grep -E "not found|$away|$build"; then
  fail "a library is missing or comes from the build tree"
fi

echo "--- qbfa --version, qbfa read"
version=$("$qbfa" --version)
[ "$version" = "qbfa $(dpkg-deb -f "$deb" Version)" ] || fail "qbfa --version says $version"
"$qbfa" read "$sample" | cmp - "$work/expected.xml" || fail "qbfa read differs from the build tree's"

echo "--- the man page and the unit"
man_text=$(MANWIDTH=100 man -l "$prefix/share/man/man1/qbfa.1.gz" 2>"$work/man.err")
[ ! -s "$work/man.err" ] || fail "man reports: $(cat "$work/man.err")"
# Every subcommand the program offers has its own entry in the man page.
subcommands=$("$qbfa" --help | sed -n '/^Subcommands:/,$p' | awk 'NR > 1 && NF { print $1 }')
[ -n "$subcommands" ] || fail "qbfa --help lists no subcommands"
for subcommand in $subcommands; do
  grep -qE "^ {7}$subcommand( |$)" <<<"$man_text" || fail "the man page has no entry for $subcommand"
done
for section in "EXIT STATUS" FILES ENVIRONMENT; do
  grep -qx "$section" <<<"$man_text" || fail "the man page has no $section section"
done
unit=$prefix/lib/systemd/user/qbfa-host.service
grep -qx "ExecStart=$qbfa host" "$unit" || fail "the unit does not start $qbfa: $(grep Exec "$unit")"
grep -qx "Restart=on-failure" "$unit" || fail "the unit does not restart on failure"
if command -v systemd-analyze >/dev/null; then
  systemd-analyze verify --man=no "$unit" || fail "systemd-analyze rejects the unit"
fi

echo "--- qbfa host on a private session bus, to its first publication; qbfa sets"
cp "$sample" "$HOME/Library/FontAgent Pro/FontAgent.db"
dbus-daemon --session --nofork --address="unix:path=$XDG_RUNTIME_DIR/bus" \
  --print-address=3 3>"$work/bus-address" 2>"$work/bus.log" &
pids+=($!)
wait_until grep -q unix: "$work/bus-address" || fail "the session bus did not start"
export DBUS_SESSION_BUS_ADDRESS=unix:path=$XDG_RUNTIME_DIR/bus
"$qbfa" host 2>"$work/host.log" &
host=$!
pids+=("$host")
wait_until "$qbfa" sets || { cat "$work/host.log" >&2; fail "the host published nothing"; }
"$qbfa" sets --format xml | cmp - "$work/expected.xml" || fail "the publication differs from qbfa read"
outline=$("$qbfa" sets)
grep -q '^+ ' <<<"$outline" || fail "qbfa sets prints no set"
kill -TERM "$host"
wait "$host" || { cat "$work/host.log" >&2; fail "the host did not stop cleanly"; }

# Without its plug-in the host says which file it looked for, and fails.
plugin=$prefix/lib/qbfa/libqbfa_plugin.so
mv "$plugin" "$work/plugin-moved-away.so"
status=0
"$qbfa" host 2>"$work/host.log" || status=$?
[ "$status" -eq 1 ] && grep -qF "qbfa host: cannot load $plugin: " "$work/host.log" ||
  fail "a missing plug-in gave status $status and: $(cat "$work/host.log")"

echo "--- the Debian package"
dpkg-deb -c "$deb" | awk '$1 !~ /^d/ { print $6 }' | sort >"$work/deb-files"
diff <(sed 's|^\./|./usr/|' <<<"$expected_files") "$work/deb-files" || fail "the package's files differ"
depends=$(dpkg-deb -f "$deb" Depends)
for library in libc6 libstdc++6 libplist3 libsystemd0 libxcb1 libwayland-client0 libicu72; do
  grep -q "\b$library\b" <<<"$depends" || fail "Depends lacks $library: $depends"
done
dpkg -x "$deb" "$work/root"
grep -qx "ExecStart=/usr/bin/qbfa host" "$work/root/usr/lib/systemd/user/qbfa-host.service" ||
  fail "the package's unit does not start /usr/bin/qbfa"
"$work/root/usr/bin/qbfa" --version >/dev/null || fail "qbfa does not run from the package"
"$work/root/usr/bin/qbfa" read "$sample" | cmp - "$work/expected.xml" ||
  fail "the package's qbfa read differs from the build tree's"
# apt resolves the package's dependencies as an install would, changing nothing.
apt-get install --simulate -qq "$deb" >"$work/apt.log" 2>&1 ||
  { cat "$work/apt.log" >&2; fail "apt-get cannot install the package"; }

echo "The installed tree and the package work on their own."
