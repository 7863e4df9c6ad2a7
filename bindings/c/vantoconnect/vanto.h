/*
 * vantoconnect C API: drive a Vanto unit (receipt printer, cash drawer, LEDs, USB power) from
 * C, or from any language with a foreign-function interface (P/Invoke, Dart FFI, ctypes, cgo,
 * Rust). It is a thin layer over the C++ library: every call here does what the C++ call of the
 * same name does, plus checks that refuse, with an error, input that the C++ library would
 * print as something else or stop the process on.
 *
 * Link with `pkg-config --cflags --libs vantoconnect-c`, or the CMake target vantoconnect::c.
 *
 * Conventions
 * - Every function that can fail returns a vanto_status; VANTO_OK (0) is success. Results come
 *   back through pointer arguments, which are written only on success unless the function
 *   says otherwise.
 * - vanto_last_error() explains the most recent call on the calling thread: the empty string
 *   after a success, a one-line reason after a failure. No C++ exception ever leaves a function
 *   of this API.
 * - Strings are UTF-8 and NUL-terminated. Strings and byte buffers that a function returns
 *   belong to the caller, who frees them with vanto_string_free() or vanto_bytes_free().
 *   Strings handed to callbacks are valid only while the callback runs.
 * - Handles (vanto_t, vanto_receipt_t, vanto_image_t, vanto_emulator_t) are opaque, made by a
 *   *_create or *_from_* function and released by the matching *_free function, which accepts
 *   NULL. A handle may be used from several threads at once, but freed only when no call on it
 *   is still running.
 * - The structs that cross the API (vanto_options, vanto_print_callbacks,
 *   vanto_delivery_report) start with `size_t struct_size`. Start each from its _INIT macro,
 *   which sets struct_size to the size this header gives and every other field to its default,
 *   then set the fields you need. The library reads and writes only the fields that struct_size
 *   covers, taking the others at their defaults, so a field added in a later version never
 *   breaks a program built against this header. A struct_size of 0, smaller than the field
 *   itself or larger than 4096 is refused with VANTO_ERROR_INVALID: such a struct was never
 *   initialised.
 *
 * Two profiles
 * A facade (vanto_t) is made in one of two profiles, and keeps it:
 * - VANTO_PROFILE_RESILIENT, what vanto_create() makes: for tills that run for days. Every wait
 *   has a time limit; whatever the unit or the network does (refuse, close, reset, answer with
 *   something unrecognised, say nothing) is a status code, or an on_error and a delivery report,
 *   never the end of the process; each facade has a printer queue of its own that sends at once,
 *   prints a burst of receipts in order and can withdraw a waiting one (vanto_cancel); the
 *   library's lines go to the log callback of vanto_options, never to standard output.
 * - VANTO_PROFILE_CLASSIC, asked for with vanto_create_with(): the C++ library's classic Vanto(),
 *   exactly, hazards included. Connects wait up to 200 seconds and reads have no time limit; a
 *   unit that closes the connection while a receipt is being sent ends the process; one printer
 *   queue serves the whole process and counts busy polls across receipts; lines go to standard
 *   output (or to vanto_set_console's sink).
 * Where a function behaves differently in the two, its comment says so; docs/c.md has the table.
 *
 * What stays fatal
 * Input that would reach one of the C++ library's fatal edges (a price line too long for the
 * paper, a feed outside 0...127, a barcode height outside 1...127 dots, a line whose printer
 * commands pass 1024 bytes, LED_PED) is refused here with VANTO_ERROR_INVALID, in either
 * profile. What the unit does cannot be checked beforehand. In the resilient profile it never
 * ends the process. In the classic profile, when a unit closes the connection while the library
 * waits for its answer, a blocking call returns VANTO_ERROR_FATAL on the calling thread, but on
 * the library's own threads (while a receipt is being sent) the process ends. See docs/c.md.
 */
#ifndef VANTOCONNECT_VANTO_H
#define VANTOCONNECT_VANTO_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define VANTO_API __attribute__((visibility("default")))
#else
#define VANTO_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

#define VANTO_VERSION_MAJOR 1
#define VANTO_VERSION_MINOR 0
#define VANTO_VERSION_PATCH 0

/* ---------------------------------------------------------------------------------------------
 * Status codes and errors
 */

/* Status values are fixed: each keeps its number and its meaning in every later version, none is
 * ever renumbered or reused, and new ones are only appended. Treat a value you do not know as a
 * failure. */
