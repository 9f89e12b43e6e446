// The library: one instance of its module for one dump. Runs in the worker, and under node.
export const kinds = ["unsigned", "signed", "address", "text", "name", "flag", "bcd", "bytes", "unshown"];
export const row_words = 9;
const value_words = 14;

export class Library {
    constructor(module) {
        const silent = () => 0; // nothing prints
        const wasi_snapshot_preview1 = { fd_close: silent, fd_fdstat_get: silent, fd_seek: silent, fd_write: silent };
        this.calls = new WebAssembly.Instance(module, { wasi_snapshot_preview1 }).exports;
        this.calls._initialize();
        this.names = new Map(); // constant texts by address
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
    constant(at) {
        if (!this.names.has(at)) this.names.set(at, at ? this.characters(at, this.bytes(at).indexOf(0)) : null);
        return this.names.get(at);
    }

    // Room for a dump, to be filled.
    reserve(size) {
        this.area = this.calls.reserve(size);
        return this.area ? this.bytes(this.area, size) : null;
    }
    // All rows that the walk has made: row_words words each.
    rows() { return this.words(this.calls.row_table(), this.calls.row_count() * row_words).slice(); }

    // Text, values and bytes of an entry, of which at most `most` bytes come.
    decode(index, most = 1 << 20) {
        const { calls } = this;
        const count = calls.decode(index), words = this.words(calls.value_table(), count * value_words);
        const wide = new DataView(this.calls.memory.buffer, calls.value_table());
        const values = [];
        for (let i = 0; i < count; ++i) {
            const w = words.subarray(i * value_words, (i + 1) * value_words), at = i * value_words * 4;
            const kind = kinds[w[5] & 0xffff], size = w[4];
            const signed = size !== 8 || kind === "signed";
            values.push({
                group: this.constant(w[0]), name: this.constant(w[1]), index: w[2] | 0, offset: w[3], size, kind,
                missing: w[5] >>> 16 !== 0,
                number: signed ? wide.getBigInt64(at + 24, true) : wide.getBigUint64(at + 24, true),
                mask: wide.getBigUint64(at + 32, true), at: w[10], length: w[11],
            });
        }
        const row = this.words(calls.row_table() + 4 * row_words * index, row_words);
        return {
            text: this.characters(calls.text_start(), calls.text_size()), values,
            bytes: this.bytes(this.area + row[0], Math.min(row[1], most)).slice(),
        };
    }
}
