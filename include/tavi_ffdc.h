/* libtavi_ffdc: turns the First Failure Data Capture records of the service processor's device drivers into text and values.
 *
 * A record is a 42-byte header (struct dd_ffdc_hdr) and a payload that its driver laid out. Every multi-byte field is
 * big-endian and lies at any alignment. Records may lie end to end and form a chain.
 *
 * Conventions
 *  1. Ownership. The text that dd_ffdc_print returns belongs to the caller, who frees it. Every other pointer that the
 *     library hands out points into constant tables or into the caller's own memory.
 *  2. Room and counts. `room` is the number of bytes at `out`, the terminating NUL included. Nothing is ever written
 *     beyond it; the text is NUL-terminated whenever the room is at least 1 and there is any text. What is stored is
 *     the beginning of the text; raw dumps stop at whole lines. A count never includes the NUL.
 *  3. Errors. Negative errno values, or -1 with errno set, as each function says. Decoders never fail: whatever is
 *     wrong with a payload is said in the text.
 *  4. Trust. Pointers and lengths that the caller gives are trusted; no byte of a record is, except that
 *     dd_ffdc_get_chain, dd_ffdc_get_type and dd_ffdc_print take `size` and `chained` at their word: for bytes of unknown
 *     origin use dd_ffdc_next, dd_ffdc_find, dd_ffdc_render and dd_ffdc_values, which never look outside the bytes that
 *     they are given.
 *  5. Threads. No state: every function may run in any number of threads at once.
 *  6. Standard output. The decoders of FSI, SCAN and SCOM records write one trace line to it on each call, directly or
 *     through dd_ffdc_print. Nothing else in the library prints.
 */
#ifndef TAVI_FFDC_H
#define TAVI_FFDC_H

#include <stddef.h>
#include <stdint.h>

#define TAVI_FFDC_VERSION_MAJOR 1
#define TAVI_FFDC_VERSION_MINOR 1
#define TAVI_FFDC_VERSION_PATCH 0
#define TAVI_FFDC_VERSION "1.1.0"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#define TAVI_FFDC_PRINTF(text, arguments) __attribute__((__format__(__printf__, text, arguments)))
#else
#define TAVI_FFDC_PRINTF(text, arguments)
#endif

/* ---- Records ---- */

#define DD_FFDC_MAGIC 0xFFDCFFDCu
#define DD_FFDC_HEADER_SIZE 42

/* The header of a record: big-endian bytes at fixed offsets, 42 of them. The payload follows at once. */
struct dd_ffdc_hdr {
    uint8_t magic[4];        /* 0: DD_FFDC_MAGIC */
    uint8_t reserved[8];     /* 4: not read */
    uint8_t chained[4];      /* 12: not zero when another record follows this one */
    uint8_t head_version[4]; /* 16: signed; 1 is the only one defined */
    uint8_t pid[4];          /* 20: signed; task that captured the record */
    uint8_t type[2];         /* 24: FFDC_TYPE_... */
    uint8_t version[2];      /* 26: version of the payload's layout */
    uint8_t time[2][4];      /* 28: two words, shown but not interpreted */
    uint8_t size[2];         /* 36: bytes of the whole record, header included */
    uint8_t tgid[4];         /* 38: signed; thread group of that task */
};

enum {
    FFDC_TYPE_FSI = 1,
    FFDC_TYPE_PSI = 2,
    FFDC_TYPE_DMA = 3,
    FFDC_TYPE_HDMA = 4,
    FFDC_TYPE_MDMA = 5,
    FFDC_TYPE_IIC = 6,
    FFDC_TYPE_UART = 7,
    FFDC_TYPE_JTAG = 8,
    FFDC_TYPE_MBOX = 9,
    FFDC_TYPE_DIO = 10,
    FFDC_TYPE_SCAN = 11,
    FFDC_TYPE_SCOM = 12,
    FFDC_TYPE_TONE = 13,
    FFDC_TYPE_RTC = 15,
    FFDC_TYPE_SPAD = 16,
    FFDC_TYPE_IOMUX = 17,
    FFDC_TYPE_DRA = 18,
    FFDC_TYPE_USB = 19,
    FFDC_TYPE_8250 = 20,
    FFDC_TYPE_RS485 = 21,
    FFDC_TYPE_ALERT = 22,
    FFDC_TYPE_KOR_PORT = 23,
    FFDC_TYPE_TAM_PORT = 24,
    FFDC_TYPE_WEX_PORT = 25,
    FFDC_TYPE_DPSS = 26,
    FFDC_TYPE_MTDCRAM = 27
};

