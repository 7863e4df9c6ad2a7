#!/usr/bin/env bash
# Checks the C API's shared library against the ABI it promised:
#   1. it exports the vanto_ functions and nothing else;
#   2. abidiff finds no change against the checked-in baseline, so an accidental break of the
#      ABI (a changed signature or struct, a removed function) fails the build.
# A deliberate change is recorded with `make abi-baseline` (or this script with --update).
#
#   abi_check.sh LIBRARY HEADER_DIR SOURCE_DIR BASELINE [--update]
set -euo pipefail
library=$1 headers=$2 source_dir=$3 baseline=$4 update=${5:-}

strays=$(nm -D --defined-only "$library" | awk '$3 !~ /^vanto_/ && $3 !~ /^VANTO_[0-9.]+$/ {print $3}')
if [ -n "$strays" ]; then
    echo "abi_check: $library exports symbols other than vanto_ functions:" >&2
    echo "$strays" | head -20 >&2
    exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Only what the public header declares; no paths of the machine that built it.
abidw --no-corpus-path --no-show-locs --no-comp-dir-path --no-elf-needed \
    --exported-interfaces-only --drop-private-types --type-id-style hash \
    --headers-dir "$headers" "$library" |
    sed "s|path='$source_dir/|path='|" > "$work/current.abi"

if [ "$update" = "--update" ]; then
    cp "$work/current.abi" "$baseline"
    echo "abi_check: baseline written to $baseline"
    exit 0
fi
status=0
abidiff "$baseline" "$work/current.abi" > "$work/report" || status=$?
if [ "$status" -ne 0 ]; then
    cat "$work/report" >&2
    echo "abi_check: the C API's ABI differs from $baseline (abidiff status $status)." >&2
    echo "abi_check: if the change is meant, record it with 'make abi-baseline' and raise" >&2
    echo "abi_check: the SONAME for an incompatible one." >&2
    exit 1
fi
echo "abi_check: $(grep -c "<elf-symbol name='vanto_" "$baseline") functions, ABI as in the baseline"