typedef enum vanto_status {
    VANTO_OK = 0,
    /* Refused before it reached the library: a NULL argument, a value out of range, a line the
     * printer bytes cannot carry, an image or receipt file that cannot be read as one, a struct
     * whose struct_size was never set. */
    VANTO_ERROR_INVALID = 1,
    /* The library's VantoError GENERIC: the unit could not be reached, sending to it failed,
     * it answered with something nobody understands, or the cash drawer's status did not
     * arrive. */
    VANTO_ERROR_UNIT = 2,
    /* The library's VantoError PRINTER_NOT_RESPONDING: the printer queue gave up waiting for the
     * printer, and the receipt was not printed. */
    VANTO_ERROR_PRINTER_NOT_RESPONDING = 3,
    /* The receipt was sent, but the unit did not acknowledge every packet of it, or the end of
     * the job could not be sent: the paper may hold part of it. The report says what happened. */
    VANTO_ERROR_NOT_DELIVERED = 4,
    /* A wait of this API ran out; what was waited for may still happen later. */
    VANTO_ERROR_TIMEOUT = 5,
    /* The emulated unit could not listen, or read or write its own files. (A receipt or image
     * file that cannot be read is VANTO_ERROR_INVALID.) */
    VANTO_ERROR_IO = 6,
    /* Classic profile: one of the library's fatal edges was reached on the calling thread, for
     * example a unit that closed the connection instead of answering. The call did not
     * complete; the process goes on. */
    VANTO_ERROR_FATAL = 7,
    VANTO_ERROR_NO_MEMORY = 8,
    /* A fault of this library itself; please report it with vanto_last_error(). */
    VANTO_ERROR_INTERNAL = 9,
    /* Resilient profile: the unit closed or reset the connection, or said nothing within the
     * read time limit, before its answer was in; vanto_last_error() says which. What was asked
     * may have reached the unit: a receipt may be partly on paper. The next call starts afresh. */
    VANTO_ERROR_CONNECTION_LOST = 10,
    /* Resilient profile: the receipt was withdrawn before any of it was sent (vanto_cancel, or
     * vanto_free while it waited), or the facade was freed while it was being sent. */
    VANTO_ERROR_CANCELLED = 11
} vanto_status;

/* Why the most recent call on this thread failed, in one line; "" after a success. The text
 * stays valid until the next call of this API on the same thread. Never NULL. */
VANTO_API const char* vanto_last_error(void);

/* The enumerator's name, for example "VANTO_ERROR_UNIT"; "VANTO_STATUS_UNKNOWN" for others. */
VANTO_API const char* vanto_status_name(vanto_status status);

/* The library's version, "1.0.0". */
VANTO_API const char* vanto_version(void);

/* Releases a string or byte buffer returned by this API. NULL is allowed. */
VANTO_API void vanto_string_free(char* text);
VANTO_API void vanto_bytes_free(uint8_t* bytes);

/* ---------------------------------------------------------------------------------------------
 * Constants, with the values of the C++ library
 */

#define VANTO_CUT_TYPE_FULL 0
#define VANTO_CUT_TYPE_PARTIAL 1

/* Text styles are bit flags: combine them with |. */
#define VANTO_TEXT_STYLE_NONE 0
#define VANTO_TEXT_STYLE_BOLD 1
#define VANTO_TEXT_STYLE_ITALIC 2
#define VANTO_TEXT_STYLE_UNDERLINED 4
#define VANTO_TEXT_STYLE_INVERSE 8

#define VANTO_TEXT_SIZE_NORMAL 0
#define VANTO_TEXT_SIZE_WIDE 1

#define VANTO_TEXT_POSITION_LEFT 0
#define VANTO_TEXT_POSITION_CENTER 1
#define VANTO_TEXT_POSITION_RIGHT 2

#define VANTO_BARCODE_TYPE_UPCA 0
#define VANTO_BARCODE_TYPE_CODE39 1
#define VANTO_BARCODE_TYPE_PDF417 2

#define VANTO_BARCODE_HRI_NONE 0
#define VANTO_BARCODE_HRI_ABOVE 1
#define VANTO_BARCODE_HRI_BELOW 2
#define VANTO_BARCODE_HRI_BOTH 3

/* The default barcode height: 54 dots, in units of 154 dots. */
#define VANTO_BARCODE_HEIGHT_DEFAULT (54.0 / 154.0)

#define VANTO_CASH_DRAWER_STATUS_OPENED 0
#define VANTO_CASH_DRAWER_STATUS_CLOSED 1

/* Diagnostic LED positions. LED_PED cannot be set: its request has a mask byte of 0xC0, which
 * the library's IO message cannot carry, so vanto_set_diagnostic_led refuses it. */
#define VANTO_LED_POWER 0
#define VANTO_LED_NETWORK 1
#define VANTO_LED_TABLET 2
#define VANTO_LED_PED 3
#define VANTO_LED_PRINTER 8
#define VANTO_LED_USB1 9
#define VANTO_LED_USB2 10

