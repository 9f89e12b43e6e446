// The page in a real browser, from disk: PAGE FFDC MODULE MODULES_FOLDER. What it shows is held to the goldens, to the
// dumps' own bytes, and to what the tool says of them.
import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import { copyFileSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, beforeEach, test } from "node:test";
import { Library } from "../library.js";
import { first_difference, goldens } from "./goldens.mjs";

const [page_file, ffdc, module_file, modules] = process.argv.slice(2);
const require = createRequire(join(modules, "x")), { chromium } = require("playwright-core");
const sample = name => new URL(`../../samples/${name}.ffdc`, import.meta.url).pathname;
const folder = mkdtempSync(join(tmpdir(), "ffdc-viewer-"));
const file = (name, bytes) => { writeFileSync(join(folder, name), bytes); return join(folder, name); };
const tool = (...given) => spawnSync(ffdc, given, { encoding: "utf8", maxBuffer: 1 << 28 });
const texts_with = (...words) => tool("show", sample("all_types")).stdout.toLowerCase().split("==> ")
    .filter(shown => words.every(word => shown.includes(word))).length;
// The values of each record of a dump as "name text", as far as the page shows a long text.
function values_of(dump) {
    const all = [];
    let row = [];
    const cells = tool("csv", "--values", dump).stdout.matchAll(/(?:"((?:[^"]|"")*)"|(.*?))(,|\r\n)/g);
    for (const [, quoted, plain, end] of cells) {
        row.push(quoted?.replaceAll('""', '"') ?? plain);
        if (end === ",") continue;
        const [, , index, , , , name, element, , shown] = row, part = shown.replace(/^([^]{400})[^]+/, "$1…");
        if (index !== "index") (all[index] ??= []).push(`${name}${element && `[${element}]`} ${visible(part)}`);
        row = [];
    }
    return all;
}
const objects = dump => tool("json", "-q", dump).stdout.trim().split("\n").map(line => JSON.parse(line));

let browser, page, complaints;
before(async () => {
    const args = process.getuid() === 0 ? ["--no-sandbox"] : [];
    browser = await chromium.launch({ executablePath: "/usr/bin/chromium", args });
});
after(async () => {
    await browser.close();
    rmSync(folder, { recursive: true });
});
async function visit(path, url = `file://${path}`) {
    await page?.context().close();
    page = await (await browser.newContext({ viewport: { width: 1280, height: 720 } })).newPage();
    complaints = [];
    page.on("pageerror", error => complaints.push(error.stack));
    page.on("console", message => message.type() === "error" && complaints.push(message.text()));
    page.on("dialog", dialog => complaints.push(`dialog ${dialog.message()}`));
    page.on("request", request => /^(file|blob):/.test(request.url()) || request.url() === url ||
        complaints.push(`request ${request.url()}`));
    await page.addInitScript(() => {
        if (navigator.clipboard) navigator.clipboard.writeText = async text => { window.copied = text; };
    });
    if (url.startsWith("http:")) await page.route(url, route => route.fulfill({ path, contentType: "text/html" }));
    await page.goto(url);
}
beforeEach(() => visit(page_file));
const run = (name, body) => test(name, async () => {
    await body();
    assert.deepEqual(complaints, []);
});

// A text as the page shows it: a character for each control character.
const visible = shown => shown.replace(/[\x7f-\x9f\xad]/g, "·")
    .replace(/[\0-\x08\x0b-\x1f]/g, c => String.fromCharCode(0x2400 + c.charCodeAt(0)));
