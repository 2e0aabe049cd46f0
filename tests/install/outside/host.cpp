// A host in C++, linked with the driver.
#include "first_idcode.h"

#include <cstdio>
#include <talvor/jsc_export.h>
#include <talvor/shm_structs.h>

int main() {
    uint32_t idcode = 0;
    const JTI_Error error = first_idcode(&idcode);
    std::printf("C++: %08x, code %d\n", idcode, error);
    return error != 0 ? 1 : 0;
}