/* Bytes of the record, header included (0 to 65535), or -22 (EINVAL) for a null or wrong-magic record. */
int dd_ffdc_chain_size(const struct dd_ffdc_hdr *record);

/* Stores where the payload begins (record + 42) and its length in bytes (`size` - 42; negative when `size` is below 42).
 * Tests nothing: the record and both outputs must be valid. */
void dd_ffdc_driver_data(const struct dd_ffdc_hdr *record, const void **payload, int32_t *length);

/* One step of a walk along a chain. Set *cursor to null to begin; the first call yields the head, each later one the
 * next record, and the call after the last one null.
 * Returns 0 on every step, or -1 with errno EINVAL, *cursor untouched, when the head is null or has the wrong magic.
 * The chain is trusted: only the head's magic is tested. A record whose `size` is below 42 ends the walk. */
int dd_ffdc_get_chain(const struct dd_ffdc_hdr *head, const struct dd_ffdc_hdr **cursor);

/* Stores the first record of the chain that has the type, or null, through `found`.
 * Returns 0, or -1 with errno EINVAL when the head is null or has the wrong magic. */
int dd_ffdc_get_type(const struct dd_ffdc_hdr *head, int32_t type, const struct dd_ffdc_hdr **found);

/* ---- Text ---- */

/* Renders a record as a newly allocated text: two lines of header, a line with the type, the decoded payload.
 * `ignored` has no effect. Returns the length of the text in characters and stores the text, which the caller frees,
 * through `text`. Returns -22 (EINVAL) for a null or wrong-magic record or a null `text`: `text` is then untouched. Returns -12
 * (ENOMEM) when memory is refused: `text` is untouched when it was the work buffer, and holds null when it was the text itself.
 * A SCAN or SCOM record with an FSI block takes 32 KiB more meanwhile; refused, it shows "fsidata len 0" and no FSI text,
 * and all else is as ever. A text that passes 32 KiB, as only those with a long raw dump do, is cut: the dump
 * at a whole line, and what follows the dump (IIC) at any character. */
int dd_ffdc_print(const struct dd_ffdc_hdr *record, int32_t ignored, char **text);

/* Write the two lines of the header text at `out`, and return their length. 174 bytes of room hold them in any case; nothing is
 * written behind their NUL. print_header puts a notice of two lines before them when the header version is not 1. */
int print_header(const struct dd_ffdc_hdr *record, char *out);
int print_header_v1(const struct dd_ffdc_hdr *record, char *out);

/* What became of a payload. */
enum dd_ffdc_state {
    DD_FFDC_OK,
    DD_FFDC_SHORT,           /* the payload ends before its layout does: some values are missing */
    DD_FFDC_SIZE_MISMATCH,   /* the decoder wants an exact length and shows a dump instead */
    DD_FFDC_UNKNOWN_VERSION, /* no layout for the payload's version */
    DD_FFDC_UNKNOWN_TYPE     /* no decoder for the type */
};

/* Renders a record, of which `there` bytes exist, as dd_ffdc_print does, but into the caller's buffer, without heap and
 * without trace lines, and with whole dumps where the room allows. A payload that ends early counts as a short one.
 * Returns the number of characters stored, or -22 (EINVAL) when the record is null, has the wrong magic or less than
 * a header. An enum dd_ffdc_state goes through `state`, which may be null. DD_FFDC_RENDER_ROOM bytes of room hold the
 * text of any record. */
#define DD_FFDC_RENDER_ROOM (384 * 1024)
int dd_ffdc_render(const struct dd_ffdc_hdr *record, size_t there, char *out, int room, enum dd_ffdc_state *state);

/* ---- Bytes of unknown origin ---- */

