#!/usr/bin/env bash
# Runs clazy's default checks over our sources (src, sandbox, app, cli,
# tools), with clang's -Wall -Wextra, and fails on any warning
# tools/clazy_allowed.txt does not list. Installs clang and clazy if missing.
#   tools/clazy.sh [build folder, default build-clazy] [jobs, default 2]
# The folder is configured with clang and a compile database, and its moc
# files (which the sources include) are generated, which builds the
# libraries they depend on; then each source is checked, two at a time.
# Warnings go to <folder>/clazy.log. About three minutes on two cores from
# nothing, one when the folder is built.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

build=${1:-build-clazy}
jobs=${2:-2}
PACKAGES_ONLY=1 EXTRA_PACKAGES="clang clazy" source tools/setup.sh

if [ ! -f "$build/compile_commands.json" ]; then
    echo "== Configuring $build (clang, compile database)"
    launcher=()
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_EXPORT_COMPILE_COMMANDS=ON "${launcher[@]}" >"$build.configure.log" 2>&1 || {
        cat "$build.configure.log"; echo "error: configuring $build failed" >&2; exit 1; }
fi
echo "== Generating the moc files in $build (log: $build.build.log)"
mapfile -t generators < <(cmake --build "$build" --target help | sed -nE 's/^([A-Za-z0-9_.+-]+_autogen):.*/\1/p')
cmake --build "$build" -j "$jobs" --target "${generators[@]}" >"$build.build.log" 2>&1 || {
    tail -n 40 "$build.build.log"; echo "error: building $build failed" >&2; exit 1; }

# Our translation units, from the compile database, without generated ones.
mapfile -t sources < <(python3 - "$build/compile_commands.json" "$root" <<'EOF'
import json, os, sys
root = sys.argv[2]
for entry in json.load(open(sys.argv[1])):
    path = os.path.relpath(os.path.join(entry["directory"], entry["file"]), root)
    if path.split(os.sep)[0] in ("src", "sandbox", "app", "cli", "tools"):
        print(path)
EOF
)
echo "== Checking ${#sources[@]} sources with clazy ($jobs at a time)"
raw=$build/clazy.output.log
log=$build/clazy.log
# Headers are checked where they are included, ours only.
printf '%s\n' "${sources[@]}" | sort -u |
    xargs -P "$jobs" -n 1 clazy-standalone -p "$build" --extra-arg=-Wno-error --header-filter="^$root/(src|sandbox|app|cli|tools)/" \
        >"$raw" 2>&1 || true
if grep -E ': (fatal )?error: ' "$raw"; then
    echo "error: clazy could not read every source (all it said: $raw)" >&2
    exit 1
fi
# clang's own warnings (-Wall -Wextra, from the compile database) count too.
grep -E "^$root/(src|sandbox|app|cli|tools)/.*: warning: .*\[-W" "$raw" | sed "s|^$root/||" | sort -u >"$log" || true

# An allowed entry is "path check text": that check in that file, on a line
# holding the text (so that it survives edits elsewhere in the file).
python3 - "$log" tools/clazy_allowed.txt <<'EOF'
import re, sys
allowed = []
for line in open(sys.argv[2]):
    line = line.strip()
    if line and not line.startswith("#"):
        path, check, text = line.split(None, 2)
        allowed.append((path, check, text))
warnings = [w.rstrip("\n") for w in open(sys.argv[1])]
unexpected = []
for w in warnings:
    path, number = w.split(":")[:2]
    check = re.search(r"\[-W(?:clazy-)?([a-z0-9+-]+)[],]", w).group(1)
    source = open(path, encoding="utf-8").read().split("\n")[int(number) - 1]
    if not any(p == path and c == check and t in source for p, c, t in allowed):
        unexpected.append(w)
print(f"{len(warnings)} warnings, {len(unexpected)} not allowed")
if unexpected:
    print("\n".join(unexpected))
sys.exit(1 if unexpected else 0)
EOF
