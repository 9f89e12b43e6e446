// What the page holds open, what is chosen, and what hands do: files, keys, filter, comparison, the place in the URL.
import { Dump, hex, marks, tame } from "./dump.js";
import { column_names, parse_filter, sorted } from "./filter.js";
import { from_base64, from_file, from_text } from "./forms.js";
import { Map_view, dark, type_color } from "./map.js";
import { Record_view, full_name } from "./record.js";
import { Rows, bring_into_sight, el } from "./virtual.js";

const $ = id => document.getElementById(id), count_of = n => n.toLocaleString("en");
const headings = { index: "#", offset: "Offset", type: "Type", size: "Size", pid: "PID", state: "State or cause" };
const module = new WebAssembly.Module(from_base64($("module").textContent));

const dumps = [];
let dump = null, index = -1; // what is shown: a dump, and its chosen entry
let other = null, partners = null; // a dump beside it, and which of its entries belongs to which
let view = new Uint32Array(0), sort = { column: "index", down: false }; // the list: indices of entries
let last_move = 0; // when another entry was chosen
let choices = 0, filters = 0; // how often was asked: an answer to anything but the last question is late

const url_place = () => new URLSearchParams(location.hash.slice(1));
// Replaces what is in a box; the focus stays on the button of the same number.
function renew(box, ...children) {
    const focused = [...box.querySelectorAll("button")].indexOf(document.activeElement);
    box.replaceChildren(...children);
    box.querySelectorAll("button")[focused]?.focus();
}
const say = text => { $("status").textContent = text; };
const panes = { text: $("text"), tree: $("tree"), bytes: $("bytes"), bits: $("bits") };
const record_view = new Record_view(panes, keep_place);
const map = new Map_view($("canvas"), $("tip"), i => choose(i));
const list = new Rows($("records"), 22, make_row);

