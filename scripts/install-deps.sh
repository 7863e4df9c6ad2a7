#!/usr/bin/env bash
# Installs the Debian packages the build, tests, benchmarks, fuzzers and demo need.
# Idempotent: only packages that are missing are installed, and the package lists are
# refreshed at most once per run.
set -euo pipefail

packages=(
    cmake make g++ clang pkg-config git
    libasio-dev
    libvips-dev
    libicu-dev
    libzint-dev fonts-dejavu-core
    libcli11-dev
    nlohmann-json3-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    libboost-dev
    libclang-rt-14-dev
    gcovr
    clang-format
    libcpp-httplib-dev
    chromium chromium-driver python3-selenium
    zxing-cpp-tools
    pybind11-dev python3-dev python3-pytest python3-mypy python3-venv
    ccache
    abigail-tools
    mono-devel
    nodejs
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

# npm comes with some Node.js packages and separately with Debian's; a Node.js that brings its
# own conflicts with Debian's npm package.
if ! command -v npm >/dev/null 2>&1; then
    missing+=(npm)
fi

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "install-deps: installing ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
    sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
