// All golden cases through the module, in one run, byte for byte. Other tests take the cases from here.
import { readFileSync, readdirSync } from "node:fs";
import { Library, row_words } from "../library.js";

const folder = new URL("../../tests/golden/", import.meta.url);
const header_size = 42;

// {name, record, text}: whole records, and their whole texts with a character for each byte.
export function goldens(library) {
    const types = new Map();
    for (let code = 0; code < 256; ++code) {
        const name = library.string(library.calls.type_name(code));
        if (name) types.set(name.toLowerCase(), { code, name });
    }
    const cases = [];
    for (const driver of readdirSync(folder)) {
        const { code, name } = types.get(driver);
        types.delete(driver);
        for (const file of readdirSync(new URL(`${driver}/`, folder)).filter(f => f.endsWith(".hex"))) {
            let version = 0, digits = "";
            for (const line of readFileSync(new URL(`${driver}/${file}`, folder), "latin1").split("\n")) {
                const said = line.replace(/#.*/, "");
                if (said.startsWith("version ")) version = Number(said.slice(8));
                else digits += said.replace(/\s/g, "");
            }
            const payload = Buffer.from(digits, "hex"), record = Buffer.alloc(header_size + payload.length, 0xaa);
            record.writeUInt32BE(0xffdcffdc, 0);
            record.writeUInt32BE(0, 12);
            record.writeUInt32BE(1, 16);
            record.writeInt32BE(4711, 20);
            record.writeUInt16BE(code, 24);
            record.writeUInt16BE(version, 26);
            record.writeUInt32BE(0x0012abcd, 28);
            record.writeUInt32BE(0xfedc0001, 32);
            record.writeUInt16BE(record.length, 36);
            record.writeInt32BE(-3, 38);
            payload.copy(record, header_size);
            const heading = `  head version[1] time[12abcd fedc0001] size[${record.length}]\n` +
                `  pid[4711]  tgid[-3] type[${code}]\ntype: FFDC_TYPE_${name}\n`;
            const text = readFileSync(new URL(`${driver}/${file.replace(/hex$/, "txt")}`, folder), "latin1");
            cases.push({ name: `${driver}/${file}`, record, text: heading + text });
        }
    }
    if (types.size) throw new Error(`no golden cases: ${[...types.keys()]}`);
    return cases;
}

export function first_difference(expected, found) {
    const a = expected.split("\n"), b = found.split("\n"), line = a.findIndex((text, i) => text !== b[i]);
    return line < 0 ? "" : `line ${line + 1}: expected ${JSON.stringify(a[line])}, found ${JSON.stringify(b[line])}`;
}

if (process.argv[1] === new URL(import.meta.url).pathname) {
    const library = new Library(new WebAssembly.Module(readFileSync(process.argv[2])));
    const cases = goldens(library), dump = Buffer.concat(cases.map(c => c.record));
    library.reserve(dump.length).set(dump);
    while (library.calls.walk(100) === 100);
    const rows = library.rows();
    let failures = rows.length === row_words * cases.length ? 0 : 1;
    cases.forEach(({ name, record, text }, i) => {
        const decoded = library.decode(i);
        if (decoded.text === text && record.equals(decoded.bytes)) return;
        failures++;
        console.error(`${name}: ${first_difference(text, decoded.text)}`);
    });
    console.log(`${cases.length} golden texts, ${rows.length / row_words} records, ${failures} failures`);
    process.exit(failures ? 1 : 0);
}
