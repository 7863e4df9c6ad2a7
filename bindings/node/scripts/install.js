'use strict';
// npm install: uses the prebuilt addon the package carries when it loads on this machine, and
// compiles the addon otherwise (or when VANTOCONNECT_BUILD_FROM_SOURCE is set). Compiling
// builds the library, its receipts layer and the emulated unit: a first install takes minutes.
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const root = path.join(__dirname, '..');
const prebuilt = path.join(root, 'prebuilds', `${process.platform}-${process.arch}`, 'vantoconnect.node');

function prebuiltLoads() {
    if (process.env.VANTOCONNECT_BUILD_FROM_SOURCE || !fs.existsSync(prebuilt)) return false;
    const tried = spawnSync(process.execPath, ['-e', `require(${JSON.stringify(prebuilt)})`], { encoding: 'utf8' });
    if (tried.status !== 0) {
        console.log(`vantoconnect: the prebuilt addon does not load here (${tried.stderr.trim().split('\n')[0]}); compiling instead`);
    }
    return tried.status === 0;
}

if (prebuiltLoads()) {
    console.log(`vantoconnect: using the prebuilt ${process.platform}-${process.arch} addon`);
    process.exit(0);
}

console.log('vantoconnect: compiling the native addon with cmake-js; a first install takes several minutes');
// Installed from a folder, npm links the package and puts its dependencies beside the project
// instead: the build tools are then fetched into the package itself.
function buildTool() {
    try {
        return require.resolve('cmake-js/bin/cmake-js', { paths: [root] });
    } catch {
        const npm = process.env.npm_execpath;
        const args = ['install', '--ignore-scripts', '--omit=dev', '--no-audit', '--no-fund', '--no-package-lock'];
        const fetched = npm
            ? spawnSync(process.execPath, [npm, ...args], { cwd: root, stdio: 'inherit' })
            : spawnSync('npm', args, { cwd: root, stdio: 'inherit' });
        if (fetched.status !== 0) {
            console.error('vantoconnect: cannot install the build tools (cmake-js, node-addon-api) with npm');
            process.exit(1);
        }
        return require.resolve('cmake-js/bin/cmake-js', { paths: [root] });
    }
}

const cmakeJs = buildTool();
const jobs = String(Math.max(1, (os.availableParallelism ? os.availableParallelism() : os.cpus().length)));
const built = spawnSync(process.execPath, [cmakeJs, 'build', '--out', 'build', '--parallel', jobs], {
    cwd: root,
    stdio: 'inherit',
});
if (built.status !== 0) {
    console.error(
        'vantoconnect: compiling the addon failed; it needs cmake, make, g++, pkg-config and the libraries ' +
            'listed in the guide (libvips-dev libicu-dev libzint-dev libasio-dev nlohmann-json3-dev libcpp-httplib-dev)',
    );
    process.exit(1);
}