// ---- Dumps ----
// Tabs, links and comparison know dumps by their names: a name that an open dump has gets a number.
function unused_name(name) {
    let unused = name;
    for (let n = 2; dumps.some(d => d.name === unused); ++n) unused = `${name} (${n})`;
    return unused;
}
async function open(files, names = files.map(file => file.name), from_page = false) {
    let first;
    for (const [k, file] of files.entries()) {
        const begin = performance.now(), name = tame(names[k]);
        $("progress").hidden = false;
        try {
            if (file.size > 2 ** 30) throw new Error("expected at most 1 GiB; ffdc list and ffdc carve read any size");
            const fresh = new Dump(name, await from_file(file));
            await fresh.open(module, share => { $("progress").value = share; });
            Object.assign(fresh, { name: unused_name(name), from_page });
            dumps.push(fresh);
            if (!first || fresh.name === url_place().get("dump")) first = fresh;
            const { bad, gaps } = fresh, found = [bad && `${count_of(bad)} damaged or unknown`,
                gaps && `an image, places without a record: ${count_of(gaps)}`].filter(Boolean).join(", ");
            say(`${fresh.name}: ${count_of(fresh.size)} bytes, ${count_of(fresh.count)} entries, ` +
                `${found || "all well"}, ${Math.round(performance.now() - begin)} ms`);
        } catch (error) { say(`${name}: ${error.message}`); }
        $("progress").hidden = true;
    }
    if (first) await show_dump(first, true);
}
// The files in a dropped file or directory, with their paths. From disk, Chromium reads only handles; over plain http
// it reads only entries, and crashes when asked for handles; other browsers have no handles.
async function* files_in(node, path = node.name) {
    const asked = call => new Promise((resolve, reject) => { call(resolve, reject); });
    if (node.kind === "file") yield [path, await node.getFile()];
    else if (node.isFile) yield [path, await asked((...then) => node.file(...then))];
    else if (node.kind) for await (const child of node.values()) yield* files_in(child, `${path}/${child.name}`);
    else for (const reader = node.createReader(), next = (...then) => reader.readEntries(...then); ;) {
        const children = await asked(next);
        if (!children.length) return;
        for (const child of children) yield* files_in(child, `${path}/${child.name}`);
    }
}
async function open_dropped(nodes) {
    const found = [], most = 100;
    try {
        for (const node of nodes) for await (const named of files_in(await node)) found.push(named);
    } catch (error) { return say(`The browser does not read the directory: ${error.message}`); }
    found.sort(([a], [b]) => (a < b ? -1 : 1));
    const kept = found.slice(0, most);
    await open(kept.map(([, file]) => file), kept.map(([name]) => name));
    const left = found.length - kept.length;
    if (left) say(`Expected at most ${most} files, found ${count_of(found.length)}: the last ${count_of(left)} are not open.`);
}
function paste(text) {
    try { open([new Blob([from_text(text)])], [`pasted ${dumps.length + 1}`]); }
    catch (error) { say(`Pasted text: ${error.message}`); }
}
function close_dump(closed) {
    closed.worker.terminate();
    dumps.splice(dumps.indexOf(closed), 1);
    if (other === closed) other = partners = null;
    show_dump(dump === closed ? dumps[0] ?? null : dump);
}
// Shows a dump; at the place in the URL, if that names it, else at the first damage or record.
async function show_dump(next, by_place) {
    const at = url_place(), placed = by_place && [null, next?.name].includes(at.get("dump"));
    dump = next;
    view = new Uint32Array(0);
    list.length = 0;
    choose_nothing();
    if (placed) {
        other = dumps.find(d => d.name === at.get("with")) ?? other;
        $("filter").value = at.get("filter") ?? "";
    }
    show_tabs();
    map.show(dump);
    if (!dump) return;
    document.title = `${dump.name} · FFDC viewer`;
    $("version").textContent = `libtavi_ffdc ${dump.version}`;
    $("list").style.setProperty("--index", `${Math.max(3, String(dump.count).length)}ch`);
    $("canvas").setAttribute("aria-label", `Map of ${dump.name}: ${dump.count} entries. The list says the same.`);
    await filter();
    if (dump !== next) return;
    if (placed && at.has("at")) return choose(dump.at(Number(at.get("at"))), at.get("value"));
    if (!view.length) return keep_place();
    choose(view.find(i => dump.is_bad(i)) ?? view.find(i => dump.has_header(i)) ?? view[0]);
}
// Tabs, and what is compared with what.
function show_tabs() {
    if (other === dump) other = null;
    partners = dump && other ? dump.partners(other) : null;
    renew($("dumps"), ...dumps.map(d => el("span", { class: d === dump ? "tab current" : "tab" },
        el("button", { "aria-current": d === dump, onclick: () => show_dump(d) }, d.name),
        el("button", { class: "close", "aria-label": `Close ${d.name}`, onclick: () => close_dump(d) }, "×"))));
    if (dump) bring_into_sight($("dumps"), $("dumps").querySelector(".current"));
    const beside = dumps.map((d, k) => el("option", { value: k }, d.name)).filter((_, k) => dumps[k] !== dump);
    $("with").replaceChildren(el("option", { value: -1 }, "nothing"), ...beside);
    $("with").value = dumps.indexOf(other);
    $("comparing").hidden = dumps.length < 2;
    document.body.className = dump ? "" : "empty";
}
const differs = i => partners &&
    (partners[i] < 0 || dump.hash(i) !== other.hash(partners[i]) || dump.state(i) !== other.state(partners[i]));

// ---- List ----
function make_row(place) {
    const i = view[place], state = dump.state(i), bad = dump.is_bad(i), name = dump.type_name(i);
    const cause = state === "gap" ? "between records" : dump.cause(i, () => list.paint());
    const pid = dump.has_header(i) ? dump.pid(i) : "-", mark = (differs(i) ? "≠" : "") + marks[state];
    const cells = [i, hex(dump.offset(i), 6), name, dump.length(i), pid, [bad ? state : [], cause || []].flat().join(": ")];
    return el("div", {
        class: `row ${bad ? "bad" : state} ${i === index ? "chosen" : ""}`, role: "option", id: `r${i}`, "data-i": i,
        "aria-selected": i === index, "aria-setsize": view.length, "aria-posinset": place + 1,
        style: `--type: ${dump.has_header(i) ? type_color(dump.type(i)) : "transparent"}`,
    }, el("span", { class: "mark" }, mark), ...cells.map(text => el("span", {}, text)));
}
function show_columns() {
    renew($("columns"), el("span"), ...Object.entries(headings).map(([column, name]) => {
        const now = sort.column === column, onclick = () => {
            sort = { column, down: now && !sort.down };
            show_columns();
            if (dump) filter();
        };
        return el("button", { "aria-pressed": now, onclick }, name + (!now ? "" : sort.down ? " ▾" : " ▴"));
    }));
}
async function filter() {
    const of = dump, turn = ++filters, fits = new Uint8Array(of.count);
    const { tests, needles } = parse_filter($("filter").value), passes = i => tests.every(test => test(of, i));
    const show = done => {
        view = sorted(of, new Uint32Array(of.count).map((_, i) => i).filter(i => fits[i]), sort.column, sort.down);
        map.matching = view.length < of.count ? fits : null;
        map.paint(true);
        $("found").textContent = count_of(view.length) + (map.matching ? ` of ${count_of(of.count)}` : "") +
            (done < of.count ? ` (searched ${Math.floor(100 * done / of.count)} %)` : "");
        list.length = view.length;
        list.reveal(view.indexOf(index));
    };
    if (of.searching) of.ask("cancel");
    of.searching = needles.length > 0;
    let done = of.count, painted = 0;
    if (!needles.length) fits.forEach((_, i) => { fits[i] = passes(i); });
    else try {
        await of.ask("search", { needles, count: of.count }, part => {
            if (turn !== filters) return;
            for (const i of part.hits) fits[i] = passes(i);
            done = part.done;
            if (performance.now() > painted + 150) painted = performance.now(), show(done);
        });
    } catch (error) { say(error.message); }
    if (turn !== filters) return;
    of.searching = false;
    show(done);
}