/* Diagnostic LED colours. */
#define VANTO_LED_OFF 0
#define VANTO_LED_GREEN 1
#define VANTO_LED_RED 2
#define VANTO_LED_AMBER 3

/* Cosmetic light colours. */
#define VANTO_COSMETIC_OFF 0
#define VANTO_COSMETIC_BLUE 1
#define VANTO_COSMETIC_GREEN 2
#define VANTO_COSMETIC_CYAN 3
#define VANTO_COSMETIC_RED 4
#define VANTO_COSMETIC_MAGENTA 5
#define VANTO_COSMETIC_YELLOW 6
#define VANTO_COSMETIC_WHITE 7

/* Values of vanto_connection_status. */
#define VANTO_CONNECTION_NOT_INITIALISED (-1)
#define VANTO_CONNECTION_NOT_CONNECTED 0
#define VANTO_CONNECTION_CONNECTED_WIFI 2

/* ---------------------------------------------------------------------------------------------
 * Images
 *
 * An image is decoded when it is made, so one that cannot be read fails here and never reaches
 * a receipt. Limits: 8 MiB of encoded bytes, 8192 pixels a side, 16 megapixels. With `flatten`
 * non-zero the image is laid onto white paper first, as receipt files are: the library prints
 * a pixel by its colour alone, so a transparent background (transparent black) would print as
 * a black block. Pass 0 to hand the library the pixels as they are.
 */

typedef struct vanto_image vanto_image_t;

/* PNG, JPEG, WebP, GIF or TIFF. */
VANTO_API vanto_status vanto_image_from_file(const char* path, int flatten, vanto_image_t** image);
VANTO_API vanto_status vanto_image_from_encoded(const uint8_t* data, size_t size, int flatten,
                                                vanto_image_t** image);
/* Straight (not premultiplied) 8-bit RGBA, rows packed: size must be width * height * 4. */
VANTO_API vanto_status vanto_image_from_rgba(int64_t width, int64_t height, const uint8_t* rgba,
                                             size_t size, int flatten, vanto_image_t** image);
VANTO_API vanto_status vanto_image_size(const vanto_image_t* image, int64_t* width,
                                        int64_t* height);
VANTO_API void vanto_image_free(vanto_image_t* image);

/* ---------------------------------------------------------------------------------------------
 * Receipts
 *
 * A receipt is a list of lines and three settings (cut type, header feed of 0 lines and footer
 * feed of 12 by default). Every line is checked when it is added; a line that is refused is
 * not added. Lines print in the order they were added.
 *
 * A receipt handed to vanto_print() is kept by the printer queue itself, not copied, until it
 * is composed: a line added in between is printed. The handle may be freed right after
 * vanto_print(); the queue holds its own reference.
 */

typedef struct vanto_receipt vanto_receipt_t;

VANTO_API vanto_status vanto_receipt_create(vanto_receipt_t** receipt);
/* A receipt file as `vanto print` reads it (JSON; image paths relative to the file). */
VANTO_API vanto_status vanto_receipt_from_file(const char* path, vanto_receipt_t** receipt);
/* The same format from text; image paths are relative to base_dir (NULL: the current
 * directory). */
VANTO_API vanto_status vanto_receipt_from_json(const char* json, const char* base_dir,
                                               vanto_receipt_t** receipt);
VANTO_API void vanto_receipt_free(vanto_receipt_t* receipt);

/* VANTO_CUT_TYPE_FULL or VANTO_CUT_TYPE_PARTIAL. */
VANTO_API vanto_status vanto_receipt_set_cut_type(vanto_receipt_t* receipt, int64_t cut_type);
/* Lines fed before the first line and after the last: 0...127. */
VANTO_API vanto_status vanto_receipt_set_header_feed(vanto_receipt_t* receipt, int64_t lines);
VANTO_API vanto_status vanto_receipt_set_footer_feed(vanto_receipt_t* receipt, int64_t lines);
VANTO_API vanto_status vanto_receipt_settings(const vanto_receipt_t* receipt, int64_t* cut_type,
                                              int64_t* header_feed, int64_t* footer_feed);
VANTO_API vanto_status vanto_receipt_line_count(const vanto_receipt_t* receipt, size_t* count);

/* One line of text: style is VANTO_TEXT_STYLE_* flags, size VANTO_TEXT_SIZE_*, position
 * VANTO_TEXT_POSITION_*. No control characters; at most 1013 bytes of plain text (fewer with
 * style or size). Price and separator lines keep the size of the last text line: after a wide
 * line, add a normal one. */
VANTO_API vanto_status vanto_receipt_add_text(vanto_receipt_t* receipt, const char* text,
                                              int64_t style, int64_t size, int64_t position);