const text = selector => page.textContent(selector);
// Waits until an element's text fits a pattern.
const shows = (selector, pattern) => page.waitForFunction(
    ([at, p]) => new RegExp(p).test(document.querySelector(at).textContent), [selector, pattern], { timeout: 20000 },
).catch(async () => assert.fail(`${selector}: expected /${pattern}/, found ${await text(selector)}`));
const said = pattern => shows("#status", pattern), chosen = i => shows("#title", ` record ${i} `);
const press = async (...keys) => { for (const key of keys) await page.keyboard.press(key); };
async function open(...paths) {
    await page.setInputFiles("#files", paths);
    await said(`^${paths.at(-1).split("/").at(-1).slice(0, 4)}.* entries`);
}
async function filter(words, count) {
    await page.fill("#filter", words);
    await shows("#found", `^${count}( of [\\d,]+)?$`);
}
// What is lit when the pointer is over an element: numbers of bytes and of values, and the texts of those.
const lit = element => page.evaluate(selector => {
    const of = (what, name) => [...document.querySelectorAll(what)].map(e => e.dataset[name]);
    document.querySelector(selector).dispatchEvent(new PointerEvent("pointerover", { bubbles: true }));
    return {
        bytes: of("#bytes b.lit", "b").map(Number),
        tree: of("#tree .lit", "v").map(Number),
        text: of("#text .lit", "v").map(Number),
        words: [...document.querySelectorAll("#text .lit, #tree .lit .text")].map(e => e.textContent.trim()),
    };
}, element);

run("goldens: every text, by the arrow keys", async () => {
    const cases = goldens(new Library(new WebAssembly.Module(readFileSync(module_file))));
    await open(file("goldens.ffdc", Buffer.concat(cases.map(c => c.record))));
    await press("Home");
    for (const [i, { name, text: expected }] of cases.entries()) {
        await chosen(i);
        assert.equal(first_difference(visible(expected), await text("#text pre")), "", name);
        if (i + 1 < cases.length) await press("ArrowDown");
    }
});

run("values: the text is the tool's; each lights its bytes and its text, each byte its value", async () => {
    const bytes = readFileSync(sample("all_types")), values = values_of(sample("all_types"));
    await page.setViewportSize({ width: 1280, height: 2400 }); // all of a record in sight
    await open(sample("all_types"));
    for (const [i, { offset, type }] of objects(sample("all_types")).entries()) {
        if (i % 5 !== 0) continue;
        await page.fill("#filter", `index=${i}`);
        await page.click(`#r${i}`);
        await chosen(i);
        const rows = await page.$$eval("#tree .value", all =>
            all.map(row => [row.dataset.v, row.querySelector(".number").textContent, row.className,
                ["name", "text"].map(cell => row.querySelector(`.${cell}`).textContent).join(" ")]));
        assert.deepEqual(rows.filter(([, , kind]) => !kind.includes("unshown")).map(row => row[3]).sort(),
            values[i].sort(), `${type} ${i}`);
        const owners = new Map();
        for (const [v, number, kind] of rows) {
            const now = await lit(`#tree [data-v="${v}"]`), own = `${type} value ${v}`;
            assert.deepEqual(now.tree, [Number(v)], own);
            for (const b of now.bytes) owners.set(b, [...owners.get(b) ?? [], Number(v)]);
            const [printed, plain] = now.words.map(word => word.replace(/^(0x)?0*(?=.)/, ""));
            if (now.text.length && !/bytes/.test(kind)) assert.equal(plain, printed, own);
            if (!now.bytes.length) assert.fail(`${own} (${kind}) lights no bytes`);
            if (/missing/.test(kind) || !/^(-?\d+|0x[0-9a-f]+)$/.test(number)) continue;
            const hex = bytes.subarray(offset + now.bytes[0], offset + now.bytes[0] + now.bytes.length).toString("hex");
            const value = BigInt(`0x${hex}`), shown = BigInt.asUintN(4 * hex.length, BigInt(number));
            const masked = (value & shown) === shown || /bcd|name/.test(kind);
            assert.ok(masked, `${own}: ${number} in ${hex}`);
        }
        for (const [b, values] of owners) {
            const now = await lit(`#bytes b[data-b="${b}"]`);
            assert.ok(now.bytes.includes(b) && now.tree.length, `${type} byte ${b}`);
            assert.ok(now.tree.every(v => values.includes(v)), `${type} byte ${b}`);
        }
    }
    await page.hover("#tree .value >> nth=3"); // the pointer itself, and a click that keeps
    assert.ok(await page.$("#bytes b.lit"));
    await page.click("#tree .value >> nth=3");
    await page.mouse.move(1, 1);
    assert.ok(await page.$("#bytes b.chosen") && await page.$("#text span.chosen"));
});

