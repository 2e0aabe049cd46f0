/*
 * shm_structs.h: the pod channel, byte for byte, for the driver and for the authors of pod proxies.
 *
 * The driver never opens a pod. A proxy process owns the pods, publishes them in one device table
 * and executes batches of encoded controller accesses that the driver leaves in the pod's block.
 * This header stands on its own (C11 or C++20): layouts, object names, command codes, batch words.
 *
 * One exchange: the driver writes its arguments and `cmd`, posts the start semaphore once; the
 * proxy executes, writes `status`, posts the complete semaphore once. One exchange is outstanding
 * per pod. All fields are little-endian and naturally aligned.
 *
 * A new block. A proxy gives a pod's block out zeroed, `data` included, also where it takes an old
 * object over, and leaves the upper half of `data` alone from then on. The driver keeps a note
 * there of an answer that is owed to a host that gave up; a note from an earlier life of the block
 * would have the next host wait for an answer that nobody makes.
 *
 * Being fast. A host makes one exchange after the other, each as short as the proxy lets it be.
 *   - After an answer look at the start semaphore for a while before sleeping in sem_wait: some ten
 *     microseconds while the next command comes within them, not at all after a few times in vain,
 *     and never without an end: an idle proxy must cost nothing.
 *   - Give the thread that serves a pod a short slice (sched_setattr(2), SCHED_OTHER, sched_runtime
 *     100000 ns, from Linux 6.12 on), so that it is let in at once on a busy machine.
 *   - Copy the batch once, bounded, and work on the copy. A long shift is a run of equal steps: a
 *     wait, a write of port 23, a read of port 22, or two or one of these, in that order, with a
 *     marker behind every 2048 reads. It can be carried out as one shift.
 *   - Put the words read at the start of the in-block, where they are still near the processor.
 */
#ifndef SHM_STRUCTS_H
#define SHM_STRUCTS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define SHM_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define SHM_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/* ---- named objects, permission bits 0666 ------------------------------------------------------
 */

/* Semaphore, initial value 1, made by the proxy: held while a host chooses a pod. */
#define SHM_GLOBAL_MUTEX_NAME "/talvor_proxy_gbl_sem_object"
/* Shared memory, exactly sizeof(gbl_shm) bytes, made by the proxy. */
#define SHM_DEVICE_TABLE_NAME "/talvor_proxy_gbl_shm_object"
/* A proxy holds an exclusive flock on this file while it lives, with its process id as the text,
 * and removes it with the other objects: who gets the lock finds only stale objects. */
#define SHM_OWNER_LOCK_PATH "/dev/shm/talvor_proxy_gbl_owner.lock"
/* printf format of a pod's block as our proxy names it; a driver takes the table's name. */
#define SHM_POD_BLOCK_FORMAT "/talvor_lcl_shm_%06lu"
/* printf formats of a pod's two semaphores, initial value 0, made by whoever comes first; the
 * argument is devSN as an unsigned long. */
#define SHM_START_SEM_FORMAT "talvor_lcl_s_s_%06lu"
#define SHM_COMPLETE_SEM_FORMAT "talvor_lcl_s_c_%06lu"
/* Room for either name: the prefix, up to 10 digits, the NUL. */
#define SHM_SEM_NAME_SIZE 32
/* Permission bits of every object. */
#define SHM_OBJECT_MODE 0666

/* ---- device table -----------------------------------------------------------------------------
 */

#define SHM_DEVICE_RECORDS 128
#define SHM_POD_NAME_SIZE 64

/* One attached pod. */
typedef struct gbl_shm_record {
    uint16_t recUsed; /* non-zero: the record is valid; the proxy sets it last */
    uint16_t devRev;  /* pod hardware revision: major in the high byte */
    uint32_t devSN;   /* serial number */
    uint32_t nBus;    /* USB bus number; the driver does not read it */
    uint32_t nDev;    /* USB device address; the driver does not read it */
    char lcl_shm_name[SHM_POD_NAME_SIZE]; /* NUL-terminated name of the pod's block */
} gbl_shm_record;

/* The device table; read under the global mutex. */
typedef struct gbl_shm {
    uint32_t max_instances; /* number of leading records to look at */
    gbl_shm_record devs[SHM_DEVICE_RECORDS];
} gbl_shm;

/* ---- pod block --------------------------------------------------------------------------------
 */

#define SHM_BLOCK_WORDS 131072

/* One pod's block. Of the batch fields (16 to 35) the driver moves all while it queues; the proxy
 * leaves an empty batch on attach and after every SHM_CMD_EXECUTE, failed ones included. */
typedef struct lcl_shm {
    uint32_t cmd;      /* SHM_CMD_... */
    uint32_t data;     /* argument of SHM_CMD_SUPPORT_WRITE, low 16 bits; the rest is the driver's,
                          and 0 in a new block */
    int32_t status;    /* negative: failure; of an executed batch: byte offset in tbcIMblock just
                          past the last word read, 0 when it read nothing */
    uint32_t exit_req; /* the proxy's own */
    uint32_t tbcMblockPtr;                /* words queued in tbcOMblock: the next free index */
    uint32_t useZeroOfs;                  /* 1 once a read-count marker has been closed */
    uint32_t lastWCNTR;                   /* index in tbcOMblock of the open read-count marker */
    uint32_t rdCntrLcl;                   /* reads queued since the open marker, 0 to 2047 */
    uint32_t rdCntrGbl;                   /* reads queued in the whole batch */
    uint16_t tbcOMblock[SHM_BLOCK_WORDS]; /* out-block: the encoded accesses */
    uint16_t tbcIMblock[SHM_BLOCK_WORDS]; /* in-block: the words read */
    uint32_t devRev;                      /* pod revision; the driver takes the table's instead */
} lcl_shm;