/* Where a walk through an area stands. Set all to zero to begin, or `next` to where to begin. */
struct dd_ffdc_cursor {
    size_t offset; /* of this record, or of the damage */
    size_t next;   /* behind its last byte, where the walk goes on */
    int chained;   /* not zero when this record says that another one follows */
};

enum dd_ffdc_step {
    DD_FFDC_END = 0,       /* the area ends here, as it should */
    DD_FFDC_RECORD = 1,    /* a record, whole */
    DD_FFDC_NO_MAGIC = -1, /* no record: the magic is missing */
    DD_FFDC_BAD_SIZE = -2, /* the record's size is less than a header */
    DD_FFDC_CUT = -3,      /* the area ends, or another record begins, before this record or its header does */
    DD_FFDC_NO_NEXT = -4   /* the last record says that another one follows, but the area ends */
};

/* One step through an area of `size` bytes that holds one chain or several end to end: bytes `offset` to `next` of the
 * cursor are a record (DD_FFDC_RECORD) or damage (a negative result). The steps until DD_FFDC_END tile the area: each
 * byte is part of exactly one; only that of DD_FFDC_NO_NEXT has none. Damage reaches to the next plausible record (see
 * dd_ffdc_find) or to the end of the area. Nothing outside the area is read, and all steps together take time in
 * proportion to its size, whatever it holds.
 * The size of a plausible record is believed when it leads on: to a magic, or to the end of the area if the record is not
 * chained. Any other is believed, too, unless a plausible record begins inside: then this one is cut, and ends there.
 * To judge one place, such as dd_ffdc_find finds, set `next` to it. What is told of a record needs no byte that is
 * DD_FFDC_LOOKAHEAD or more behind its first. So an area can be walked through in parts, too: a record with that many
 * bytes behind it is judged as in the whole area, and so is damage that ends with that many behind its end. */
#define DD_FFDC_LOOKAHEAD (128 * 1024)
int dd_ffdc_next(const void *area, size_t size, struct dd_ffdc_cursor *cursor);

/* Offset of the first plausible record at or behind `from`: magic, size of at least a header and inside the area, and
 * either header version 1 or both a known type and a `chained` of 0 or 1. Returns `size` when there is none. */
size_t dd_ffdc_find(const void *area, size_t size, size_t from);

/* ---- Values ---- */

enum dd_ffdc_kind {
    DD_FFDC_UNSIGNED, /* number; the text may be a word that stands for it */
    DD_FFDC_SIGNED,   /* number, sign-extended */
    DD_FFDC_ADDRESS,  /* number; an address on the service processor */
    DD_FFDC_TEXT,     /* characters up to the first NUL or the end of the field */
    DD_FFDC_NAME,     /* number, and the name that the text shows for it */
    DD_FFDC_FLAG,     /* number 0 or 1: one bit of the bytes at `offset` */
    DD_FFDC_BCD,      /* number that was binary-coded decimal */
    DD_FFDC_BYTES,    /* an area that the text shows as a raw dump */
    DD_FFDC_UNSHOWN,  /* bytes that the text does not show, except perhaps in a dump of the whole payload */
    DD_FFDC_LITERAL   /* no value, only text; in descriptions of layouts */
};

/* One value of a record. `group` and `name` are keys: lower-case letters, digits and underscores, the parts of a group
 * joined by dots ("master.slave"), NUL-terminated, in constant memory. They stay valid as long as the library is loaded,
 * and the same value has the same two addresses in every record.
 *
 * The bytes of a record can be had back from its values. For each that is not missing, put its text, its area or the unshown
 * bytes at `offset`; into the other bytes put `number & mask`, big-endian, but for a flag `mask` when the number is 1, and for
 * a BCD number its two digits & mask. Lost are characters behind the NUL of a text, BCD digits above 9, what is there of
 * missing values, and the header's `reserved`. */