run("filter: by columns, words and values, as the tool has them", async () => {
    const all = objects(sample("all_types"));
    await open(sample("all_types"));
    await filter("type=iic,UART", all.filter(o => o.type === "IIC" || o.type === "UART").length);
    await filter("size>=300 type!=iic", all.filter(o => o.header.size >= 300 && o.type !== "IIC").length);
    await filter("MASTER status", texts_with("master", "status"));
    await filter('"ffdc_type_psi" pid=1001', 1);
    await filter(`line=${all.find(o => o.payload.line !== undefined).payload.line}`, 1);
    await filter("rc<0", all.filter(o => Number(o.payload.rc) < 0).length);
    await filter("nothing has this", 0);
    await press("Escape");
    await shows("#found", `^${all.length}$`);
    await page.click("#columns button:has-text('Offset')");
    await page.click("#columns button:has-text('Offset')");
    await page.focus("#records");
    await press("Home");
    await chosen(all.length - 1);
});

run("keys and damage: n, p, u, /, c, ?, and what was expected", async () => {
    await open(sample("damaged"));
    const { stderr } = tool("list", sample("damaged"));
    for (const [i, keys] of [[2, []], [4, ["n"]], [2, ["p"]]]) {
        await press(...keys);
        await chosen(i);
        const [, place, trouble] = /offset (0x\w+): (.*)/.exec(stderr.split("\n")[i / 2 - 1]);
        assert.ok((await text("#title")).includes(place));
        assert.equal(await text("#trouble"), `✕ damaged: ${trouble}`);
    }
    await press("n", "n");
    await said("No further damage");
    await chosen(4);
    for (const missing of ["#tree .value.missing", "#text span.missing"])
        await page.waitForSelector(missing, { state: "attached" });
    await press("Home", "u");
    await chosen(0);
    assert.equal(await page.$$eval("#bytes b.chosen.unshown", all => all.length), 8);
    await page.focus("#bytes");
    await press("c");
    assert.equal(await page.evaluate(() => window.copied), "0".repeat(16));
    await press("/");
    assert.equal(await page.evaluate(() => document.activeElement.id), "filter");
    await press("Escape", "?");
    assert.ok(await page.isVisible("#help"));
    await press("Escape", "Home");
    for (const { index, type, version, state, header, payload } of objects(sample("damaged"))) {
        await chosen(index);
        await page.click("[data-copy=json]");
        assert.deepEqual(JSON.parse(await page.evaluate(() => window.copied)), { type, version, state, header, payload });
        await page.focus("#records");
        await press("ArrowDown");
    }
});

run("keys in values and bytes: each as the help has it", async () => {
    const [{ bytes: size, offset }] = objects(sample("all_types")), chooser = page.waitForEvent("filechooser");
    await open(sample("all_types"));
    await chosen(0);
    const active = pane => page.$eval(`#${pane}`, e =>
        document.getElementById(e.getAttribute("aria-activedescendant"))?.id);
    const items = await page.$$eval("#tree [role=treeitem]", all => all.map(item => item.id)), header = items[0];
    const in_header = (await page.$$(`#${header} .value`)).length;
    const in_sight = await page.$eval("#tree", e =>
        Math.floor(e.clientHeight / e.querySelector(".value").offsetHeight));
    await page.focus("#tree");
    for (const [key, at] of [
        ["ArrowDown", 0], ["End", items.length - 1], ["Home", 0], ["PageDown", in_sight], ["PageUp", 0], ["ArrowRight", 1],
        ["ArrowDown", 2], ["ArrowUp", 1], ["ArrowLeft", 0], ["ArrowLeft", 0], ["ArrowDown", in_header + 1],
        ["ArrowUp", 0], ["ArrowRight", 0], ["ArrowDown", 1],
    ]) {
        await press(key);
        assert.equal(await active("tree"), items[at], key);
    }
    const described = await page.$eval(`#${items[1]}`, e => [e.offsetHeight > 0, e.getAttribute("aria-description")]);
    const record = readFileSync(sample("all_types")).subarray(offset);
    assert.deepEqual(described, [true, `4 bytes at 16: ${record.toString("hex", 16, 20)}`]);
    await chosen(0);
    await page.focus("#bytes");
    const rows = await page.$eval("#bytes", e => Math.floor((e.clientHeight - 6) / 19)), width = 16;
    const in_bytes = {
        Home: 0, ArrowRight: 1, ArrowDown: width + 1, ArrowLeft: width, ArrowUp: 0,
        PageDown: Math.min(size - 1, rows * width), PageUp: 0, End: size - 1,
    };
    for (const [key, at] of Object.entries(in_bytes)) {
        await press(key);
        assert.equal(await active("bytes"), `byte${at}`, key);
    }
    await page.click("#columns button >> nth=1");
    assert.match(await page.evaluate(() => document.activeElement.textContent), /^Offset/);
    await press("o");
    assert.ok((await chooser).isMultiple());
    const ground = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor), before = await ground();
    await press("t");
    assert.notEqual(await ground(), before);
});

