/* A host in C, linked with the driver. */
#include "first_idcode.h"

#include <stdio.h>
#include <talvor/jsc_export.h>
#include <talvor/shm_structs.h>

int main(void) {
    uint32_t idcode = 0;
    const JTI_Error error = first_idcode(&idcode);
    printf("C: %08x, code %d\n", (unsigned)idcode, (int)error);
    return error != 0;
}