/* Left and right text on one line of 44 columns, with at least one space between: together
 * at most 43 characters as a reader counts them. */
VANTO_API vanto_status vanto_receipt_add_price(vanto_receipt_t* receipt, const char* left_text,
                                               int64_t left_style, const char* right_text,
                                               int64_t right_style);
/* One character (a user-perceived character, such as "=" or "é") repeated across the paper. */
VANTO_API vanto_status vanto_receipt_add_separator(vanto_receipt_t* receipt, const char* chr);
/* Feeds 0...127 lines. */
VANTO_API vanto_status vanto_receipt_add_feed(vanto_receipt_t* receipt, int64_t lines);
/* type VANTO_BARCODE_TYPE_*, hri VANTO_BARCODE_HRI_*, height in units of 154 dots (height x
 * 154 must be 1...127 dots; VANTO_BARCODE_HEIGHT_DEFAULT gives 54). UPC-A takes 11 or 12
 * digits, Code 39 digits, capitals, space and - . $ / + %. */
VANTO_API vanto_status vanto_receipt_add_barcode(vanto_receipt_t* receipt, int64_t type,
                                                 const char* data, int64_t hri, double height);
/* Printed 288 dots across; the receipt shares the image's pixels, so the image handle may be
 * freed afterwards. */
VANTO_API vanto_status vanto_receipt_add_image(vanto_receipt_t* receipt,
                                               const vanto_image_t* image);

/* The receipt's printer command bytes, exactly as the library sends them (before they are cut
 * into packets). Free *bytes with vanto_bytes_free(). */
VANTO_API vanto_status vanto_receipt_compose(const vanto_receipt_t* receipt, uint8_t** bytes,
                                             size_t* size);
/* The paper as the emulated unit's printer draws these bytes, with no unit: a PNG 576 dots
 * wide, and a plain-text view. Free with vanto_bytes_free() and vanto_string_free(). */
VANTO_API vanto_status vanto_receipt_preview_png(const vanto_receipt_t* receipt, uint8_t** png,
                                                 size_t* size);
VANTO_API vanto_status vanto_receipt_preview_text(const vanto_receipt_t* receipt, char** text);

/* ---------------------------------------------------------------------------------------------
 * Delivery report
 *
 * What became of each packet of one receipt. The five packet counts add up to packets_sent.
 * Only all_acknowledged means that the whole receipt reached the printer; no answer of the unit
 * can tell whether the paper then jammed.
 */

typedef struct vanto_delivery_report {
    size_t struct_size;           /* set by VANTO_DELIVERY_REPORT_INIT; see "Conventions" */
    uint64_t receipt_id;          /* 1, 2, 3, ... for the facade (classic: for the process) */
    int64_t packets_sent;         /* data packets handed to the connection; 0 if none went */
    int64_t packets_acknowledged; /* packets the unit acknowledged */
    int64_t packets_refused;      /* never acknowledged; the printer said "not OK" */
    int64_t packets_unrecognised; /* never acknowledged; an answer nobody understands came */
    int64_t packets_unanswered;   /* went out, and the connection closed or fell silent before
                                     the answer: they may have printed (resilient only) */
    int64_t packets_not_sent;     /* no attempt got them to the unit */
    int32_t end_of_job_sent;      /* 1 when the end-of-job message reached a connection */
    int32_t all_acknowledged;     /* 1 when every packet was acknowledged and the end sent */
    int32_t cancelled;            /* 1 when it was withdrawn before any of it was sent: nothing
                                     of it is on paper (resilient only) */
} vanto_delivery_report;

#define VANTO_DELIVERY_REPORT_INIT \
    { sizeof(vanto_delivery_report), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 }

/* One line for people, such as "the unit refused 5 of 12 packets; the receipt is incomplete" or
 * "cancelled before it was sent; nothing was printed". Fields that report->struct_size does not
 * cover count as 0. Free *summary with vanto_string_free(). */
VANTO_API vanto_status vanto_delivery_report_summary(const vanto_delivery_report* report,
                                                     char** summary);

/* ---------------------------------------------------------------------------------------------
 * The unit
 *
 * A facade opens nothing when it is made: every request connects anew to its address and port.
 * Blocking calls hold the calling thread while the unit is asked: call them off your
 * user-interface thread.
 * - Resilient: each request waits at most the options' connect and read limits, a few times over
 *   when it never reached the unit (such a request is tried up to five times), and the
 *   connection is closed when the exchange ends.
 * - Classic: a call may hold the thread for minutes when the unit does not answer (five
 *   attempts with a 200-second connect time-out), or for ever (reads have no time limit).
 */

typedef struct vanto vanto_t;

#define VANTO_PROFILE_RESILIENT 0
#define VANTO_PROFILE_CLASSIC 1

