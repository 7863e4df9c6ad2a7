/* Prints one receipt through the C API and says whether the whole receipt reached the printer.
 *
 *   print_receipt [ADDRESS [PORT [PROFILE]]]
 *
 * ADDRESS and PORT default to 127.0.0.1 and 8080 (an emulated unit started with `vanto
 * emulate`). PROFILE is "resilient", the default, or "classic" for the C++ library's classic
 * behaviour, hazards included.
 *
 * Build it against the installed library:
 *   cc -std=c99 print_receipt.c $(pkg-config --cflags --libs vantoconnect-c) -o print_receipt
 *
 * Exit status 0 only when the unit acknowledged every packet of the receipt. */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vantoconnect/vanto.h"

/* Says what failed, in the library's words, and gives up. */
static int fail(const char* what, vanto_status status) {
    fprintf(stderr, "%s: %s (%s)\n", what, vanto_last_error(), vanto_status_name(status));
    return status == VANTO_ERROR_INVALID ? 2 : 1;
}

/* The library's diagnostic lines, kept apart from the program's own output. It runs on the
 * library's threads: it must not call the API. */
static void log_line(void* user, const char* line) {
    (void)user;
    fprintf(stderr, "vanto: %s\n", line);
}

int main(int argc, char** argv) {
    vanto_options options = VANTO_OPTIONS_INIT;
    vanto_t* vanto = NULL;
    vanto_receipt_t* receipt = NULL;
    vanto_delivery_report report = VANTO_DELIVERY_REPORT_INIT;
    char* summary = NULL;
    vanto_status status;
    int exit_code = 0;

    /* The resilient profile unless the classic one is asked for: every wait has a limit, and
     * whatever the unit does comes back as a status, never as the end of the process. */
    options.address = argc > 1 ? argv[1] : "127.0.0.1";
    options.port = argc > 2 ? (int32_t)atoi(argv[2]) : 8080;
    if (argc > 3 && strcmp(argv[3], "classic") == 0) {
        /* Its lines go to standard output; it takes no log. */
        options.profile = VANTO_PROFILE_CLASSIC;
    } else if (argc > 3 && strcmp(argv[3], "resilient") != 0) {
        fprintf(stderr, "profile: \"%s\" is neither resilient nor classic\n", argv[3]);
        return 2;
    } else {
        options.log = log_line;
    }

    /* Creating the facade opens nothing; every request connects anew. */
    if ((status = vanto_create_with(&options, &vanto)) != VANTO_OK) {
        exit_code = fail("unit", status);
        goto done;
    }

    /* Every line is checked as it is added: a line the printer cannot carry is refused here
     * with a reason, not on the printing thread. */
    if ((status = vanto_receipt_create(&receipt)) != VANTO_OK ||
        (status = vanto_receipt_add_text(receipt, "CORNER CAFE", VANTO_TEXT_STYLE_BOLD,
                                         VANTO_TEXT_SIZE_WIDE, VANTO_TEXT_POSITION_CENTER)) !=
            VANTO_OK ||
        /* Price lines keep the size of the last text line: go back to normal width first. */
        (status = vanto_receipt_add_text(receipt, "12 Harbour Street", VANTO_TEXT_STYLE_NONE,
                                         VANTO_TEXT_SIZE_NORMAL, VANTO_TEXT_POSITION_CENTER)) !=
            VANTO_OK ||
        (status = vanto_receipt_add_separator(receipt, "=")) != VANTO_OK ||
        (status = vanto_receipt_add_price(receipt, "Flat white", VANTO_TEXT_STYLE_NONE, "3.20",
                                          VANTO_TEXT_STYLE_NONE)) != VANTO_OK ||
        (status = vanto_receipt_add_price(receipt, "Croissant", VANTO_TEXT_STYLE_NONE, "2.50",
                                          VANTO_TEXT_STYLE_NONE)) != VANTO_OK ||
        (status = vanto_receipt_add_price(receipt, "TOTAL", VANTO_TEXT_STYLE_BOLD, "5.70",
                                          VANTO_TEXT_STYLE_BOLD)) != VANTO_OK ||
        (status = vanto_receipt_add_barcode(receipt, VANTO_BARCODE_TYPE_CODE39, "CAFE-0042",
                                            VANTO_BARCODE_HRI_BELOW,
                                            VANTO_BARCODE_HEIGHT_DEFAULT)) != VANTO_OK ||
        (status = vanto_receipt_set_cut_type(receipt, VANTO_CUT_TYPE_PARTIAL)) != VANTO_OK) {
        exit_code = fail("receipt", status);
        goto done;
    }

    /* Queues the receipt and waits up to two minutes for its delivery report. In the resilient
     * profile the report comes well within that: a busy printer is given up after a minute. */
    status = vanto_print_and_wait(vanto, receipt, 120000, &report);
    if (status != VANTO_OK) {
        exit_code = fail("not delivered", status);
        goto done;
    }
    if (vanto_delivery_report_summary(&report, &summary) == VANTO_OK) {
        /* The unit took every byte; whether the paper then jammed, no answer can tell. */
        printf("receipt %llu delivered: %s\n", (unsigned long long)report.receipt_id, summary);
    }

done:
    vanto_string_free(summary);
    vanto_receipt_free(receipt);
    vanto_free(vanto);
    return exit_code;
}