/* Commands in lcl_shm.cmd. */
#define SHM_CMD_ATTACH 0u        /* attach this instance; empties the batch */
#define SHM_CMD_DETACH 1u        /* detach */
#define SHM_CMD_SUPPORT_WRITE 2u /* write `data` to the pod's support register */
#define SHM_CMD_EXECUTE 3u       /* execute the tbcMblockPtr words of tbcOMblock */

/* ---- batch words ------------------------------------------------------------------------------
 */

/* A register write: the port ORed with SHM_WORD_WRITE, then the value. A read: the port alone.
 * Words with SHM_WORD_CONTROL set are for the proxy itself: waits and read-count markers. */
#define SHM_WORD_CONTROL 0x8000u
#define SHM_WORD_WRITE 0x4000u
#define SHM_WORD_PORT_MASK 0x001Fu

/* Index 0 of an empty batch. */
#define SHM_WORD_RESERVED 0x8000u
/* A read-count marker: opened with 0, and patched to SHM_MARKER_FULL when a run of
 * SHM_MARKER_READS reads is complete; a new one follows then. */
#define SHM_MARKER_OPEN 0xC000u
#define SHM_MARKER_FULL 0xC7FFu
#define SHM_MARKER_READS 2048u

/* Waits for a data-buffer condition. */
#define SHM_WAIT_WRITE_ONE 0x8012u  /* room to send one word */
#define SHM_WAIT_WRITE_MANY 0x8412u /* room to send many words */
#define SHM_WAIT_READ_ONE 0x8812u   /* one word received */
#define SHM_WAIT_READ_MANY 0x8C12u  /* many words received */
/* Waits until the controller has finished its operation. */
#define SHM_WAIT_DONE 0x9011u

/* An empty batch: the reserved word and an open marker, nothing else. */
#define SHM_EMPTY_BATCH_WORDS 2u
#define SHM_EMPTY_MARKER_INDEX 1u
/* The driver takes a batch of fewer words than this for empty. */
#define SHM_BATCH_MINIMUM 3u

SHM_STATIC_ASSERT(offsetof(gbl_shm_record, recUsed) == 0, "gbl_shm_record.recUsed");
SHM_STATIC_ASSERT(offsetof(gbl_shm_record, devRev) == 2, "gbl_shm_record.devRev");
SHM_STATIC_ASSERT(offsetof(gbl_shm_record, devSN) == 4, "gbl_shm_record.devSN");
SHM_STATIC_ASSERT(offsetof(gbl_shm_record, nBus) == 8, "gbl_shm_record.nBus");
SHM_STATIC_ASSERT(offsetof(gbl_shm_record, nDev) == 12, "gbl_shm_record.nDev");
SHM_STATIC_ASSERT(offsetof(gbl_shm_record, lcl_shm_name) == 16, "gbl_shm_record.lcl_shm_name");
SHM_STATIC_ASSERT(sizeof(gbl_shm_record) == 80, "gbl_shm_record");
SHM_STATIC_ASSERT(offsetof(gbl_shm, max_instances) == 0, "gbl_shm.max_instances");
SHM_STATIC_ASSERT(offsetof(gbl_shm, devs) == 4, "gbl_shm.devs");
SHM_STATIC_ASSERT(sizeof(gbl_shm) == 10244, "gbl_shm");
SHM_STATIC_ASSERT(offsetof(lcl_shm, cmd) == 0, "lcl_shm.cmd");
SHM_STATIC_ASSERT(offsetof(lcl_shm, data) == 4, "lcl_shm.data");
SHM_STATIC_ASSERT(offsetof(lcl_shm, status) == 8, "lcl_shm.status");
SHM_STATIC_ASSERT(offsetof(lcl_shm, exit_req) == 12, "lcl_shm.exit_req");
SHM_STATIC_ASSERT(offsetof(lcl_shm, tbcMblockPtr) == 16, "lcl_shm.tbcMblockPtr");
SHM_STATIC_ASSERT(offsetof(lcl_shm, useZeroOfs) == 20, "lcl_shm.useZeroOfs");
SHM_STATIC_ASSERT(offsetof(lcl_shm, lastWCNTR) == 24, "lcl_shm.lastWCNTR");
SHM_STATIC_ASSERT(offsetof(lcl_shm, rdCntrLcl) == 28, "lcl_shm.rdCntrLcl");
SHM_STATIC_ASSERT(offsetof(lcl_shm, rdCntrGbl) == 32, "lcl_shm.rdCntrGbl");
SHM_STATIC_ASSERT(offsetof(lcl_shm, tbcOMblock) == 36, "lcl_shm.tbcOMblock");
SHM_STATIC_ASSERT(offsetof(lcl_shm, tbcIMblock) == 262180, "lcl_shm.tbcIMblock");
SHM_STATIC_ASSERT(offsetof(lcl_shm, devRev) == 524324, "lcl_shm.devRev");
SHM_STATIC_ASSERT(sizeof(lcl_shm) == 524328, "lcl_shm");

#endif /* SHM_STRUCTS_H */
