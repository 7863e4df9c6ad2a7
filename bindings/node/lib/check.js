'use strict';
// Argument checks at the package's edge: a value of the wrong type is a TypeError, a number
// out of its range a RangeError, each naming the argument. The values of codes and the lines
// themselves are checked by the receipts layer, with the messages every door gives.

function describe(value) {
    if (value === null) return 'null';
    if (Array.isArray(value)) return 'an array';
    if (typeof value === 'string') return `the string ${JSON.stringify(value.length > 40 ? `${value.slice(0, 40)}...` : value)}`;
    if (typeof value === 'object') return 'an object';
    return `${typeof value} ${String(value)}`;
}

function fail(name, wanted, value) {
    return new TypeError(`${name} must be ${wanted}, not ${describe(value)}`);
}

function integer(name, value) {
    if (typeof value !== 'number') throw fail(name, 'an integer', value);
    if (!Number.isSafeInteger(value)) throw new RangeError(`${name} must be an integer, not ${value}`);
    return value;
}

function count(name, value) {
    integer(name, value);
    if (value < 0) throw new RangeError(`${name} must not be negative, not ${value}`);
    return value;
}

function positive(name, value) {
    integer(name, value);
    if (value < 1) throw new RangeError(`${name} must be at least 1, not ${value}`);
    return value;
}

function number(name, value) {
    if (typeof value !== 'number') throw fail(name, 'a number', value);
    if (!Number.isFinite(value)) throw new RangeError(`${name} must be a finite number, not ${value}`);
    return value;
}

function string(name, value) {
    if (typeof value !== 'string') throw fail(name, 'a string', value);
    return value;
}

function boolean(name, value) {
    if (typeof value !== 'boolean') throw fail(name, 'a boolean', value);
    return value;
}

function fn(name, value) {
    if (value !== undefined && typeof value !== 'function') throw fail(name, 'a function', value);
    return value;
}

function bytes(name, value) {
    if (value instanceof ArrayBuffer) return new Uint8Array(value);
    if (ArrayBuffer.isView(value)) return new Uint8Array(value.buffer, value.byteOffset, value.byteLength);
    throw fail(name, 'a Buffer, typed array or ArrayBuffer', value);
}

// An options object: undefined is {}; a key the call does not know is a TypeError, so a
// misspelt option never passes silently.
function options(name, value, known) {
    if (value === undefined) return {};
    if (value === null || typeof value !== 'object' || Array.isArray(value)) throw fail(name, 'an object', value);
    for (const key of Object.keys(value)) {
        if (!known.includes(key)) {
            throw new TypeError(`${name} has no option "${key}" (known: ${known.join(', ')})`);
        }
    }
    return value;
}

function oneOf(name, value, choices) {
    string(name, value);
    if (!choices.includes(value)) {
        throw new RangeError(`${name} must be ${choices.map((c) => `"${c}"`).join(' or ')}, not "${value}"`);
    }
    return value;
}

module.exports = { integer, count, positive, number, string, boolean, fn, bytes, options, oneOf };
