#!/usr/bin/env bash
# Line coverage of a coverage build, per folder of the product and in all:
#   scripts/coverage-report.sh [CHECKOUT [BUILD]]
# CHECKOUT defaults to this checkout and BUILD to its build/coverage, so another checkout's
# build can be measured the same way for a before-and-after comparison.
set -euo pipefail
root=$(cd "${1:-$(dirname "$0")/..}" && pwd)
build=$(cd "${2:-$root/build/coverage}" && pwd)
folders=(vantoconnect emulator receipts cli bindings/c)

csv=$(mktemp)
trap 'rm -f "$csv"' EXIT
filters=()
for folder in "${folders[@]}"; do
    filters+=(--filter "$folder/")
done
# Filters are read relative to the working directory.
(cd "$root" && gcovr --root . "${filters[@]}" --exclude-unreachable-branches --csv "$csv" "$build")

awk -F, -v folders="${folders[*]}" '
    BEGIN { n = split(folders, order, " ") }
    NR > 1 {
        for (i = 1; i <= n; ++i) {
            if (index($1, order[i] "/") == 1) {
                total[order[i]] += $2; covered[order[i]] += $3
            }
        }
        all += $2; hit += $3
    }
    function row(name, t, c) { printf "%-14s %7d %7d %6.1f%%\n", name, t, c, t ? 100 * c / t : 0 }
    END {
        printf "%-14s %7s %7s %7s\n", "folder", "lines", "covered", "share"
        for (i = 1; i <= n; ++i) row(order[i] "/", total[order[i]], covered[order[i]])
        row("all", all, hit)
    }' "$csv"