struct dd_ffdc_value {
    const char *group; /* "header", or where the text puts the value, or "" */
    const char *name;  /* unique in its group (with `index`, where that is not -1); "" for unshown bytes */
    int index;         /* of the element, for the elements of an array; else -1 */
    uint32_t offset;   /* of the first byte, counted from the record's first byte; the payload begins at 42 */
    uint32_t size;     /* bytes */
    enum dd_ffdc_kind kind;
    int missing;        /* not zero when the bytes are not wholly there; the text then shows '?' */
    int64_t number;     /* 0 for texts and bytes; 64-bit unsigned values keep their bits */
    uint64_t mask;      /* the bits of the big-endian number in those bytes that are the value; 0 for texts and bytes */
    uint32_t text_at;   /* by dd_ffdc_annotate: where the text of the value stands in the text of the record, and */
    uint32_t text_size; /* its characters; both 0 for what the text does not show, and from dd_ffdc_values */
    struct {            /* of the library, for dd_ffdc_value_text */
        const void *table, *step, *bytes;
        size_t length;
    } own;
};

typedef void (*dd_ffdc_value_fn)(void *context, const struct dd_ffdc_value *value);

/* Calls back for every value of a record, of which `there` bytes exist: first the header, then the payload in the order of
 * the text, then every run of payload bytes that no value covers, in ascending order. Every payload byte that is there is
 * covered. Without heap or output. Returns an enum dd_ffdc_state, or -22 (EINVAL) as dd_ffdc_render does. */
int dd_ffdc_values(const struct dd_ffdc_hdr *record, size_t there, dd_ffdc_value_fn each, void *context);

/* The text of a value, exactly as printed, and its length through `length`. It is made only now: call this inside the
 * callback, with the value that it was given. The text is not NUL-terminated, and lies in the record, in a constant table
 * or in `buffer`, which has DD_FFDC_VALUE_ROOM bytes. Null, and a length of 0, for what the text does not show. */
#define DD_FFDC_VALUE_ROOM 1280
const char *dd_ffdc_value_text(const struct dd_ffdc_value *value, char *buffer, size_t *length);

/* dd_ffdc_render and dd_ffdc_values in one: stores the text at `out`, and calls back with values that know where in it their
 * own texts stand. A value whose text is cut by the room has what is stored of it. Returns what dd_ffdc_values does; the
 * length of the text is that of the string at `out`. */
int dd_ffdc_annotate(const struct dd_ffdc_hdr *record, size_t there, char *out, int room, dd_ffdc_value_fn each,
                     void *context);

/* A state as a word: "ok", "short", "size_mismatch", "unknown_version", "unknown_type"; null for any other number. */
const char *dd_ffdc_state_name(int state);

/* What this build knows: the name of a type without its prefix ("KOR_PORT"), or null; and the bytes of a version's layout
 * through `size` (0 where the payload has none: it is shown raw), with DD_FFDC_OK, DD_FFDC_UNKNOWN_VERSION or
 * DD_FFDC_UNKNOWN_TYPE as the result. */
const char *dd_ffdc_type_name(int type);
int dd_ffdc_layout(int type, uint32_t version, size_t *size);

/* Versions that show the same values of a payload, at the same places. */
struct dd_ffdc_versions {
    uint32_t first, last; /* `last` is 65535 when all later ones are the same, too */
    size_t size;          /* bytes of the layout; 0 where the payload has none */
    int exact;            /* not zero when a payload of any other length is shown as a dump (DD_FFDC_SIZE_MISMATCH) */
};

/* Stores the layout `n` of a type, counted from 0 and ordered by versions. Returns 1, or 0 (and stores nothing) when the type
 * is unknown or has no more layouts. What it stores for each n is all versions for which dd_ffdc_layout says DD_FFDC_OK. */
int dd_ffdc_layout_row(int type, size_t n, struct dd_ffdc_versions *row);

/* ---- Descriptions of layouts ---- */

/* What a value means, whatever its driver calls it. A record shows at most one value of each role, but for
 * DD_FFDC_NO_ROLE. */
enum dd_ffdc_role {
    DD_FFDC_NO_ROLE,
    DD_FFDC_RETURN_CODE, /* of the failed operation */
    DD_FFDC_ERROR_NAME,  /* the driver's name of the error */
    DD_FFDC_SOURCE_FILE, /* where the driver captured the record */
    DD_FFDC_SOURCE_LINE
};

/* A condition on the big-endian number in `size` bytes at `offset`: its bits in `mask` are `number` (if `equal` is 1) or are
 * not (if `equal` is 0). Bytes that are missing count as 0. */
