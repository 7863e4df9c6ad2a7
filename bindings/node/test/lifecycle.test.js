'use strict';
// Where Node addons most often go wrong: threads outliving their callers, the event loop held
// open or left too early, workers, and rejections nobody handles. Each case runs a small
// program of its own, as an application would.
const test = require('node:test');
const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const path = require('node:path');

const PACKAGE = path.join(__dirname, '..');

function run(source, timeoutMs = 60000) {
    const done = spawnSync(process.execPath, ['--unhandled-rejections=strict', '-e', source], {
        cwd: PACKAGE,
        encoding: 'utf8',
        timeout: timeoutMs,
    });
    return { status: done.status, signal: done.signal, out: done.stdout, err: done.stderr };
}

test('a script that printed and stopped its unit exits by itself, awaiting nothing else', () => {
    const done = run(`
        const vc = require('vantoconnect');
        vc.setConsole(() => {});
        const unit = new vc.Emulator();
        unit.start().then(async () => {
            const vanto = new vc.Vanto({ address: '127.0.0.1', port: unit.port, profile: 'classic' });
            const report = await vanto.print(new vc.Receipt().addText('bye'));
            await unit.stop();
            console.log(report.allAcknowledged ? 'delivered' : 'not delivered');
        });`);
    assert.equal(done.signal, null, 'still running after a minute');
    assert.deepEqual([done.status, done.out, done.err], [0, 'delivered\n', '']);
});

test('the package loads and prints in a worker thread, and the worker ends cleanly', () => {
    const done = run(`
        const { Worker } = require('node:worker_threads');
        const vc = require('vantoconnect');
        vc.setConsole(() => {});
        const worker = new Worker(\`
            const { parentPort } = require('node:worker_threads');
            const vc = require('vantoconnect');
            (async () => {
                const unit = new vc.Emulator();
                await unit.start();
                const vanto = new vc.Vanto({ address: '127.0.0.1', port: unit.port, profile: 'classic' });
                const report = await vanto.print(new vc.Receipt().addText('from a worker'));
                await unit.waitForReceipts(1);
                parentPort.postMessage([report.allAcknowledged, unit.receipts[0].text.split('\\\\n')[0]]);
                await unit.stop();
            })();\`, { eval: true });
        worker.on('message', (m) => console.log(JSON.stringify(m)));
        worker.on('exit', (code) => console.log('worker exit', code));`);
    assert.equal(done.status, 0, done.err);
    assert.equal(done.out, '[true,"from a worker"]\nworker exit 0\n');
});

test('a worker terminated with its unit running does not take the process down', () => {
    const done = run(`
        const { Worker } = require('node:worker_threads');
        const worker = new Worker(\`
            const vc = require('vantoconnect');
            const unit = new vc.Emulator();
            unit.start().then(() => require('node:worker_threads').parentPort.postMessage('up'));\`, { eval: true });
        worker.on('message', () => worker.terminate().then((code) => console.log('terminated', code)));`);
    assert.deepEqual([done.status, done.out], [0, 'terminated 1\n'], done.err);
});

test('the ES module entry points give the same objects', () => {
    const done = spawnSync(process.execPath, ['--input-type=module', '-e', `
        import { Vanto, Receipt, TextStyle } from 'vantoconnect';
        import { emulatedUnit } from 'vantoconnect/testing';
        import { createRequire } from 'node:module';
        const cjs = createRequire(import.meta.url)('vantoconnect');
        console.log(Vanto === cjs.Vanto && Receipt === cjs.Receipt && TextStyle.BOLD === 1 && typeof emulatedUnit);`], { cwd: PACKAGE, encoding: 'utf8' });
    assert.deepEqual([done.status, done.stdout], [0, 'function\n'], done.stderr);
});