// ---- The chosen entry ----
function choose_nothing() {
    index = -1;
    ++choices;
    $("title").textContent = "No record chosen";
    $("trouble").textContent = "";
    record_view.show(null, -1);
}
// Without the name of a value, that of the entry before stays chosen if both have the same type.
async function choose(i, value_name) {
    const of = dump, turn = ++choices, partner = partners?.[i] ?? -1;
    if (!of || !(i >= 0 && i < of.count)) return;
    index = i;
    list.reveal(view.indexOf(index));
    map.chosen(i);
    const answers = [of.ask("decode", { index: i }), partner >= 0 ? other.ask("decode", { index: partner }) : null];
    const [entry, beside] = await Promise.all(answers);
    if (turn !== choices) return;
    const { trouble } = entry, state = of.state(i), against = partner >= 0 ? ` ↔ record ${partner}` : " ↔ nothing";
    $("title").textContent = of.title(i) + (partners ? against : "");
    $("trouble").className = of.is_bad(i) ? "bad" : "";
    $("trouble").textContent = state === "gap" ? "between records" : !trouble ? ""
        : `${marks[state]} ${state}: expected ${trouble.expected}, found ${trouble.found}`;
    const alike = record_view.dump?.type_name(record_view.index) === of.type_name(i);
    const kept = value_name ?? (alike && record_view.value && full_name(record_view.value));
    record_view.show(of, i, entry, beside ?? (partners ? { text: "", values: [], bytes: [] } : null), alike);
    if (kept) record_view.choose_name(kept);
    keep_place();
}
function keep_place() {
    if (!dump) return;
    const value = record_view.value && full_name(record_view.value), filter = $("filter").value;
    const at = index < 0 ? "" : `0x${hex(dump.offset(index))}`;
    const kept = { dump: dump.name, at, value, filter, with: other?.name };
    const before = url_place(), moved = ["dump", "at"].some(part => before.get(part) !== kept[part]);
    const stayed = before.has("at") && performance.now() > last_move + 500; // else the entry was only passed by
    if (moved) last_move = performance.now();
    const url = `#${new URLSearchParams(Object.entries(kept).filter(([, said]) => said))}`;
    history[moved && stayed ? "pushState" : "replaceState"](null, "", url);
}
// The next entry of the list for which something holds.
function step(by, holds, what) {
    let place = view.indexOf(index) + by;
    while (place >= 0 && place < view.length && !holds(view[place])) place += by;
    if (place in view) choose(view[place]);
    else say(`No ${by > 0 ? "further" : "earlier"} ${what} in the list.`);
}
async function next_unshown() {
    while (record_view.index !== index) await new Promise(requestAnimationFrame); // keys are faster than the worker
    let place = view.indexOf(index), tried = 0;
    while (!record_view.next_unshown()) {
        if (++place >= view.length || ++tried > 1000) return say("No further bytes that nothing shows.");
        await choose(view[place], "");
    }
}
async function copy(what) {
    const text = record_view.copy_of(what);
    if (!text) return say(`No ${what} to copy: choose a ${index < 0 ? "record" : "value"} first.`);
    try {
        await (navigator.clipboard ? navigator.clipboard.writeText(text) : copy_by_command(text));
        say(`Copied ${what}: ${count_of(text.length)} characters.`);
    } catch (error) { say(`The browser refuses to copy: ${error.message}`); }
}
// For pages from http, where browsers have no navigator.clipboard.
function copy_by_command(text) {
    const fill = event => {
        event.clipboardData.setData("text/plain", text);
        event.preventDefault();
    };
    document.addEventListener("copy", fill, { once: true });
    if (document.execCommand("copy")) return;
    document.removeEventListener("copy", fill);
    throw new Error("it allows that only over https or from disk");
}

