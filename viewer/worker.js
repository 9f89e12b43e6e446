// One worker for each dump: the library, and the dump in its memory. Asked by dump.js; a search is done in slices,
// between which a newer one, or cancel, can end it.
import { Library } from "./library.js";

const slice = 4096, piece = 16 << 20;
let library, newest_search = 0;

const answers = {
    open({ module, blob }, tell) {
        library = new Library(module);
        if (!library.reserve(blob.size)) throw new Error(`expected a dump that memory holds, found ${blob.size} bytes`);
        const reader = new FileReaderSync();
        for (let at = 0; at < blob.size; at += piece) {
            const part = new Uint8Array(reader.readAsArrayBuffer(blob.slice(at, at + piece)));
            library.bytes(library.area + at, part.length).set(part);
        }
        while (library.calls.walk(slice) === slice) tell(library.calls.walked() / blob.size);
        const types = Array.from({ length: 256 }, (_, code) => library.string(library.calls.type_name(code)));
        return { rows: library.rows(), types, version: library.string(library.calls.version()) };
    },
    decode: ({ index }) => library.decode(index),
    causes: ({ indices }) => indices.map(index => library.cause(index)),

    // The entries that fit all needles, told as they are found.
    async search({ needles, count }, tell) {
        const search = ++newest_search, said = new TextEncoder().encode(needles.join("\0") + "\0\0");
        const { calls } = library, { port1, port2 } = new MessageChannel(), room = calls.needle_room();
        if (said.length > room) throw new Error(`expected a filter of at most ${room} characters`);
        library.bytes(calls.needle_buffer(), said.length).set(said);
        for (let from = 0; from < count && search === newest_search; from += slice) {
            const found = calls.search(from, from + slice), hits = library.words(calls.hit_table(), found).slice();
            tell({ done: Math.min(from + slice, count), hits });
            await new Promise(heard => { port1.onmessage = heard; port2.postMessage(0); }); // what was asked meanwhile
        }
    },
    cancel() { ++newest_search; },
};

onmessage = async ({ data: { id, ask, ...rest } }) => {
    try {
        postMessage({ id, answer: await answers[ask](rest, progress => postMessage({ id, progress })) });
    } catch (error) { postMessage({ id, error: error.message }); }
};
