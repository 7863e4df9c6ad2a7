'use strict';
// After npm pack: the copies prepack.js made leave the checkout.
const fs = require('node:fs');
const path = require('node:path');

const root = path.join(__dirname, '..');
if (fs.existsSync(path.join(root, '..', '..', 'vantoconnect'))) {
    fs.rmSync(path.join(root, 'core'), { recursive: true, force: true });
    fs.rmSync(path.join(root, 'prebuilds'), { recursive: true, force: true });
}
