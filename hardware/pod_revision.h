/*
 * pod_revision.h: the generations of the pod, and what each of them has.
 *
 * A pod's revision has 16 bits: the major number in the high byte, the minor number in the low one.
 * The major number is the pod's generation, 1 to 4. A major number of 0 counts as the first
 * generation, one above 4 as a pod that has all that the fourth has. The one place that tells what
 * depends on it, for the driver and for the simulated pod; a revision is given as it stands, bits
 * above the 16 do not count. Stands on its own (C11 or C++20).
 */
#ifndef POD_REVISION_H
#define POD_REVISION_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
#define POD_REVISION_FUNCTION constexpr
#else
#define POD_REVISION_FUNCTION static inline
#endif

#define POD_REVISION_MAJOR_MASK 0xFF00
#define POD_REVISION_MINOR_MASK 0x00FF
#define POD_REVISION_MAJOR_SHIFT 8

/* The first revision of each generation. */
#define POD_REVISION_1 0x0100
#define POD_REVISION_2 0x0200
#define POD_REVISION_3 0x0300
#define POD_REVISION_4 0x0400

/* First minor number of generation 3 with the high bit of the voltage clamp. */
#define POD_REVISION_3_CLAMP_MINOR 2

#define POD_GENERATION_FIRST 1
#define POD_GENERATION_LAST 4

/* ---- the parts of a revision ------------------------------------------------------------------
 */

/* The major number, 0 to 255. */
POD_REVISION_FUNCTION uint32_t pod_revision_major(uint32_t revision) {
    return (revision & POD_REVISION_MAJOR_MASK) >> POD_REVISION_MAJOR_SHIFT;
}

/* The minor number, 0 to 255. */
POD_REVISION_FUNCTION uint32_t pod_revision_minor(uint32_t revision) {
    return revision & POD_REVISION_MINOR_MASK;
}

/* Whether a number, as a board file may give it, names a generation. */
POD_REVISION_FUNCTION bool pod_is_generation(uint32_t generation) {
    return generation >= POD_GENERATION_FIRST && generation <= POD_GENERATION_LAST;
}

/* Whether a pod is of the first generation. */
POD_REVISION_FUNCTION bool pod_is_first_generation(uint32_t revision) {
    return pod_revision_major(revision) <= POD_GENERATION_FIRST;
}

/* ---- registers and their bits -----------------------------------------------------------------
 */

/* The clock register's bits 14..12 are a clock exponent; bits 10..8 are the delay of the adaptive
 * clock on pods without one. */
POD_REVISION_FUNCTION bool pod_has_clock_exponent(uint32_t revision) {
    return !pod_is_first_generation(revision);
}

/* The pod has a timing register. */
POD_REVISION_FUNCTION bool pod_has_timing_register(uint32_t revision) {
    return !pod_is_first_generation(revision);
}

/* The pod has a pin register, and EMU pin modes in the timing register. */
POD_REVISION_FUNCTION bool pod_has_pin_register(uint32_t revision) {
    return pod_revision_major(revision) > 2;
}

/* The voltage clamp has a fifth, high bit. */
POD_REVISION_FUNCTION bool pod_has_high_clamp_bit(uint32_t revision) {
    return pod_revision_major(revision) > 3 ||
           (pod_revision_major(revision) == 3 &&
            pod_revision_minor(revision) >= POD_REVISION_3_CLAMP_MINOR);
}

/* The support register tells when the test clock is lost. */
POD_REVISION_FUNCTION bool pod_has_clock_lost_bit(uint32_t revision) {
    return !pod_is_first_generation(revision);
}

/* ---- behaviour --------------------------------------------------------------------------------
 */

/* The pod can wait for its data buffers by itself. */
POD_REVISION_FUNCTION bool pod_can_wait_for_buffers(uint32_t revision) {
    return !pod_is_first_generation(revision);
}

/* With a slow test clock the pod loses words, unless a settle delay follows each word sent. */
POD_REVISION_FUNCTION bool pod_needs_settled_words(uint32_t revision) {
    return pod_is_first_generation(revision);
}

/* The pod needs time, and a settle delay, after a pulse of the clear line. */
POD_REVISION_FUNCTION bool pod_needs_clear_recovery(uint32_t revision) {
    return pod_is_first_generation(revision);
}

#endif /* POD_REVISION_H */
