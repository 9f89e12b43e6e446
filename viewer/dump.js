// A dump: its rows, made once, and what its worker tells of them.
import { row_words } from "./library.js";

const states = ["ok", "short", "size_mismatch", "unknown_version", "unknown_type"];
const signs = ["", "◑", "◧", "?", "?", "✕", "┄"];
export const marks = Object.fromEntries([...states, "damaged", "gap"].map((state, k) => [state, signs[k]]));
const no_magic = -1, record = 1;

export const hex = (number, digits = 1) => number.toString(16).padStart(digits, "0");

// Foreign text, with a visible character in the place of each that would steer: controls, and directions in names.
export const tame = text => text.replace(/[\0-\x08\x0b-\x1f]/g, c => String.fromCharCode(0x2400 + c.charCodeAt(0)))
    .replace(/[\x7f-\x9f\xad\u061c\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff]/g, "·");

export class Dump {
    constructor(name, blob) {
        Object.assign(this, { name, blob, size: blob.size, asked: 0, waiting: new Map(), causes: new Map(), due: [] });
        const script = new Blob([document.getElementById("worker").textContent], { type: "text/javascript" });
        this.worker = new Worker(URL.createObjectURL(script));
        this.worker.onmessage = ({ data: { id, progress, answer, error } }) => {
            const { tell, resolve, reject } = this.waiting.get(id);
            if (progress !== undefined) return tell(progress);
            this.waiting.delete(id);
            return error === undefined ? resolve(answer) : reject(new Error(error));
        };
        this.worker.onerror = event => this.waiting.forEach(({ reject }) => reject(new Error(event.message)));
    }
    ask(ask, rest = {}, tell = () => {}) {
        const id = ++this.asked;
        return new Promise((resolve, reject) => {
            this.waiting.set(id, { tell, resolve, reject });
            this.worker.postMessage({ id, ask, ...rest });
        });
    }
    async open(module, tell) {
        const { rows, types, version } = await this.ask("open", { module, blob: this.blob }, tell);
        const count = rows.length / row_words;
        Object.assign(this, { words: rows, bytes: new Uint8Array(rows.buffer), types, version, count });
        // If most bytes are outside records, it is an image: a place after the last record of a chain is a gap in it.
        const places = [...Array(count).keys()].filter(i => this.step(i) === no_magic);
        const foreign = places.reduce((sum, i) => sum + this.length(i), 0);
        this.image = places.length < count && 2 * foreign > this.size;
        this.bad = new Uint8Array(count).filter((_, i) => this.is_bad(i)).length;
        this.gaps = places.filter(i => this.state(i) === "gap").length;
        return this;
    }

    // Columns of the rows: struct Row of glue.cpp.
    word(i, k) { return this.words[i * row_words + k]; }
    byte(i, k) { return this.bytes[4 * i * row_words + k]; }
    offset(i) { return this.word(i, 0); }
    length(i) { return this.word(i, 1); }
    type(i) { return this.word(i, 2) & 0xffff; }
    layout(i) { return this.word(i, 2) >>> 16; }
    step(i) { return this.byte(i, 12) << 24 >> 24; }
    has_header(i) { return this.byte(i, 14) !== 0; }
    is_chained(i) { return this.byte(i, 15) !== 0; }
    pid(i) { return this.word(i, 4) | 0; }
    tgid(i) { return this.word(i, 5) | 0; }
    time(i) { return `${hex(this.word(i, 6))}:${hex(this.word(i, 7))}`; }
    hash(i) { return this.word(i, 8); }
    state(i) {
        const step = this.step(i);
        if (step === record) return states[this.byte(i, 13)];
        return this.image && step === no_magic && !(i > 0 && this.is_chained(i - 1)) ? "gap" : "damaged";
    }
    is_bad(i) { return !["ok", "gap"].includes(this.state(i)); }
    type_name(i) { return this.has_header(i) ? this.types[this.type(i)] ?? `TYPE_${this.type(i)}` : "-"; }

    title(i) { return `${this.type_name(i)} · record ${i} · 0x${hex(this.offset(i), 6)} · ${this.length(i)} bytes`; }

    // The entry that holds a byte of the dump.
    at(offset) {
        let low = 0, high = this.count - 1;
        while (low < high) {
            const middle = (low + high + 1) >> 1;
            if (this.offset(middle) <= offset) low = middle;
            else high = middle - 1;
        }
        return low;
    }

    // Why a record was captured, once the worker has told it: `later` is called then.
    cause(i, later) {
        if (this.causes.has(i)) return this.causes.get(i);
        this.causes.set(i, "");
        if (this.due.push(i) > 1) return "";
        setTimeout(async () => {
            const indices = this.due.splice(0), causes = await this.ask("causes", { indices });
            causes.forEach((cause, k) => this.causes.set(indices[k], tame(cause)));
            later();
        });
        return "";
    }

    // The partner of each entry in another dump: the nth of a type belongs to the nth there; else -1.
    partners(other) {
        const lists = new Map();
        for (let i = other.count - 1; i >= 0; --i)
            if (!lists.get(other.type_name(i))?.push(i)) lists.set(other.type_name(i), [i]);
        return new Int32Array(this.count).map((_, i) => lists.get(this.type_name(i))?.pop() ?? -1);
    }
}