// ---- Hands ----
const repaint = () => { map.paint(true); list.paint(); };
const theme = () => { document.documentElement.dataset.theme = dark() ? "light" : "dark"; repaint(); };
const move = by => choose(view[Math.min(view.length - 1, Math.max(0, view.indexOf(index) + by))]);
const keys = {
    ArrowDown: () => move(1), ArrowUp: () => move(-1), Home: () => move(-Infinity), End: () => move(Infinity),
    PageDown: () => move(list.in_sight), PageUp: () => move(-list.in_sight), u: next_unshown,
    n: () => step(1, i => dump.is_bad(i), "damage"), p: () => step(-1, i => dump.is_bad(i), "damage"),
    d: () => step(1, differs, "difference"), D: () => step(-1, differs, "difference"),
    c: () => copy({ tree: "value", bytes: "hex" }[document.activeElement.id] ?? "text"),
    "/": () => $("filter").focus(),
};
const always = { o: () => $("files").click(), t: theme, "?": () => $("help").showModal() };
document.onkeydown = event => {
    const { key, target } = event, named = key.length > 1; // such keys are also for what has the focus
    if (event.ctrlKey || event.metaKey || event.altKey || $("help").open || target.matches("input, select")) return;
    const action = always[key] ?? (dump && !(named && target.id === "text") ? keys[key] : null);
    if (!action) return;
    event.preventDefault();
    action();
};
$("filter").oninput = () => dump && filter().then(keep_place);
$("filter").onkeydown = event => {
    if (!dump || !["Escape", "Enter"].includes(event.key)) return;
    event.preventDefault();
    if (event.key === "Enter" && !view.includes(index)) choose(view[0]);
    if (event.key === "Escape" && dump.searching) return dump.ask("cancel");
    if (event.key === "Escape") $("filter").value = "", filter().then(keep_place);
    $("records").focus();
};
$("with").onchange = () => {
    other = dumps[$("with").value] ?? null;
    show_tabs();
    choose(index, record_view.value && full_name(record_view.value));
};
$("records").onclick = ({ target }) => choose(Number(target.closest("[data-i]")?.dataset.i ?? -1));
for (const [id, key] of Object.entries({ open: "o", first: "o", theme: "t", ask: "?" })) $(id).onclick = always[key];
$("files").onchange = () => { open([...$("files").files]).then(() => { $("files").value = ""; }); };
for (const button of document.querySelectorAll("[data-copy]")) button.onclick = () => copy(button.dataset.copy);
document.ondragover = event => event.preventDefault();
document.ondrop = document.onpaste = event => {
    const data = event.dataTransfer ?? event.clipboardData, files = [...data.files];
    if (event.target.matches("input")) return;
    event.preventDefault();
    const items = [...data.items].filter(item => item.kind === "file");
    if (items.some(item => item.webkitGetAsEntry?.()?.isDirectory)) // both are asked now: `data` is emptied afterwards
        open_dropped(items.map(item => (isSecureContext && item.getAsFileSystemHandle?.()) || item.webkitGetAsEntry()));
    else if (files.length) open(files);
    else paste(data.getData("text"));
};
// Back, Forward, and links that are typed or pasted.
window.onhashchange = () => {
    const at = url_place(), named = dumps.find(d => d.name === (at.get("dump") ?? dump?.name));
    if (!named) return;
    const filtered = at.get("filter") ?? "", beside = at.get("with") ?? undefined;
    if (named !== dump || $("filter").value !== filtered || other?.name !== beside) show_dump(named, true);
    else if (at.has("at")) choose(dump.at(Number(at.get("at"))), at.get("value") ?? "");
};
window.onbeforeunload = event => { if (dumps.some(d => !d.from_page)) event.preventDefault(); };
matchMedia("(prefers-color-scheme: dark)").onchange = repaint;
$("names").textContent = column_names.join(" ");
show_columns();
const inside = [...document.querySelectorAll("script[data-dump]")]; // a report brings its dumps along
const bytes_inside = inside.map(script => new Blob([from_base64(script.textContent)]));
open(bytes_inside, inside.map(script => script.dataset.dump), true);