/* How a facade is made. Start from VANTO_OPTIONS_INIT, which holds every default.
 * The time limits and the log apply to the resilient profile; the classic one has no limits
 * (they are checked, then ignored) and writes its lines to standard output or vanto_set_console's
 * sink, so a log callback is refused with it. */
typedef struct vanto_options {
    size_t struct_size; /* set by VANTO_OPTIONS_INIT; see "Conventions" */
    int32_t profile;    /* VANTO_PROFILE_RESILIENT (default) or VANTO_PROFILE_CLASSIC */
    int32_t port;       /* 1...65535; default 8080 */
    /* The unit's IPv4 address or host name, copied; NULL or "": the unit's own address on its
     * Wi-Fi network. */
    const char* address;
    /* Each 1...86400000 ms. */
    int64_t connect_timeout_ms; /* longest wait for a connection to open; default 3000 */
    int64_t read_timeout_ms;    /* longest wait for an answer to a request; default 5000 */
    /* A receipt is given up (PRINTER_NOT_RESPONDING) at its 31st poll that finds the printer
     * busy or unreachable (polls come 2 s apart), or once it has waited this long for the
     * printer, whichever comes first. Default 60000. */
    int64_t wait_limit_ms;
    /* The library's diagnostic lines ("Printer started", "no answer from ... within 5000 ms"),
     * one call per line, without its newline, never two at once. It runs on the library's
     * threads and on threads inside blocking calls: it must return quickly and must not call
     * this API. NULL drops the lines. `log_user` is passed back as `user`; it must stay valid
     * until vanto_free() of the facade has returned, after which no line comes. */
    void (*log)(void* user, const char* line);
    void* log_user;
} vanto_options;

#define VANTO_OPTIONS_INIT \
    { sizeof(vanto_options), VANTO_PROFILE_RESILIENT, 8080, NULL, 3000, 5000, 60000, NULL, NULL }

/* A facade in the resilient profile with the default options: vanto_create_with(NULL, vanto). */
VANTO_API vanto_status vanto_create(vanto_t** vanto);
/* A facade as the options say; NULL options are the defaults (VANTO_OPTIONS_INIT). */
VANTO_API vanto_status vanto_create_with(const vanto_options* options, vanto_t** vanto);
/* Resilient: receipts still waiting are withdrawn, each with on_error (VANTO_ERROR_CANCELLED)
 * and a report whose `cancelled` is 1, on this thread; one being sent is cut short at once and
 * reported with VANTO_ERROR_CANCELLED and what its packets did. Nothing waits on the unit, and
 * once this returns no callback and no log line of the facade comes again.
 * Classic: receipts already queued go on printing; the library keeps what it needs. */
VANTO_API void vanto_free(vanto_t* vanto);
/* VANTO_PROFILE_RESILIENT or VANTO_PROFILE_CLASSIC. */
VANTO_API vanto_status vanto_profile(const vanto_t* vanto, int* profile);

VANTO_API vanto_status vanto_set_address(vanto_t* vanto, const char* address);
/* Free *address with vanto_string_free(). */
VANTO_API vanto_status vanto_get_address(const vanto_t* vanto, char** address);
/* 1...65535. */
VANTO_API vanto_status vanto_set_port(vanto_t* vanto, int32_t port);
VANTO_API vanto_status vanto_get_port(const vanto_t* vanto, int32_t* port);
/* Classic: always VANTO_CONNECTION_NOT_INITIALISED: the library never changes it.
 * Resilient: what the last request found, not a link (none stays open): NOT_INITIALISED before
 * the first, CONNECTED_WIFI when it got through to the unit, NOT_CONNECTED when it did not. */
VANTO_API vanto_status vanto_connection_status(vanto_t* vanto, int64_t* status);
/* Classic: closes the current connection, if one is open. Resilient: none stays open between
 * requests, so there is nothing to close. */
VANTO_API vanto_status vanto_disconnect(vanto_t* vanto);

/* Blocks. VANTO_CASH_DRAWER_STATUS_OPENED or _CLOSED. When no status came: VANTO_ERROR_UNIT
 * (the unit cannot be reached, or gave no drawer answer); resilient, VANTO_ERROR_CONNECTION_LOST
 * when the unit closed the connection or said nothing in time; classic, VANTO_ERROR_FATAL when
 * it closed the connection. */
VANTO_API vanto_status vanto_cash_drawer_status(vanto_t* vanto, int64_t* status);
/* With validate non-zero, blocks to read the drawer (failing as vanto_cash_drawer_status does)
 * and queues the open pulse only when it reads closed; a failed read sends nothing.
 * *pulse_sent is 1 when the pulse was handed to the connection's queue. Nothing confirms that
 * it reached the unit (it is dropped after five failed attempts) or that the drawer moved: read
 * the drawer's status to know. */