run("accessibility: axe-core finds nothing in any view, light or dark, wide or narrow", async () => {
    const axe = readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");
    for (const [colorScheme, width] of [["light", 1280], ["dark", 1280], ["light", 390], ["dark", 390]]) {
        const views = {
            empty: async () => {},
            damage: () => open(sample("damaged"), sample("all_types")).then(() => chosen(2)),
            value: async () => {
                await page.click(".tab >> nth=1 >> button");
                await chosen(0);
                await page.click("#tree .value >> nth=14");
            },
            byte: () => page.click("#bytes b >> nth=20"),
            lit: () => page.hover("#tree .value >> nth=3"),
            compared: () => page.selectOption("#with", "0").then(() => shows("#title", "↔ record 0")),
            nothing: () => filter("type=nothing", 0).then(() => page.click(".tab >> nth=0 >> button")),
            help: () => page.click("#ask"),
        };
        await visit(page_file);
        await page.emulateMedia({ colorScheme });
        await page.setViewportSize({ width, height: 800 });
        await page.evaluate(axe);
        for (const [view, look] of Object.entries(views)) {
            await look();
            if (width === 390 && !["empty", "compared"].includes(view)) continue; // the colours are the same
            const { violations } = await page.evaluate(() => axe.run({ resultTypes: ["violations"] }));
            const where = `${view}, ${colorScheme}, ${width} px`;
            assert.deepEqual(violations.map(v => `${v.id}: ${v.nodes[0].html}`), [], where);
        }
        await press("Escape");
        const beyond = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
        assert.ok(beyond <= 0, `${beyond} px too wide`);
        const [from, to] = await page.$$eval("#text, #bytes", all =>
            all.map((e, i) => e.getBoundingClientRect()[["top", "bottom"][i]]));
        assert.ok(to - from <= 800, `text to bytes: ${to - from} px`);
    }
});

run("judgement: damage and places without a record are those of the tool", async () => {
    const bytes = readFileSync(sample("all_types")), { offset, bytes: size } = objects(sample("all_types")).at(-1);
    const record = bytes.subarray(offset, offset + size), erased = Buffer.alloc(9000, 0xff);
    const following = Buffer.from(record);
    following[15] = 1; // another record follows
    const wrecked = chained => { // the largest records lose their magic: most of the dump
        const dump = Buffer.from(bytes), all = objects(sample("all_types"));
        for (const { offset } of all) dump[offset + 15] &= chained;
        for (const { offset, bytes } of all) if (bytes > 300) dump[offset] = 0;
        return dump;
    };
    const places = 5; // runs of records of more than 300 bytes
    for (const [i, [dump, bad, gaps]] of [
        [bytes, 0, 0], [wrecked(1), places, 0], [wrecked(0), 0, places],
        [Buffer.concat([erased, record, erased, record, erased]), 0, 3],
        [Buffer.concat([record, erased, following, erased]), 1, 1],
        [Buffer.concat([record, erased, following]), 1, 1], [erased, 1, 0],
    ].entries()) {
        const name = file(`judged${i}.ffdc`, dump), { status } = tool("list", name);
        const found = [bad && `${bad} damaged or unknown`, gaps && `an image, places without a record: ${gaps}`];
        const said_of_it = found.filter(Boolean).join(", ") || "all well";
        await page.setInputFiles("#files", name);
        await said(`^judged${i}.ffdc: .* entries, ${said_of_it}, \\d+ ms$`);
        assert.equal(status !== 0, bad + gaps > 0);
        assert.equal(objects(name).filter(o => o.state !== "ok").length, bad + gaps);
    }
    await page.click("#dumps .tab:has-text('judged3') button");
    await filter("state=gap", 3);
    await page.click("#records .row");
    await chosen(0);
    await page.click("[data-copy=json]");
    await said("Copied json");
    assert.equal(JSON.parse(await page.evaluate(() => window.copied)).state, "damaged");
});

