'use strict';
// The declarations follow the code: a typed program using the package compiles, and a call the
// declarations should refuse does not.
const test = require('node:test');
const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const path = require('node:path');

const TYPES = path.join(__dirname, 'types');

function tsc(project) {
    const compiler = require.resolve('typescript/bin/tsc');
    return spawnSync(process.execPath, [compiler, '-p', path.join(TYPES, project)], { encoding: 'utf8' });
}

test('a typed program compiles and a wrong call does not', () => {
    const typed = tsc('tsconfig.json');
    assert.equal(typed.status, 0, typed.stdout);
    const wrong = tsc('tsconfig.wrong.json');
    assert.notEqual(wrong.status, 0);
    assert.match(wrong.stdout, /'copies' does not exist in type 'PrintOptions'/);
});
