#!/usr/bin/env bash
# The Node.js package as a user gets it, from a fresh copy of the checkout:
#   1. npm install of bindings/node into a scratch project (compiles the addon),
#   2. the package's own suite (node --test, the TypeScript declarations),
#   3. the example against an emulated unit, and an application's node --test file,
#   4. npm pack, and the tarball installed into a second project, where it must load the
#      prebuilt addon without compiling, and print.
# Prints the install times and the tarball's size.
#
#   package_test.sh SOURCE_DIR WORK_DIR
set -euo pipefail

source_dir=$(cd "$1" && pwd)
work=$2
rm -rf "$work"
mkdir -p "$work"
work=$(cd "$work" && pwd)
clone=$work/clone
export npm_config_audit=false npm_config_fund=false npm_config_update_notifier=false
# Compilations of the same sources in another folder are ccache hits when paths are relative.
export CCACHE_BASEDIR=$work CCACHE_NOHASHDIR=1

# The files a fresh clone has (tracked, and new files not ignored), as the working tree has them.
mkdir -p "$clone"
(cd "$source_dir" && git ls-files -z --cached --others --exclude-standard) |
    (cd "$source_dir" && xargs -0 tar -cf - --no-recursion 2>/dev/null) | tar -xf - -C "$clone"
# A repository of its own, as a clone is: npm pack lists the library's sources with git, which
# would otherwise find whatever checkout the work folder sits in and list nothing.
git -C "$clone" init -q && git -C "$clone" add -A

ms() { echo $(($(date +%s%N) / 1000000)); }

# npm 11 runs a dependency's install script only once the project approves it; older npm runs it
# at once, and has no install-scripts command.
install_into() {
    local project=$1 source=$2
    mkdir -p "$project"
    (cd "$project" && npm init -y >/dev/null && npm install --foreground-scripts "$source" &&
        if npm install-scripts ls >/dev/null 2>&1; then
            npm install-scripts approve vantoconnect && npm rebuild --foreground-scripts vantoconnect
        fi)
}

start=$(ms)
install_into "$work/app" "$clone/bindings/node" >"$work/install.log" 2>&1 || {
    tail -40 "$work/install.log"
    exit 1
}
install_ms=$(($(ms) - start))
test -f "$clone/bindings/node/build/Release/vantoconnect.node"

# The suite runs inside the package, which requires itself by name; it needs the package's
# development dependencies (typescript) too.
(cd "$clone/bindings/node" && npm install --ignore-scripts >/dev/null 2>&1)
(cd "$clone/bindings/node" && node --test test/)

# The example and an application's test, as an application holds them.
cp "$source_dir/examples/node/print_receipt.js" "$source_dir/examples/node/test_my_pos.test.js" "$work/app/"
run_example() {
    (cd "$1" && node -e "
        const { spawnSync } = require('node:child_process');
        const vc = require('vantoconnect');
        const unit = new vc.Emulator();
        unit.start().then(async () => {
            const run = spawnSync(process.execPath, ['print_receipt.js', '127.0.0.1', String(unit.port)], { encoding: 'utf8' });
            process.stdout.write(run.stdout);
            process.stderr.write(run.stderr);
            await unit.waitForReceipts(1);
            const printed = unit.receipts.length === 1 && /CORNER CAFE/.test(unit.receipts[0].text);
            await unit.stop();
            process.exitCode = run.status === 0 && printed ? 0 : 1;
        });")
}
run_example "$work/app" | grep 'delivered: all'
(cd "$work/app" && node --test test_my_pos.test.js)

# The tarball, with the prebuilt addon, on a machine that did not compile it.
(cd "$clone/bindings/node" && npm pack --pack-destination "$work" >"$work/pack.log" 2>&1) || {
    tail -20 "$work/pack.log"
    exit 1
}
tarball=$(ls "$work"/vantoconnect-*.tgz)
# Listed once: grep -q closing a pipe early would fail the pipeline under pipefail.
listing=$(tar -tzf "$tarball")
grep -qx 'package/prebuilds/linux-x64/vantoconnect.node' <<<"$listing"
grep -qx 'package/core/vantoconnect/Vanto.cpp' <<<"$listing"
start=$(ms)
install_into "$work/app2" "$tarball" >"$work/install2.log" 2>&1 || {
    tail -40 "$work/install2.log"
    exit 1
}
tarball_ms=$(($(ms) - start))
grep -q 'using the prebuilt linux-x64 addon' "$work/install2.log"
test ! -e "$work/app2/node_modules/vantoconnect/build"
cp "$work/app/print_receipt.js" "$work/app2/"
run_example "$work/app2" | grep 'delivered: all'

echo "install from the checkout: $install_ms ms; from the tarball (prebuilt): $tarball_ms ms;" \
    "tarball: $(stat -c %s "$tarball") bytes"
rm -rf "$work"