run("several dumps: equal names, a filter that matches nothing, and a copy of nothing", async () => {
    for (const part of ["a", "b"]) mkdirSync(join(folder, part));
    const same = [["a/same.ffdc", "all_types"], ["b/same.ffdc", "chain"]].map(([name, from]) =>
        file(name, readFileSync(sample(from))));
    await open(...same);
    await shows("#dumps", "^same.ffdc×same.ffdc \\(2\\)×$");
    await filter("type=uart", objects(same[0]).filter(o => o.type === "UART").length);
    await press("Enter", "c");
    await said("Copied text");
    const copied = await page.evaluate(() => window.copied);
    await page.click("#dumps .tab >> nth=1 >> button");
    await shows("#found", "^0 of 5$");
    for (const part of ["#trouble", "#text", "#tree", "#bytes"]) await shows(part, "^$");
    await shows("#title", "^No record chosen$");
    for (const what of ["text", "value", "json", "hex"]) {
        await page.click(`[data-copy=${what}]`);
        await said(`No ${what} to copy`);
    }
    assert.equal(await page.evaluate(() => window.copied), copied);
    await page.selectOption("#with", "0");
    await page.fill("#filter", "");
    await press("Enter");
    await chosen(0);
    const url = page.url(), title = await text("#title");
    assert.ok(title.endsWith("↔ record 0"));
    await visit(page_file);
    await page.goto(url);
    await open(...same);
    await shows("#title", `^${title}$`);
    assert.equal(await text("#dumps .current [aria-current]"), "same.ffdc (2)");
});

run("over http: Copy fills the clipboard", async () => {
    await visit(page_file, "http://viewer.test/page.html");
    assert.equal(await page.evaluate(() => navigator.clipboard), undefined);
    await open(sample("chain"));
    await page.click("#tree .value:has-text('mstap')");
    await page.click("[data-copy=value]");
    await said("Copied value: 5 characters");
    await page.focus("#filter");
    await press("Control+V");
    assert.equal(await page.inputValue("#filter"), "0xabc");
});

run("the place in the URL", async () => {
    await open(sample("all_types"));
    const count = objects(sample("all_types")).filter(o => o.type === "SCOM").length;
    await filter("type=scom", count);
    await page.click("#records .row >> nth=2");
    await page.click("#tree .value >> nth=12");
    const url = page.url(), title = await text("#title"), value = await text("#bits h3");
    await visit(page_file);
    await page.goto(url);
    await open(sample("all_types"));
    await shows("#title", `^${title}$`);
    assert.equal(await text("#bits h3"), value);
    assert.ok((await text("#found")).startsWith(`${count} of`));
});