VANTO_API vanto_status vanto_open_cash_drawer(vanto_t* vanto, int validate, int* pulse_sent);
/* Sent without waiting; the unit does not confirm LED, light or USB requests. */
VANTO_API vanto_status vanto_set_diagnostic_led(vanto_t* vanto, int64_t position, int64_t colour);
VANTO_API vanto_status vanto_set_cosmetic_led(vanto_t* vanto, int64_t colour);
VANTO_API vanto_status vanto_enable_usb(vanto_t* vanto);
VANTO_API vanto_status vanto_disable_usb(vanto_t* vanto);
/* Blocks. *busy is 0 only when the printer reports itself ready; a printer that cannot be
 * asked counts as busy. Classic: VANTO_ERROR_FATAL when the unit closed the connection instead
 * of answering. */
VANTO_API vanto_status vanto_printer_busy(vanto_t* vanto, int* busy);

/* What a print reports, and where. Start from VANTO_PRINT_CALLBACKS_INIT; any pointer may be
 * NULL. The library copies the struct: it need not outlive vanto_print(); only `user` must.
 * - on_started(user, address): the printer was found free and sending begins.
 * - on_completed(user, address): resilient, every packet was acknowledged and the end of the
 *   job went out. Classic, only that the connection's work queue got through the receipt's last
 *   message, NOT that the unit took them: on_report says that.
 * - on_error(user, status, description): the receipt did not reach the printer whole.
 *   VANTO_ERROR_PRINTER_NOT_RESPONDING: the queue gave up waiting for the printer and nothing
 *   was sent. Resilient only: VANTO_ERROR_CONNECTION_LOST, an answer was lost while it was sent
 *   (part of it may be on paper); VANTO_ERROR_UNIT, sending failed otherwise (the description
 *   says how); VANTO_ERROR_CANCELLED, withdrawn by vanto_cancel() or vanto_free().
 * - on_report(user, report): the delivery report, right after on_completed or on_error, on the
 *   same thread. It is the last call for the receipt. The report is the library's, of the size
 *   its struct_size gives, valid while the call runs.
 * Threads. Resilient: the facade's own queue thread; for a cancelled receipt, the thread that
 * called vanto_cancel() or vanto_free(), before that call returns. Classic: on_started, on_error
 * and a given-up receipt's on_report on the printer queue's timer thread (one for the whole
 * process), on_completed and its on_report on the connection's work queue thread.
 * Callbacks must return quickly, and must never wait: printing waits while they run, so a
 * callback that waits for printing (vanto_print_and_wait, a blocking call to the unit, a wait
 * for the emulated unit) waits for ever. vanto_print() and vanto_cancel() may be called from
 * them (classic: queue the next receipt from on_report only when this one was sent,
 * report->packets_sent > 0; after a receipt the queue gave up on, queue the next from a thread
 * of your own a moment later; see "Printing many receipts" in docs/cpp.md).
 * `user` must stay valid until the receipt's last call has returned: on_report when it is set,
 * otherwise on_completed or on_error. Resilient: that call always comes, at the latest before
 * vanto_free() returns. Classic: a unit that accepts a packet and never answers holds the
 * library's read for ever: then no last call comes, and `user` must stay valid for the life of
 * the process. */
typedef struct vanto_print_callbacks {
    size_t struct_size; /* set by VANTO_PRINT_CALLBACKS_INIT; see "Conventions" */
    void* user;
    void (*on_started)(void* user, const char* address);
    void (*on_completed)(void* user, const char* address);
    void (*on_error)(void* user, vanto_status status, const char* description);
    void (*on_report)(void* user, const vanto_delivery_report* report);
} vanto_print_callbacks;

#define VANTO_PRINT_CALLBACKS_INIT \
    { sizeof(vanto_print_callbacks), NULL, NULL, NULL, NULL, NULL }

/* Queues the receipt and returns at once. callbacks may be NULL. *receipt_id (may be NULL)
 * receives the id the report will carry.
 * - Resilient: the receipt is composed now (lines added to it afterwards are not printed) and
 *   goes to the facade's own queue. A receipt submitted to an idle queue is sent at once; the
 *   others follow one at a time, in the order they were queued, each polling the printer every
 *   2 s while it is busy. Polls count for their own receipt only, so a burst prints whole.
 * - Classic: the queue keeps the receipt object itself until it composes it, so a line added in
 *   between is printed. One queue serves the process: a poll 0.1 s later, then every 2 s while
 *   receipts wait. It counts unavailable polls across receipts, so submit one receipt at a time
 *   (the next when the previous one has its report): a burst loses some, and can end the process
 *   (see "Printing many receipts" in docs/cpp.md). */
