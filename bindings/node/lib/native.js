'use strict';
// The compiled addon: the prebuilt binary shipped in the package when it loads here, else the
// one built on install. A binary that fails to load says what to do in one line.
const path = require('path');

const root = path.join(__dirname, '..');
const candidates = [
    path.join(root, 'build', 'Release', 'vantoconnect.node'),
    path.join(root, 'prebuilds', `${process.platform}-${process.arch}`, 'vantoconnect.node'),
];

function load() {
    const failures = [];
    for (const file of candidates) {
        try {
            return require(file);
        } catch (error) {
            if (error && error.code === 'MODULE_NOT_FOUND' && !require('fs').existsSync(file)) {
                continue;
            }
            failures.push(`${path.relative(root, file)}: ${String(error && error.message).split('\n')[0]}`);
        }
    }
    const why = failures.length > 0 ? failures.join('; ') : 'no compiled addon in the package';
    throw new Error(
        `vantoconnect: the native addon cannot be loaded (${why}); run "npm rebuild vantoconnect" ` +
            'to compile it (needs cmake, g++ and the packages listed in the guide)',
    );
}

const binding = load();
const { VantoError, PrinterNotRespondingError, FatalError } = require('./errors');
binding.setErrorClasses(VantoError, PrinterNotRespondingError, FatalError);

module.exports = binding;