struct dd_ffdc_condition {
    const struct dd_ffdc_condition *outer; /* must hold, too; null: no further condition */
    uint32_t offset, size;                 /* counted from the record's first byte, as all offsets */
    uint64_t mask, number;
    int equal;
};

/* One part of the text of a layout: `before`, then a value. Only the library allocates it; later versions may add members at the
 * end. The strings of the first line are keys as those of struct dd_ffdc_value, with the same addresses, and stay valid; all
 * else lives until the callback returns. */
struct dd_ffdc_field {
    const char *group, *name; /* the name is "" for text alone, a value printed again, a dump, or unshown bytes */
    int index;                /* of the element, for the elements of an array; else -1 */
    uint32_t count;           /* elements of the array, which follow one another in the bytes; else 1 */
    uint32_t offset;          /* of the first byte, counted from the record's first byte; the payload begins at 42 */
    uint32_t size;            /* bytes; 0: up to the end of the record */
    enum dd_ffdc_kind kind;   /* of a name or a flag, dd_ffdc_field_text has the texts */
    enum dd_ffdc_role role;
    uint64_t mask;                  /* as in struct dd_ffdc_value; for unshown bytes those bits of each byte */
    uint32_t first_number, numbers; /* so many numbers from the first one have texts of their own */
    const char *before;             /* not NUL-terminated: the text between the value before and this one */
    size_t before_length;           /* characters of it */
    char format[8];                 /* the printf conversion that prints the value; "" if the text does not show it */
    const struct dd_ffdc_condition *when; /* shown if these all hold; null: always */
    struct {                              /* of the library, for dd_ffdc_field_text */
        const void *table, *step;
    } own;
};

typedef void (*dd_ffdc_field_fn)(void *context, const struct dd_ffdc_field *field);

/* Calls back for everything that a record of the type and version may show, in the order of the text: the header's values
 * (group "header"), then those of the payload; alternatives follow one another, each with its conditions; then the bytes
 * of the layout that no alternative shows, ascending. The values that dd_ffdc_values reports of a record are those
 * whose conditions hold, with the same keys, places and kinds. Of an unknown type, or a version without a layout, only the
 * header and the dump of the payload are described. Without heap or output. Returns what dd_ffdc_layout does, or -95
 * (EOPNOTSUPP) if the library was built without descriptions (FFDC_DESCRIPTIONS=OFF). */
int dd_ffdc_fields(int type, uint32_t version, dd_ffdc_field_fn each, void *context);

/* The text that a field shows for a number, exactly as printed but not NUL-terminated, and its length through `length`: a name,
 * the text of a flag that is set (1) or clear (0), or the text for all other numbers. Null, and a length of 0, if the
 * field has no texts, or shows this number in digits. Call it inside the callback. */
const char *dd_ffdc_field_text(const struct dd_ffdc_field *field, uint64_t number, size_t *length);

/* The version of the library that runs, as TAVI_FFDC_VERSION was when it was built. */
const char *tavi_ffdc_version(void);

/* ---- Text helpers ---- */

/* vsnprintf into `size` bytes, but returns the number of characters stored, never more, or -1 where vsnprintf does. A size of
 * 0 or less stores nothing and returns 0. */
int scnprintf(char *out, int size, const char *format, ...) TAVI_FFDC_PRINTF(3, 4);

/* Raw dump: a line of 67 characters for each 16 bytes (offset, four words, their characters where the caller's locale
 * can print them). Up to three bytes behind the last whole word are not shown; the last line is padded with zero words.
 * Stops when less than 70 bytes of room are left. Returns the number of characters written; 0, and nothing written, for
 * a length below 1 or a null pointer. */
int pretty_print(const void *data, int length, char *out, int room);

/* 1 when the bit of the value is set (bit 0 is the least significant), else 0; also 0 for bits above 31. */
int test_bit(uint32_t value, uint32_t bit);

/* ---- Decoders ---- */

