/*
 * minimal_proxy: the least that a pod proxy does. It publishes one pod and carries out what hosts
 * leave in the pod's block; the pod itself is a model, minimal_pod.h. Ends with a signal.
 * docs/writing-a-pod-proxy.md explains it step by step.
 */
#define _GNU_SOURCE /* flock, posix_fallocate */

#include "minimal_pod.h"
#include "shm_structs.h"

#include <errno.h>
#include <fcntl.h>
#include <semaphore.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

static volatile sig_atomic_t ended;
static sem_t* start;

static void end(int signal) {
    (void)signal;
    ended = 1;
    sem_post(start); /* wakes the wait for the next command */
}

static void* must(bool done, const char* what, void* result) {
    if (!done) {
        perror(what);
        exit(1);
    }
    return result;
}

/* Shared memory, zeroed, that every user's host may open, whatever our umask is. */
static void* make_memory(const char* name, size_t size) {
    shm_unlink(name);
    const int fd = shm_open(name, O_RDWR | O_CREAT | O_EXCL, SHM_OBJECT_MODE);
    must(fd >= 0 && fchmod(fd, SHM_OBJECT_MODE) == 0 && posix_fallocate(fd, 0, (off_t)size) == 0,
         name, NULL);
    void* memory = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    return must(memory != MAP_FAILED, name, memory);
}

static sem_t* make_semaphore(const char* name, unsigned value) {
    const mode_t mask = umask(0);
    sem_unlink(name);
    sem_t* semaphore = sem_open(name, O_CREAT | O_EXCL, SHM_OBJECT_MODE, value);
    umask(mask);
    return must(semaphore != SEM_FAILED, name, semaphore);
}

/* One proxy a machine: a lock that dies with its process. */
static void own_the_channel(void) {
    const int fd = open(SHM_OWNER_LOCK_PATH, O_RDWR | O_CREAT | O_CLOEXEC, SHM_OBJECT_MODE);
    must(fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0, SHM_OWNER_LOCK_PATH, NULL);
    must(ftruncate(fd, 0) == 0 && dprintf(fd, "%d\n", (int)getpid()) > 0, SHM_OWNER_LOCK_PATH,
         NULL);
}

static void empty_batch(lcl_shm* block) {
    block->tbcOMblock[0] = SHM_WORD_RESERVED;
    block->tbcOMblock[SHM_EMPTY_MARKER_INDEX] = SHM_MARKER_OPEN;
    block->tbcMblockPtr = SHM_EMPTY_BATCH_WORDS;
    block->lastWCNTR = SHM_EMPTY_MARKER_INDEX;
    block->useZeroOfs = block->rdCntrLcl = block->rdCntrGbl = 0;
}

/* Carries out a batch; the status. The host could go on writing: the words are copied first. */
static int32_t execute(lcl_shm* block) {
    static uint16_t words[SHM_BLOCK_WORDS];
    const uint32_t count = block->tbcMblockPtr;
    uint32_t reads = 0;
    if (count < SHM_EMPTY_BATCH_WORDS || count > SHM_BLOCK_WORDS) {
        return -1;
    }
    memcpy(words, block->tbcOMblock, count * sizeof words[0]);
    for (uint32_t at = SHM_EMPTY_BATCH_WORDS; at < count; ++at) {
        const unsigned word = words[at];
        if ((word & SHM_WORD_CONTROL) != 0) {
            continue; /* waits, which this pod needs none of, and read-count markers */
        }
        if ((word & SHM_WORD_WRITE) == 0) {
            block->tbcIMblock[reads++] = pod_read(word & SHM_WORD_PORT_MASK);
        } else if (++at < count) {
            pod_write(word & SHM_WORD_PORT_MASK, words[at]);
        } else {
            return -1; /* a write without its value */
        }
    }
    return (int32_t)(reads * sizeof words[0]);
}

static int32_t carry_out(lcl_shm* block) {
    int32_t status = 0;
    switch (block->cmd) {
    case SHM_CMD_ATTACH: /* a fresh host takes the registers for 0 */
        memset(pod.registers, 0, sizeof pod.registers);
        pod.left = pod.queued = 0;
        empty_batch(block);
        return 0;
    case SHM_CMD_DETACH:
    case SHM_CMD_SUPPORT_WRITE:
        return 0;
    case SHM_CMD_EXECUTE:
        status = execute(block);
        empty_batch(block);
        return status;
    default:
        return -1;
    }
}

int main(void) {
    char block_name[SHM_POD_NAME_SIZE], start_name[SHM_SEM_NAME_SIZE], done_name[SHM_SEM_NAME_SIZE];
    snprintf(block_name, sizeof block_name, SHM_POD_BLOCK_FORMAT, (unsigned long)POD_SERIAL);
    snprintf(start_name, sizeof start_name, SHM_START_SEM_FORMAT, (unsigned long)POD_SERIAL);
    snprintf(done_name, sizeof done_name, SHM_COMPLETE_SEM_FORMAT, (unsigned long)POD_SERIAL);
    own_the_channel();
    lcl_shm* block = make_memory(block_name, sizeof *block);
    empty_batch(block);
    block->devRev = POD_REVISION;
    start = make_semaphore(start_name, 0);
    sem_t* done = make_semaphore(done_name, 0);
    signal(SIGINT, end);
    signal(SIGTERM, end);

    /* The mutex last: a host that finds it finds everything else. */
    gbl_shm* table = make_memory(SHM_DEVICE_TABLE_NAME, sizeof *table);
    gbl_shm_record* record = &table->devs[0];
    record->devRev = POD_REVISION;
    record->devSN = POD_SERIAL;
    memcpy(record->lcl_shm_name, block_name, sizeof block_name);
    table->max_instances = 1;
    __atomic_store_n(&record->recUsed, 1, __ATOMIC_RELEASE);
    make_semaphore(SHM_GLOBAL_MUTEX_NAME, 1);
    printf("serving pod %u\n", POD_SERIAL);
    fflush(stdout);

    while (!ended) {
        if (sem_wait(start) == 0 && !ended) {
            block->status = carry_out(block);
            sem_post(done);
        }
    }
    sem_unlink(SHM_GLOBAL_MUTEX_NAME);
    shm_unlink(SHM_DEVICE_TABLE_NAME);
    shm_unlink(block_name);
    sem_unlink(start_name);
    sem_unlink(done_name);
    return unlink(SHM_OWNER_LOCK_PATH) != 0;
}
