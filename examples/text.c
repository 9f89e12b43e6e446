/* text FILE: the text of every record in a file of unknown bytes, and on standard error where it is damaged. */
#include <fcntl.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <tavi_ffdc.h>

/* Nothing that the area holds is trusted, and the library allocates nothing. */
static void print_records(const char *area, size_t size) {
    static char text[DD_FFDC_RENDER_ROOM]; /* holds the text of any record */
    struct dd_ffdc_cursor at = {0};
    int step;
    while ((step = dd_ffdc_next(area, size, &at)) != DD_FFDC_END) {
        if (step == DD_FFDC_RECORD) {
            const struct dd_ffdc_hdr *record = (const void *)(area + at.offset);
            dd_ffdc_render(record, at.next - at.offset, text, sizeof text, NULL);
            fputs(text, stdout);
        } else {
            fprintf(stderr, "damaged: bytes %zu to %zu\n", at.offset, at.next);
        }
    }
}

int main(int argc, char **argv) {
    const char *area = "";
    struct stat info;
    int file;
    if (argc != 2) {
        fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    file = open(argv[1], O_RDONLY);
    if (file < 0 || fstat(file, &info) != 0) {
        perror(argv[1]);
        return 2;
    }
    if (info.st_size > 0) area = mmap(NULL, (size_t)info.st_size, PROT_READ, MAP_PRIVATE, file, 0);
    if (area == MAP_FAILED) {
        perror(argv[1]);
        return 2;
    }
    print_records(area, (size_t)info.st_size);
    if (fflush(stdout) != 0) {
        perror("standard output");
        return 2;
    }
    return 0;
}
