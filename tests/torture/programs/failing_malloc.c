/* Preloaded: the heap of one program refuses one request, or that one and every later one.
 *
 * TALVOR_MALLOC_PROGRAM  the program's name; every other program is left alone
 * TALVOR_MALLOC_FAIL     the request that is refused, from 1; 0: none
 * TALVOR_MALLOC_LASTING  when it is there: every later one too
 * TALVOR_MALLOC_REPORT   a file: gets "refused" when a request was, and at an orderly end "served
 * N"
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* block, size_t size);
extern void* __libc_memalign(size_t alignment, size_t size);

static long g_fail = -1; /* -1: not looked up yet; 0: none */
static int g_lasting;
static atomic_long g_requests;
static atomic_int g_refused;

static void report(const char* text) {
    const char* path = getenv("TALVOR_MALLOC_REPORT");
    const int fd = path == NULL ? -1 : open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd >= 0) {
        if (write(fd, text, strlen(text)) < 0) {
            _exit(99);
        }
        close(fd);
    }
}

static void look_up(void) {
    const char* program = getenv("TALVOR_MALLOC_PROGRAM");
    const char* fail = getenv("TALVOR_MALLOC_FAIL");
    const int ours = program != NULL && program_invocation_short_name != NULL &&
                     strcmp(program, program_invocation_short_name) == 0;
    g_lasting = getenv("TALVOR_MALLOC_LASTING") != NULL;
    g_fail = ours && fail != NULL ? atol(fail) : 0;
}

static int refuses(void) {
    if (g_fail < 0) {
        look_up();
    }
    const long request = atomic_fetch_add(&g_requests, 1) + 1;
    if (g_fail == 0 || request < g_fail || (request > g_fail && !g_lasting)) {
        return 0;
    }
    if (atomic_exchange(&g_refused, 1) == 0) {
        report("refused\n");
    }
    errno = ENOMEM;
    return 1;
}

void* malloc(size_t size) {
    return refuses() ? NULL : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    return refuses() ? NULL : __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
    return refuses() ? NULL : __libc_realloc(block, size);
}

void* memalign(size_t alignment, size_t size) {
    return refuses() ? NULL : __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
    return memalign(alignment, size);
}

int posix_memalign(void** block, size_t alignment, size_t size) {
    *block = memalign(alignment, size);
    return *block == NULL ? ENOMEM : 0;
}

__attribute__((destructor)) static void count(void) {
    const char* program = getenv("TALVOR_MALLOC_PROGRAM");
    if (program == NULL || strcmp(program, program_invocation_short_name) != 0) {
        return;
    }
    char text[40] = "served ";
    char digits[24];
    size_t length = 0;
    long rest = atomic_load(&g_requests);
    do {
        digits[length++] = (char)('0' + rest % 10);
        rest /= 10;
    } while (rest > 0);
    char* end = text + strlen(text);
    while (length > 0) {
        *end++ = digits[--length];
    }
    *end++ = '\n';
    *end = '\0';
    report(text);
}