run("steps: the value stays chosen, Back and Forward return, Close asks, directories open", async () => {
    const scoms = objects(sample("all_types")).filter(o => o.type === "SCOM").map(o => o.index);
    const value = () => text("#bits h3"), pause = () => page.waitForTimeout(700); // else an entry is only passed by
    await open(sample("all_types"));
    await filter("type=scom", scoms.length);
    await press("Enter");
    await chosen(scoms[0]);
    await page.click("#tree .value >> nth=12");
    const name = await value(), url = page.url(), scrolled = await page.$eval("#text", e => e.scrollTop = 40);
    await page.focus("#records");
    for (const i of scoms.slice(1, 3)) {
        await pause();
        await press("ArrowDown");
        await chosen(i);
        assert.equal(await value(), name);
        assert.equal(await page.$eval("#text", e => e.scrollTop), scrolled);
    }
    await page.goBack();
    await chosen(scoms[1]);
    await page.goBack();
    await chosen(scoms[0]);
    assert.equal(page.url(), url);
    await page.goForward();
    await chosen(scoms[1]);
    assert.equal(await value(), name);

    page.removeAllListeners("dialog");
    const asked = page.waitForEvent("dialog");
    await page.close({ runBeforeUnload: true });
    assert.equal((await asked).type(), "beforeunload");
    await (await asked).dismiss();

    mkdirSync(join(folder, "all/inner"), { recursive: true });
    for (const name of ["all/inner/two.ffdc", "all/one.ffdc"]) file(name, readFileSync(sample("chain")));
    for (const url of [undefined, "http://viewer.test/page.html"]) { // browsers have one way for each
        await visit(page_file, url);
        const data = { items: [], files: [join(folder, "all")], dragOperationsMask: 1 };
        const mouse = await page.context().newCDPSession(page);
        for (const type of ["dragEnter", "dragOver", "drop"])
            await mouse.send("Input.dispatchDragEvent", { type, x: 300, y: 300, data });
        await shows("#dumps", "^all/inner/two.ffdc×all/one.ffdc×$");
    }
});

run("diff: one changed value is marked in list, tree, text and bytes", async () => {
    const bytes = readFileSync(sample("all_types")), [psi] = objects(sample("all_types")).filter(o => o.type === "PSI");
    bytes[psi.offset + 60] ^= 0x10;
    const other = file("other.ffdc", bytes);
    await open(sample("all_types"), other);
    await page.selectOption("#with", "1");
    await page.click("#record");
    await press("Home", "d");
    await chosen(psi.index);
    const marked = await page.$$eval("#records .row", rows =>
        rows.filter(r => r.textContent.includes("≠")).map(r => r.dataset.i));
    assert.deepEqual(marked, [String(psi.index)]);
    const [name] = await page.$$eval("#tree .differs", rows => rows.map(r => r.querySelector(".name").textContent));
    assert.match(tool("diff", sample("all_types"), other).stdout, new RegExp(`\\b${name}\\b`));
    assert.equal((await page.$$("#tree .differs")).length, 1);
    assert.equal((await page.$$("#text span.differs")).length, 2);
    assert.equal((await page.$$("#bytes b.differs")).length, 2);
});

run("hostile: markup, controls, names, endless headers", async () => {
    const evil = `"'<script>complain()</script><img src=x onerror=alert(1)>&amp;\x1b[31m\x07\x85`;
    const record = Buffer.alloc(42 + 400, 0x20), chain = Buffer.alloc(1 << 20);
    readFileSync(sample("all_types")).copy(record, 0, 0, 42);
    record.writeUInt32BE(0, 12);
    record.writeUInt16BE(26, 24);
    record.writeUInt16BE(99, 26);
    record.writeUInt16BE(record.length, 36);
    for (let at = 42; at + evil.length < record.length; at += evil.length + 1) record.write(evil, at, "latin1");
    const types = [3, 6, 7, 12, 20, 23, 26].flatMap(type => [0, 1, 2, 3].map(version => {
        const one = Buffer.from(record);
        one.writeUInt16BE(type, 24);
        one.writeUInt16BE(version, 26);
        return one;
    }));
    await open(file("evil<img src=x onerror=alert(2)>\u202egnp.ffdc", Buffer.concat(types)));
    for (let i = 0; i < types.length; ++i, await press("ArrowDown")) {
        await chosen(i);
        assert.equal(await page.$("#record script, #record img, header img"), null);
    }
    assert.ok((await text("#text")).includes("<script>") || (await text("#tree")).includes("<script>"));
    assert.ok(!/[\x00-\x08\x1b\u202e]/.test(await text("body > main") + await text("header")));
    for (let at = 0; at + 42 <= chain.length; at += 42) {
        record.copy(chain, at, 0, 42);
        chain.writeUInt16BE(65534, at + 36);
    }
    await open(file("chain.ffdc", chain));
    await page.click("#dumps .tab:has-text('chain.ffdc') button");
    await press("End", "Home", "n");
    await chosen("\\d+");
});

