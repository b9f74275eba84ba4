#!/usr/bin/env bash
# Runs the console's browser test: skipped (77) without Chromium or Node.js, in its own TMPDIR/HOME.
# Usage: run_browser_test.sh TOLMAHOST SCREENSHOT
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
chromium="$(command -v chromium || true)"
if [ -z "$chromium" ] || ! command -v node >/dev/null; then
    echo "skipped: the browser test needs chromium and node (scripts/bootstrap installs them)"
    exit 77
fi
if [ ! -d "$here/node_modules/playwright-core" ]; then
    echo "playwright-core is not installed in $here: run scripts/bootstrap (npm ci there)" >&2
    exit 1
fi
# Chromium leaves a profile folder in TMPDIR and a dconf cache in HOME: both are the test's own.
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/tmp" "$scratch/home"
TMPDIR="$scratch/tmp" HOME="$scratch/home" TOLMAHOST="$1" CHROMIUM="$chromium" SCREENSHOT="$2" \
    node "$here/browser_test.mjs"
