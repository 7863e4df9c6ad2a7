// The test helper as an ES module.
import testing from './testing.js';

export const { emulatedUnit } = testing;
export default testing;