/* Renders a payload of `length` bytes (a length of 0 or less is an empty payload) of layout `version` at `out`. Each of them
 * reads nothing beyond `length`, and writes nothing beyond `room`.
 * Returns the number of characters stored; DMA, HDMA, RTC, SPAD, IOMUX, TONE and the version messages of SCAN, SCOM and
 * MTDCRAM return the length of their text even when the room cut it. scan_print and scom_print take 32 KiB from the heap for
 * an FSI block, and show "fsidata len 0" in place of its text when they are refused.
 *
 * A payload shorter than its layout shows '?' for what is missing, a line with both sizes and a raw dump. A number that a table
 * of names does not have shows as the table's word for others, or as "INVALID (0x1f)"; a text without a NUL shows its whole
 * field; an address shows as "0x" and digits, or "(nil)" for 0, on every machine. Bit 23 of the errors of a UART buffer shows
 * two lines, one of TX UNDERRUN and one of TX PARITY. The rc of a mailbox shows the C library's message for its absolute value,
 * but 0x80000000, which has none, that for itself. */
typedef int (*ffdc_print_fn)(const void *payload, uint32_t version, int length, char *out, int room);

int fsi_print(const void *payload, uint32_t version, int length, char *out, int room);
int psi_print(const void *payload, uint32_t version, int length, char *out, int room);
int dma_print(const void *payload, uint32_t version, int length, char *out, int room);
int hdma_print(const void *payload, uint32_t version, int length, char *out, int room);
int mdma_print(const void *payload, uint32_t version, int length, char *out, int room);
int iic_print(const void *payload, uint32_t version, int length, char *out, int room);
int ulouart_print(const void *payload, uint32_t version, int length, char *out, int room);
int jtag_print(const void *payload, uint32_t version, int length, char *out, int room);
int mbox_print(const void *payload, uint32_t version, int length, char *out, int room);
int dio_print(const void *payload, uint32_t version, int length, char *out, int room);
int scan_print(const void *payload, uint32_t version, int length, char *out, int room);
int scom_print(const void *payload, uint32_t version, int length, char *out, int room);
int tone_print(const void *payload, uint32_t version, int length, char *out, int room);
int rtc_print(const void *payload, uint32_t version, int length, char *out, int room);
int spad_print(const void *payload, uint32_t version, int length, char *out, int room);
int iomux_print(const void *payload, uint32_t version, int length, char *out, int room);
int dra_print(const void *payload, uint32_t version, int length, char *out, int room);
int usb_print(const void *payload, uint32_t version, int length, char *out, int room);
int serial8250_print(const void *payload, uint32_t version, int length, char *out, int room);
int rs485_port_print(const void *payload, uint32_t version, int length, char *out, int room);
int alert_print(const void *payload, uint32_t version, int length, char *out, int room);
int kor_port_print(const void *payload, uint32_t version, int length, char *out, int room);
int tam_port_print(const void *payload, uint32_t version, int length, char *out, int room);
int wex_port_print(const void *payload, uint32_t version, int length, char *out, int room);
int dpss_print(const void *payload, uint32_t version, int length, char *out, int room);
int mtdcram_print(const void *payload, uint32_t version, int length, char *out, int room);

/* ---- Pieces of decoders ---- */

/* Sections of an IIC payload: failure summary, engine, registers of either engine, master or slave transfer.
 * `payload` is the start of the whole payload, which must be as long as the layout of `version` (205 bytes, 461 from
 * version 2 on, 469 from version 3 on). Return the number of characters stored. */
int iic_print_summary(const void *payload, char *out, int room, uint32_t version);
int iic_print_eng(const void *payload, char *out, int room, uint32_t version);
int iic_print_kor_regs(const void *payload, char *out, int room, uint32_t version);
int iic_print_wex_regs(const void *payload, char *out, int room, uint32_t version);
int iic_print_mstr(const void *payload, char *out, int room, uint32_t version);
int iic_print_slv(const void *payload, char *out, int room, uint32_t version);

/* One UART buffer descriptor (16 bytes at `kb`): a line of numbers, then a line for each error bit that is set.
 * Returns the number of characters stored. */
int print_kb(const void *kb, char *out, int room);

/* Name of an endpoint kind of the base DMA engine: a constant text, "INVALID" for an unknown kind. */
const char *get_type(uint32_t kind);

/* Register names: of the KOR engine by register number, and of the WEX engine by register number. */
extern const char *const kor_reg_names[29];
extern const char *const wex_regs[8];

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
