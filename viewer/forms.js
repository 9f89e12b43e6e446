// What people paste: plain hex, the lines of xxd and of hexdump -C, base64. Anything else is refused by name.
import { header_size } from "./library.js";

function from_hex(text) {
    let digits = "", base = null, repeat = null, last = "";
    text.split("\n").forEach((whole, number) => {
        const line = whole.trim(), fail = (expected, found) => {
            throw new Error(`line ${number + 1}: expected ${expected}, found '${found.slice(0, 20)}'`);
        };
        if (line === "*" && base !== null) return void (repeat = last);
        const placed = base === null ? /^([0-9a-f]+)(:\s*| {2}(?=.*\|$))/i : /^([0-9a-f]+)(:\s*| {2}(?=.*\|$)|$)/i;
        const [place, offset] = placed.exec(line) ?? [""];
        if (!place && base !== null && line) fail("an offset", line);
        if (offset) {
            base ??= parseInt(offset, 16);
            const gap = 2 * (parseInt(offset, 16) - base) - digits.length;
            if (repeat && gap > 0 && gap < 1 << 28) digits += repeat.repeat(gap / repeat.length + 1).slice(0, gap);
            repeat = null;
            const expected = base + digits.length / 2;
            if (parseInt(offset, 16) !== expected) fail(`offset ${expected.toString(16).padStart(8, "0")}`, offset);
        }
        const spelt = line.slice(place.length).split(place.includes(":") ? /\s{2}.*/ : "|")[0];
        const words = spelt.split(/\s+/).filter(Boolean);
        for (const word of words) if (!/^([0-9a-f]{2})+$/i.test(word)) fail("pairs of hex digits", word);
        last = words.join("") || last;
        digits += words.join("");
    });
    return Uint8Array.from(digits.match(/../g) ?? [], pair => parseInt(pair, 16));
}

export function from_base64(text) {
    const characters = atob(text.replace(/\s/g, "")), bytes = new Uint8Array(characters.length);
    for (let i = 0; i < bytes.length; ++i) bytes[i] = characters.charCodeAt(i);
    return bytes;
}

// The bytes that a text spells. Throws where it spells none.
export function from_text(text) {
    let wrong;
    try {
        const bytes = from_hex(text);
        if (bytes.length >= header_size) return bytes;
        wrong = new Error(`expected at least the ${header_size} bytes of a header, found ${bytes.length}`);
    } catch (error) { wrong = error; }
    try { // much that is meant as hex is base64, too, but that holds a magic
        const bytes = from_base64(text);
        if (bytes.some((_, i) => [0xff, 0xdc, 0xff, 0xdc].every((byte, k) => bytes[i + k] === byte))) return bytes;
    } catch { /* nor is it base64 */ }
    throw new Error(`neither hex, xxd, hexdump -C nor base64: ${wrong.message}`);
}

// A file as bytes: those that it spells, if it is text that spells a record's.
export async function from_file(file) {
    const head = new Uint8Array(await file.slice(0, 65536).arrayBuffer());
    if (!head.length || head.some(c => c > 0x7e || (c < 0x20 && (c < 9 || c > 13)))) return file;
    try { return new Blob([from_text(await file.text())]); } catch { return file; }
}
