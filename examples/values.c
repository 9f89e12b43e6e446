/* values < FILE: every value of the records on standard input as CSV: where its bytes stand in the file, which of their
 * bits it is, its number and its text. */
#include <inttypes.h>
#include <stdio.h>
#include <tavi_ffdc.h>

static void put_text(const char *text, size_t length) {
    putchar('"');
    for (; length > 0; --length, ++text) {
        if (*text == '"') putchar('"');
        putchar(*text);
    }
    putchar('"');
}

struct place {
    const char *type;
    size_t offset;
};

static void put_value(void *context, const struct dd_ffdc_value *value) {
    const struct place *record = context;
    char buffer[DD_FFDC_VALUE_ROOM];
    size_t length;
    const char *text = dd_ffdc_value_text(value, buffer, &length);

    /* Keys hold nothing that CSV would have to quote. */
    printf("%zu,%s,%s%s%s", record->offset, record->type, value->group, *value->group ? "." : "", value->name);
    if (value->index >= 0) printf("[%d]", value->index);
    printf(",%zu,%" PRIu32 ",", record->offset + value->offset, value->size);
    if (value->mask == 0 || value->missing) /* no number, or not all of its bytes */
        printf(",,");
    else if (value->kind == DD_FFDC_UNSIGNED || value->kind == DD_FFDC_ADDRESS)
        printf("0x%" PRIx64 ",%" PRIu64 ",", value->mask, (uint64_t)value->number);
    else
        printf("0x%" PRIx64 ",%" PRId64 ",", value->mask, value->number);
    put_text(text, length);
    putchar('\n');
}

int main(void) {
    static char area[16 << 20];
    size_t size = fread(area, 1, sizeof area, stdin);
    struct dd_ffdc_cursor at = {0};
    int step;
    if (ferror(stdin) || getchar() != EOF) {
        fprintf(stderr, "expected a file of at most %zu bytes\n", sizeof area);
        return 2;
    }
    puts("record,type,key,offset,size,mask,number,text");
    while ((step = dd_ffdc_next(area, size, &at)) != DD_FFDC_END) {
        const struct dd_ffdc_hdr *record = (const void *)(area + at.offset);
        struct place place;
        if (step != DD_FFDC_RECORD) continue;
        place.offset = at.offset;
        place.type = dd_ffdc_type_name(record->type[0] << 8 | record->type[1]);
        if (place.type == NULL) place.type = "";
        dd_ffdc_values(record, at.next - at.offset, put_value, &place);
    }
    return fflush(stdout) == 0 ? 0 : 2;
}