VANTO_API vanto_status vanto_print(vanto_t* vanto, vanto_receipt_t* receipt,
                                   const vanto_print_callbacks* callbacks, uint64_t* receipt_id);

/* vanto_print() and a wait for the receipt's report, at most timeout_ms milliseconds (a
 * negative value waits for ever). *report (may be NULL; start it from
 * VANTO_DELIVERY_REPORT_INIT) is filled whenever the report came. Returns VANTO_OK only when
 * every packet was acknowledged; VANTO_ERROR_NOT_DELIVERED when the receipt went out but not
 * whole; VANTO_ERROR_PRINTER_NOT_RESPONDING when the queue gave up waiting for the printer;
 * resilient, VANTO_ERROR_CONNECTION_LOST when an answer was lost while it was sent (part of it
 * may be on paper) and VANTO_ERROR_CANCELLED when another thread withdrew it;
 * VANTO_ERROR_TIMEOUT when no report came in time (the receipt may still print later). */
VANTO_API vanto_status vanto_print_and_wait(vanto_t* vanto, vanto_receipt_t* receipt,
                                            int64_t timeout_ms, vanto_delivery_report* report);

/* Resilient: withdraws a receipt that is still waiting to be sent (its printer may be busy).
 * *cancelled is 1 when it was withdrawn: its on_error (VANTO_ERROR_CANCELLED) and its report
 * (cancelled = 1) have run on this thread by the time this returns, and nothing of it is on
 * paper. 0 when it is no longer waiting (being sent, done, or never queued here).
 * Classic: always 0; the classic queue cannot withdraw a receipt. */
VANTO_API vanto_status vanto_cancel(vanto_t* vanto, uint64_t receipt_id, int* cancelled);
/* Receipts queued and not yet being sent: the facade's own (classic: those of the whole
 * process). */
VANTO_API vanto_status vanto_waiting_receipts(vanto_t* vanto, size_t* waiting);

/* Classic profile: the library's diagnostic lines ("Printer started", ...) go to standard output
 * unless a sink is set: then each line (without its newline) goes to sink(user, line), one at a
 * time, from whichever thread wrote it, under the library's console lock: the sink must not
 * call this API. NULL restores standard output. It is one setting for the whole process. A
 * resilient facade's lines never come here: they go to its vanto_options log. */
VANTO_API vanto_status vanto_set_console(void (*sink)(void* user, const char* line), void* user);

/* ---------------------------------------------------------------------------------------------
 * The emulated unit
 *
 * A software Vanto unit in this process, for tests, demos and development: it answers the
 * library as the hub does and draws every receipt it prints. It listens on 127.0.0.1 unless
 * told otherwise.
 */

typedef struct vanto_emulator vanto_emulator_t;

/* Printer states and reply modes of the emulated unit. */
#define VANTO_EMULATOR_PRINTER_READY 0
#define VANTO_EMULATOR_PRINTER_NOT_READY                                                     \
    1                                  /* status polls answer "not ready"; data still prints \
                                        */
#define VANTO_EMULATOR_PRINTER_ERROR 2 /* "not ready" with the error flag; data is refused */
#define VANTO_EMULATOR_REPLY_NORMAL 0
#define VANTO_EMULATOR_REPLY_SILENT 1       /* reads everything, answers nothing */
#define VANTO_EMULATOR_REPLY_UNRECOGNISED 2 /* answers with a frame nobody understands */

/* bind NULL: "127.0.0.1"; port 0: a free port (read it with vanto_emulator_port); out_dir NULL:
 * nothing is written to disk, otherwise each receipt's PNG and text and an event log go there.
 * Not started yet. */
VANTO_API vanto_status vanto_emulator_create(const char* bind, int32_t port, const char* out_dir,
                                             vanto_emulator_t** emulator);
/* VANTO_ERROR_IO when the address cannot be bound. */
VANTO_API vanto_status vanto_emulator_start(vanto_emulator_t* emulator);
/* Closes every connection. Stop it only when no receipt is being sent to it: a unit that closes
 * a connection while the library waits for its answer ends the library's process. */
VANTO_API vanto_status vanto_emulator_stop(vanto_emulator_t* emulator);
/* Stops the unit if it runs. */
VANTO_API void vanto_emulator_free(vanto_emulator_t* emulator);
VANTO_API vanto_status vanto_emulator_port(const vanto_emulator_t* emulator, int32_t* port);

/* Faults, all off by default, changeable while the unit runs. */
VANTO_API vanto_status vanto_emulator_set_printer_state(vanto_emulator_t* emulator, int32_t state);
/* The next `polls` status polls answer "not ready". */
VANTO_API vanto_status vanto_emulator_set_printer_not_ready_polls(vanto_emulator_t* emulator,
                                                                  int32_t polls);
