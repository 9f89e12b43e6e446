// The library: one instance of its module for one dump. Runs in the worker, and under node.
const kinds = ["unsigned", "signed", "address", "text", "name", "flag", "bcd", "bytes", "unshown"];
export const header_size = 42;
export const row_words = 9;

// A value as the tool writes it: 0x before what is printed in hexadecimal, the number if nothing is printed.
export function plain_text(text, v) {
    const printed = text.substr(v.at, v.length).replace(/^[ \t\n]+|[ \t\n]+$/g, "");
    if (v.missing) return printed || "?";
    if (["text", "name"].includes(v.kind)) return printed;
    if (!printed || (/^-?\d{1,20}$/.test(printed) && BigInt(printed) === v.number)) return String(v.number);
    const is_hex = /^[0-9a-f]{1,20}$/i.test(printed) && BigInt(`0x${printed}`) === BigInt.asUintN(8 * v.size, v.number);
    return is_hex ? `0x${printed}` : printed;
}

export class Library {
    constructor(module) {
        const silent = () => 0; // nothing prints
        const wasi_snapshot_preview1 = { fd_close: silent, fd_fdstat_get: silent, fd_seek: silent, fd_write: silent };
        this.calls = new WebAssembly.Instance(module, { wasi_snapshot_preview1 }).exports;
        this.calls._initialize();
    }
    bytes(at, size) { return new Uint8Array(this.calls.memory.buffer, at, size); }
    words(at, size) { return new Uint32Array(this.calls.memory.buffer, at, size); }

    // Bytes as characters of the same number: what is at a place of the text is at that place of the string.
    characters(at, size) {
        let text = "";
        for (let done = 0; done < size; done += 8192)
            text += String.fromCharCode(...this.bytes(at + done, Math.min(8192, size - done)));
        return text;
    }
    string(at) { return at ? this.characters(at, this.bytes(at).indexOf(0)) : null; }

    // Room for a dump, to be filled, or null.
    reserve(size) {
        this.area = this.calls.reserve(size);
        return this.area ? this.bytes(this.area, size) : null;
    }
    // All rows that the walk has made: row_words words each.
    rows() { return this.words(this.calls.row_table(), this.calls.row_count() * row_words).slice(); }

    // Text, values and bytes of an entry, of which at most `most` bytes come, and what is wrong with it, or null.
    decode(index, most = 1 << 20) {
        const { calls } = this, values = this.string(calls.decode(index)).split("\n").slice(0, -1).map(line => {
            const [group, name, ...numbers] = line.split("\t"), [mask, number] = numbers.splice(-2).map(BigInt);
            const [index, offset, size, kind, missing, at, length] = numbers.map(Number);
            const value = { group, name, index, offset, size, kind: kinds[kind], missing: missing !== 0, mask, number };
            return { ...value, at, length };
        });
        const row = this.words(calls.row_table() + 4 * row_words * index, row_words);
        const bytes = this.bytes(this.area + row[0], Math.min(row[1], most)).slice();
        const text = this.characters(calls.text_start(), calls.text_size());
        return { text, values, bytes, trouble: this.trouble(row, bytes) };
    }
    // What was expected and what is there, in the words of the tool.
    trouble(row, bytes) {
        const step = row[3] << 24 >> 24, state = row[3] >>> 8 & 0xff, has_header = row[3] >>> 16 & 0xff;
        const type = row[2] & 0xffff, version = row[2] >>> 16, name = this.string(this.calls.type_name(type));
        const size = bytes[36] << 8 | bytes[37], payload = [`a payload of ${this.calls.layout(type, version)} bytes`,
            `${row[1] - header_size} bytes`];
        const first = Array.from(bytes.subarray(0, 4), byte => byte.toString(16).padStart(2, "0")).join("");
        const [reason, expected, found] = {
            "-1": ["no_magic", "magic ffdcffdc", first],
            "-2": ["bad_size", `a record size of at least ${header_size}`, `${size}`],
            "-3": ["cut", has_header ? `a record of ${size} bytes` : "a header of 42 bytes", `${row[1]} bytes`],
            "-4": ["no_next", "another record, which the last one announces", "the end of the input"],
            1: [[], ["short", ...payload], ["size_mismatch", ...payload],
                ["unknown_version", `a known version of ${name}`, `version ${version}`],
                ["unknown_type", "a known type", `type ${type}`]][state],
        }[step];
        return reason ? { reason, expected, found } : null;
    }
    // What failed, in one line: the first return code, and the first error that has a name.
    cause(index) {
        const { text, values, trouble } = this.decode(index, 64);
        if (trouble && !text) return `expected ${trouble.expected}, found ${trouble.found}`;
        const own = values.filter(v => v.group === "" && !v.missing && v.index < 0);
        const first = (names, fits) => names.map(name => own.find(v => v.name === name && fits(v))).find(Boolean);
        const code = first(["func_rc", "return_code", "rc", "fsi_rc", "errno", "status"], () => true);
        const error = first(["err_type", "error_id", "rc_text"], v => v.kind === "name");
        const shown = [code && `${code.name} ${plain_text(text, code)}`, error && plain_text(text, error)];
        return shown.filter(Boolean).join(", ");
    }
}
