import type { Emulator, EmulatorOptions } from './index';

/** The part of node:test's context the helper uses. */
export interface TestContextLike {
    after(fn: () => unknown): void;
}

/** A started emulated unit for the test, stopped (after the printer queue drains) when it ends. */
export declare function emulatedUnit(t: TestContextLike, options?: EmulatorOptions): Promise<Emulator>;