/* The next `packets` print packets are refused while status polls still answer ready. */
VANTO_API vanto_status vanto_emulator_set_printer_error(vanto_emulator_t* emulator,
                                                        int32_t packets);
VANTO_API vanto_status vanto_emulator_set_reply_mode(vanto_emulator_t* emulator, int32_t mode);
/* The next `replies` replies carry a wrong check value. */
VANTO_API vanto_status vanto_emulator_corrupt_next_replies(vanto_emulator_t* emulator,
                                                           int32_t replies);
VANTO_API vanto_status vanto_emulator_set_reply_delay(vanto_emulator_t* emulator, int64_t delay_ms);
/* Non-zero: every connection is closed as soon as it is accepted. */
VANTO_API vanto_status vanto_emulator_set_refuse_connections(vanto_emulator_t* emulator,
                                                             int refuse);
/* The next `connections` connections that carry a request are closed as soon as the request
 * has been read, without an answer, as when the Wi-Fi drops: the request took effect (a print
 * packet is kept in its job), only the answer is lost. */
VANTO_API vanto_status vanto_emulator_drop_next_connections(vanto_emulator_t* emulator,
                                                            int32_t connections);
/* A reboot of the unit: every open connection is closed at once, connects are refused for
 * `downtime_ms`, then the unit listens again on the same address and port. A print job cut off
 * by it goes on paper at once, marked incomplete; LEDs, lights, USB power, the drawer, the faults
 * and the receipts stay as they were. Returns without waiting for the downtime; a restart during
 * it starts the downtime afresh. VANTO_ERROR_INVALID when the unit is not started. The classic
 * profile ends the process when a unit closes the connection while it waits for an answer, so
 * restart only a unit no receipt is being sent to, unless the client copes with that. */
VANTO_API vanto_status vanto_emulator_restart(vanto_emulator_t* emulator, int64_t downtime_ms);
/* Milliseconds until an opened drawer closes by itself (default 5000; 0: stays open). */
VANTO_API vanto_status vanto_emulator_set_drawer_close_after(vanto_emulator_t* emulator,
                                                             int64_t after_ms);
VANTO_API vanto_status vanto_emulator_open_drawer(vanto_emulator_t* emulator);
VANTO_API vanto_status vanto_emulator_close_drawer(vanto_emulator_t* emulator);

/* What the unit shows. */
VANTO_API vanto_status vanto_emulator_drawer_open(const vanto_emulator_t* emulator, int* open);
/* The colour (VANTO_LED_*) of the LED at a diagnostic position. */
VANTO_API vanto_status vanto_emulator_diagnostic_led(const vanto_emulator_t* emulator,
                                                     int64_t position, int64_t* colour);
VANTO_API vanto_status vanto_emulator_cosmetic_colour(const vanto_emulator_t* emulator,
                                                      int64_t* colour);
VANTO_API vanto_status vanto_emulator_usb_power(const vanto_emulator_t* emulator, int* on);
/* Everything the unit received and did, as JSON lines (the newest few thousand events). Free
 * *jsonl with vanto_string_free(). */
VANTO_API vanto_status vanto_emulator_events(const vanto_emulator_t* emulator, char** jsonl);

/* Receipts are numbered 1, 2, 3, ... as they come off the paper. */
VANTO_API vanto_status vanto_emulator_receipt_count(const vanto_emulator_t* emulator,
                                                    int64_t* count);
/* Waits until `count` receipts have been printed since the unit was made; a negative timeout
 * waits for ever. */
VANTO_API vanto_status vanto_emulator_wait_for_receipts(const vanto_emulator_t* emulator,
                                                        int64_t count, int64_t timeout_ms);
/* A receipt's paper as text (free with vanto_string_free) and as a PNG (free with
 * vanto_bytes_free). The unit keeps the last 64 receipts' text and the last 16 pictures in
 * memory; older pictures are read from out_dir when one was given. *complete is 1 when the job's
 * packets arrived from one sender with unbroken tags from the first on and an end-of-job message
 * closed them. It cannot tell that the sender meant to send more: a client that gives up on a
 * receipt and then sends the end of the job leaves a complete-looking job of what it sent. */
VANTO_API vanto_status vanto_emulator_receipt_text(const vanto_emulator_t* emulator,
                                                   int64_t number, char** text);
VANTO_API vanto_status vanto_emulator_receipt_png(const vanto_emulator_t* emulator,
                                                  int64_t number, uint8_t** png, size_t* size);
VANTO_API vanto_status vanto_emulator_receipt_complete(const vanto_emulator_t* emulator,
                                                       int64_t number, int* complete);

#ifdef __cplusplus
}
#endif

#endif /* VANTOCONNECT_VANTO_H */
