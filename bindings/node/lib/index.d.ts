/// <reference types="node" />
// Types of vantoconnect for Node.js. The package's typed test compiles against these with
// `tsc --noEmit`, and a deliberately wrong call must fail to, so they follow the code.

type ValueOf<T> = T[keyof T];

/** How the paper is cut after a receipt. */
export declare const CutType: Readonly<{ FULL: 0; PARTIAL: 1 }>;
export type CutType = ValueOf<typeof CutType>;
/** Text styles: bit flags that combine, as in `TextStyle.BOLD | TextStyle.UNDERLINED`. */
export declare const TextStyle: Readonly<{ NONE: 0; BOLD: 1; ITALIC: 2; UNDERLINED: 4; INVERSE: 8 }>;
/** A combination of TextStyle flags. */
export type TextStyle = number;
/** Text width. Price and separator lines keep the size of the last text line. */
export declare const TextSize: Readonly<{ NORMAL: 0; WIDE: 1 }>;
export type TextSize = ValueOf<typeof TextSize>;
/** Where a text line sits across the paper. */
export declare const TextPosition: Readonly<{ LEFT: 0; CENTER: 1; RIGHT: 2 }>;
export type TextPosition = ValueOf<typeof TextPosition>;
/** Barcode symbologies the printer draws. */
export declare const BarcodeType: Readonly<{ UPCA: 0; CODE39: 1; PDF417: 2 }>;
export type BarcodeType = ValueOf<typeof BarcodeType>;
/** Where the human-readable text of a barcode is printed. */
export declare const BarcodeHri: Readonly<{ NONE: 0; ABOVE: 1; BELOW: 2; BOTH: 3 }>;
export type BarcodeHri = ValueOf<typeof BarcodeHri>;
/** What the unit reports of its cash drawer. */
export declare const DrawerStatus: Readonly<{ OPENED: 0; CLOSED: 1 }>;
export type DrawerStatus = ValueOf<typeof DrawerStatus>;
/** Positions of the diagnostic LEDs; PED cannot be set (setDiagnosticLed refuses it). */
export declare const DiagnosticLed: Readonly<{
    POWER: 0;
    NETWORK: 1;
    TABLET: 2;
    PED: 3;
    PRINTER: 8;
    USB1: 9;
    USB2: 10;
}>;
export type DiagnosticLed = ValueOf<typeof DiagnosticLed>;
/** Colours of a diagnostic LED. */
export declare const LedColor: Readonly<{ OFF: 0; GREEN: 1; RED: 2; AMBER: 3 }>;
export type LedColor = ValueOf<typeof LedColor>;
/** Colours of the unit's cosmetic light. */
export declare const CosmeticColor: Readonly<{
    OFF: 0;
    BLUE: 1;
    GREEN: 2;
    CYAN: 3;
    RED: 4;
    MAGENTA: 5;
    YELLOW: 6;
    WHITE: 7;
}>;
export type CosmeticColor = ValueOf<typeof CosmeticColor>;

/**
 * What became of each packet of one receipt. Every data packet falls in exactly one of the five
 * counts: packetsAcknowledged + packetsRefused + packetsUnrecognised + packetsUnanswered +
 * packetsNotSent === packetsSent. Only `allAcknowledged` says the whole receipt reached the
 * printer.
 */
export interface DeliveryReport {
    readonly receiptId: number;
    readonly packetsSent: number;
    readonly packetsAcknowledged: number;
    readonly packetsRefused: number;
    readonly packetsUnrecognised: number;
    readonly packetsNotSent: number;
    /** Went out, but the connection closed or fell silent before the unit answered: they may have printed. */
    readonly packetsUnanswered: number;
    readonly endOfJobSent: boolean;
    readonly allAcknowledged: boolean;
    /** Withdrawn through its AbortSignal before it was sent. */
    readonly cancelled: boolean;
    /** One line for people, such as "all 12 packets acknowledged". */
    readonly summary: string;
}

export type ErrorCode = 'GENERIC' | 'PRINTER_NOT_RESPONDING' | 'CONNECTION_LOST' | 'CANCELLED';

/** An error the library reports: a unit that cannot be reached or did not answer usefully. */
export declare class VantoError extends Error {
    constructor(message?: string, fields?: { code?: ErrorCode; description?: string; report?: DeliveryReport });
    readonly code: ErrorCode;
    readonly description: string;
    /** The receipt's delivery report when the error ends a print. */
    readonly report: DeliveryReport | undefined;
    readonly domain: 'vantoconnect.VantoError';
}
/** The printer queue gave up on a receipt and dropped it without sending it. */
export declare class PrinterNotRespondingError extends VantoError {}
/** The library reached one of its fatal edges on the thread that ran the call. */
export declare class FatalError extends Error {
    constructor(message?: string);
}
/** A receipt withdrawn through its AbortSignal before it was sent; `cause` is the signal's reason. */
export declare class AbortError extends Error {
    readonly code: 'ABORT_ERR';
    readonly report: DeliveryReport | undefined;
}

export interface VantoOptions {
    /** The unit's address; without one, the library's default unit address. */
    address?: string;
    /** 1...65535; 8080 by default. */
    port?: number;
    /** "resilient" (the default) or "classic" (the C++ Vanto(), hazards included). */
    profile?: 'resilient' | 'classic';
    /** Resilient profile: every read's time limit in milliseconds (5000). */
    readTimeout?: number;
    /** Resilient profile: the connect time limit in milliseconds (3000). */
    connectTimeout?: number;
    /** Resilient profile: the library's diagnostic lines, on the main thread. */
    log?: (line: string) => void;
}