run("pasted: xxd, hexdump -C, hex, base64; nothing else", async () => {
    const bytes = readFileSync(sample("chain")), hex = bytes.toString("hex"), count = objects(sample("chain")).length;
    const lines = [...hex.matchAll(/.{1,32}/g)].map(([line], i) => [(16 * i).toString(16).padStart(8, "0"), line]);
    const paste = words => page.evaluate(data => {
        const clipboardData = new DataTransfer();
        clipboardData.setData("text", data);
        document.body.dispatchEvent(new ClipboardEvent("paste", { clipboardData, bubbles: true }));
    }, words);
    for (const [i, words] of [
        lines.map(([at, line]) => `${at}: ${line.match(/.{1,4}/g).join(" ")}  ........`).join("\n"),
        lines.map(([at, line]) => `${at}  ${line.match(/../g).join(" ")}  |................|`).join("\n"),
        hex, bytes.toString("base64").replace(/.{76}/g, "$&\n"),
    ].entries()) {
        await paste(words);
        await said(`^pasted ${i + 1}: ${bytes.length.toLocaleString("en")} bytes, ${count} entries`);
    }
    await paste(hex.slice(0, 20));
    await said("expected at least the 42 bytes of a header, found 10");
    await paste(`${hex.slice(0, 100)}\nno hex`);
    await said("line 2: expected pairs of hex digits, found 'no'");
});

run("a report from `ffdc html`, and what it refuses", async () => {
    for (const part of ["bin", "share/ffdc"]) mkdirSync(join(folder, "prefix", part), { recursive: true });
    const program = join(folder, "prefix/bin/ffdc"), report = join(folder, "report.html");
    copyFileSync(ffdc, program);
    const html = dump => spawnSync(program, ["html", dump, "-o", report], { encoding: "utf8" });
    const refused = html(sample("damaged")).stderr;
    assert.match(refused, /expected the viewer's page at .*prefix.share.ffdc.ffdc-viewer.html.*found none; `.\/try viewer`/);
    copyFileSync(page_file, join(folder, "prefix/share/ffdc/ffdc-viewer.html"));
    const named = join(folder, `"<b>&'.ffdc`);
    copyFileSync(sample("damaged"), named);
    assert.equal(html(named).status, 3);
    await visit(report);
    await chosen(2);
    assert.match(await text("#trouble"), /expected magic/);
    assert.ok((await text("#dumps .current")).includes(named));
    assert.ok(await page.evaluate(() => dispatchEvent(new Event("beforeunload", { cancelable: true }))));
    const large = html(file("large.ffdc", Buffer.alloc(33 << 20)));
    assert.equal(large.status, 2);
    assert.match(large.stderr, /large.ffdc: expected at most 32 MiB .* send .*ffdc-viewer.html along/);
});

run("64 MB open within 3 s, and the page stays awake", async () => {
    const bytes = readFileSync(sample("all_types"));
    const big = file("big.ffdc", Buffer.concat(Array(Math.floor(64e6 / bytes.length)).fill(bytes)));
    await page.evaluate(() => {
        let last = performance.now();
        window.longest = 0;
        setInterval(() => {
            const now = performance.now();
            window.longest = Math.max(window.longest, now - last);
            last = now;
        }, 10);
    });
    const begin = performance.now();
    const copies = Math.floor(64e6 / bytes.length);
    await open(big);
    const opened = performance.now() - begin;
    await press("End", "PageUp", "Home");
    await chosen(0);
    const found = performance.now();
    await filter("master status", (copies * texts_with("master", "status")).toLocaleString("en"));
    console.log(`opened in ${Math.round(opened)} ms, searched in ${Math.round(performance.now() - found)} ms, ` +
        `longest without a turn ${Math.round(await page.evaluate(() => window.longest))} ms`);
    assert.ok(opened < 3000, `${opened} ms`);
    assert.ok(await page.evaluate(() => window.longest) < 1000);
});
