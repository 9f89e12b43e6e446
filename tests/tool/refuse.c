/* Loaded before a program (LD_PRELOAD), refuses it memory: REFUSE=7 the 7th request alone, REFUSE=7- that and all that
 * follow. At the end the number of requests goes to the file that REFUSE_COUNT names. */
#define _GNU_SOURCE
#include <errno.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static unsigned long requests, refused;
static int all_that_follow;

__attribute__((constructor)) static void begin(void) {
    const char* const text = getenv("REFUSE");
    char* end = NULL;
    refused = text ? strtoul(text, &end, 10) : 0;
    all_that_follow = end && *end == '-';
    requests = 0;
}

__attribute__((destructor)) static void tell(void) {
    const unsigned long n = requests;
    const char* const name = getenv("REFUSE_COUNT");
    refused = 0;
    FILE* const file = name ? fopen(name, "w") : NULL;
    if (!file) return;
    fprintf(file, "%lu", n);
    fclose(file);
}

static int refuses(void) {
    ++requests;
    if (!refused || (all_that_follow ? requests < refused : requests != refused)) return 0;
    errno = ENOMEM;
    return 1;
}

/* The allocator behind glibc's own names needs no dlsym, which asks for memory itself. */
extern void *__libc_malloc(size_t), *__libc_calloc(size_t, size_t), *__libc_realloc(void*, size_t),
    *__libc_memalign(size_t, size_t);

void* malloc(size_t size) { return refuses() ? NULL : __libc_malloc(size); }
void* calloc(size_t n, size_t size) { return refuses() ? NULL : __libc_calloc(n, size); }
void* realloc(void* old, size_t size) { return refuses() ? NULL : __libc_realloc(old, size); }
void* memalign(size_t alignment, size_t size) { return refuses() ? NULL : __libc_memalign(alignment, size); }
void* aligned_alloc(size_t alignment, size_t size) { return memalign(alignment, size); }
int posix_memalign(void** memory, size_t alignment, size_t size) {
    void* const made = memalign(alignment, size);
    if (!made) return ENOMEM;
    *memory = made;
    return 0;
}