export interface PrintOptions {
    onStarted?: (address: string) => unknown;
    /** Only that the connection's queue got through the receipt's messages: see the report. */
    onCompleted?: (address: string) => unknown;
    onError?: (error: VantoError) => unknown;
    /** Withdraws the receipt while it still waits (resilient profile). */
    signal?: AbortSignal;
}

/** Drives one Vanto unit: cash drawer, LEDs, USB power and printing. Creating it opens nothing. */
export declare class Vanto {
    constructor(options?: VantoOptions);
    readonly address: string;
    readonly port: number;
    /** The profile in effect. */
    readonly profile: 'resilient' | 'classic';
    cashDrawerStatus(): Promise<DrawerStatus>;
    /** Resolves to whether the open pulse was queued, not that the drawer moved. */
    openCashDrawer(options?: { validate?: boolean }): Promise<boolean>;
    printerBusy(): Promise<boolean>;
    setDiagnosticLed(position: DiagnosticLed, color: LedColor): Promise<void>;
    setCosmeticLed(color: CosmeticColor): Promise<void>;
    enableUsb(): Promise<void>;
    disableUsb(): Promise<void>;
    print(receipt: Receipt, options?: PrintOptions): Promise<DeliveryReport>;
    close(): Promise<void>;
}

/** A decoded picture for Receipt.addImage. */
export declare class Image {
    private constructor();
    static fromFile(path: string, options?: { flatten?: boolean }): Image;
    static fromBuffer(buffer: Uint8Array | ArrayBuffer, options?: { flatten?: boolean }): Image;
    static fromRGBA(width: number, height: number, buffer: Uint8Array | ArrayBuffer, options?: { flatten?: boolean }): Image;
    readonly width: number;
    readonly height: number;
}

export interface ReceiptOptions {
    cut?: CutType;
    headerFeed?: number;
    footerFeed?: number;
}

/** A receipt file's content, as `vanto print` reads it. */
export interface ReceiptJSON {
    cutType?: string | number;
    headerFeed?: number;
    footerFeed?: number;
    lines: ReadonlyArray<Record<string, unknown>>;
}

/** A receipt: lines in print order and the receipt-wide settings. */
export declare class Receipt {
    constructor(options?: ReceiptOptions);
    static fromJSON(source: ReceiptJSON | string, options?: { baseDir?: string }): Receipt;
    static fromFile(path: string): Receipt;
    addText(text: string, options?: { style?: TextStyle; size?: TextSize; position?: TextPosition }): this;
    addPrice(left: string, right: string, options?: { leftStyle?: TextStyle; rightStyle?: TextStyle }): this;
    addSeparator(char?: string): this;
    addFeed(lines: number): this;
    addBarcode(data: string, options?: { type?: BarcodeType; hri?: BarcodeHri; height?: number }): this;
    addImage(image: Image): this;
    cut: CutType;
    headerFeed: number;
    footerFeed: number;
    readonly length: number;
    compose(): Buffer;
}

/** The receipt drawn as the paper would show it, as PNG bytes. */
export declare function preview(receipt: Receipt): Promise<Buffer>;
/** The text the paper would show. */
export declare function previewText(receipt: Receipt): string;
/** The library's diagnostic lines to `sink` instead of standard output; null restores it. */
export declare function setConsole(sink: ((line: string) => void) | null): void;

export interface EmulatorOptions {
    printerState?: 'ready' | 'not-ready' | 'error';
    printerNotReady?: number;
    printerError?: number;
    reply?: 'normal' | 'silent' | 'unrecognised' | 'unrecognized';
    corruptCrc?: number;
    delayMs?: number;
    refuse?: boolean;
    drawerCloseAfterMs?: number;
    outDir?: string;
    keep?: number;
    bind?: string;
    port?: number;
}

/** One receipt as the emulated unit put it on paper. */
export interface PrintedReceipt {
    readonly number: number;
    readonly text: string;
    readonly png: Buffer | null;
    readonly data: Buffer;
    readonly packets: number;
    readonly incomplete: boolean;
    readonly interleaved: boolean;
    readonly notes: readonly string[];
    readonly complete: boolean;
}

/** A software Vanto unit listening on TCP in this process. */
export declare class Emulator {
    constructor(options?: EmulatorOptions);
    start(): Promise<void>;
    stop(options?: { drainMs?: number }): Promise<void>;
    close(): Promise<void>;
    readonly running: boolean;
    readonly port: number;
    readonly address: string;
    readonly outDir: string | undefined;
    readonly keep: number;
    printerState: 'ready' | 'not-ready' | 'error';
    printerNotReady: number;
    printerError: number;
    reply: 'normal' | 'silent' | 'unrecognised' | 'unrecognized';
    corruptCrc: number;
    delayMs: number;
    refuse: boolean;
    drawerCloseAfterMs: number;
    readonly drawerOpen: boolean;
    openDrawer(): void;
    closeDrawer(): void;
    readonly diagnosticLeds: Readonly<Record<number, LedColor>>;
    readonly cosmeticColor: CosmeticColor;
    readonly usbPower: boolean;
    readonly receipts: readonly PrintedReceipt[];
    readonly events: ReadonlyArray<{ event: string; [field: string]: unknown }>;
    waitForReceipts(count: number, options?: { timeoutMs?: number }): Promise<boolean>;
}
