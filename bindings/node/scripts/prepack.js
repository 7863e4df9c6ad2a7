'use strict';
// npm pack: the tarball carries the library's sources (core/), so it compiles where no prebuilt
// addon fits, and the addon built here as the prebuilt linux-x64 one. postpack.js removes both
// again, so the checkout builds from its own sources.
const { execFileSync, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const root = path.join(__dirname, '..');
const checkout = path.join(root, '..', '..');
const CORE = ['CMakeLists.txt', 'cmake', 'vantoconnect', 'receipts', 'emulator'];

// The addon first, while the build still reads the checkout's sources.
const built = path.join(root, 'build', 'Release', 'vantoconnect.node');
if (!fs.existsSync(built)) {
    const cmakeJs = require.resolve('cmake-js/bin/cmake-js');
    const result = spawnSync(process.execPath, [cmakeJs, 'build', '--out', 'build'], { cwd: root, stdio: 'inherit' });
    if (result.status !== 0) process.exit(1);
}
if (process.platform === 'linux' && process.arch === 'x64') {
    const target = path.join(root, 'prebuilds', 'linux-x64');
    fs.mkdirSync(target, { recursive: true });
    fs.copyFileSync(built, path.join(target, 'vantoconnect.node'));
    // Symbols are for debugging this build, not for users of the tarball.
    spawnSync('strip', ['--strip-unneeded', path.join(target, 'vantoconnect.node')]);
}

// The sources as the checkout tracks them (a tarball unpacked and packed again has them).
if (fs.existsSync(path.join(checkout, '.git')) || fs.existsSync(path.join(checkout, 'vantoconnect'))) {
    fs.rmSync(path.join(root, 'core'), { recursive: true, force: true });
    // Only a checkout of its own answers git: a copy of one that sits inside another
    // repository's ignored folders would list nothing.
    let files = [];
    if (fs.existsSync(path.join(checkout, '.git'))) {
        try {
            files = execFileSync('git', ['ls-files', '-z', '--', ...CORE], { cwd: checkout, encoding: 'utf8' }).split('\0').filter(Boolean);
        } catch {
            files = [];
        }
    }
    if (files.length === 0) files = CORE.flatMap((entry) => listed(path.join(checkout, entry), entry));
    for (const file of files) {
        const to = path.join(root, 'core', file);
        fs.mkdirSync(path.dirname(to), { recursive: true });
        fs.copyFileSync(path.join(checkout, file), to);
    }
}

function listed(full, relative) {
    if (!fs.existsSync(full)) return [];
    if (!fs.statSync(full).isDirectory()) return [relative];
    return fs.readdirSync(full).flatMap((name) => listed(path.join(full, name), path.join(relative, name)));
}
