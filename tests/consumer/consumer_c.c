/* The C API from another CMake project through find_package: the target vantoconnect::c gives
 * the header and the shared library. Composes a receipt without touching the network. */
#include <stdio.h>

#include "vantoconnect/vanto.h"

int main(void) {
    vanto_receipt_t* receipt = NULL;
    uint8_t* bytes = NULL;
    size_t size = 0;
    int ok = vanto_receipt_create(&receipt) == VANTO_OK &&
             vanto_receipt_add_text(receipt, "Hello", VANTO_TEXT_STYLE_BOLD, VANTO_TEXT_SIZE_NORMAL,
                                    VANTO_TEXT_POSITION_CENTER) == VANTO_OK &&
             vanto_receipt_add_feed(receipt, -1) == VANTO_ERROR_INVALID &&
             vanto_receipt_compose(receipt, &bytes, &size) == VANTO_OK && size > 4 &&
             bytes[size - 2] == 0x1B && bytes[size - 1] == 0x69;
    vanto_bytes_free(bytes);
    vanto_receipt_free(receipt);
    printf("%s\n", ok ? "ok" : "unexpected");
    return 0;
}
