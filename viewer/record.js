// The chosen entry: its text, the tree of its values and its bytes, linked. Who points at a value, a byte or a bit
// lights it in all three; who chooses one keeps it lit.
import { Rows, bring_into_sight, el } from "./virtual.js";
import { hex, tame } from "./dump.js";
import { header_size, plain_text } from "./library.js";

const row_height = 18, byte_height = 19;
const nothing = { text: "", values: [], bytes: new Uint8Array(0), trouble: null };
const digits = bytes => Array.from(bytes, byte => hex(byte, 2)).join("");
const is_number = v => !["text", "bytes", "unshown"].includes(v.kind) && !v.missing;
const unsigned = v => BigInt.asUintN(8 * Math.min(v.size, 8), v.number);
const bytes_of = (entry, v) => entry.bytes.subarray(v.offset, v.offset + v.size);
const printed = (entry, v) => entry.text.substr(v.at, v.length);
const number_text = v => !is_number(v) ? "" : v.kind === "address" ? `0x${hex(v.number)}` : String(v.number);
const value_text = (entry, v) => v.kind === "bytes" || v.kind === "unshown" ? digits(bytes_of(entry, v))
    : plain_text(entry.text, v);
const own_name = v => v.kind === "unshown" ? `0x${hex(v.offset, 4)}` : v.name + (v.index >= 0 ? `[${v.index}]` : "");
const group_of = v => v.kind === "unshown" ? "not shown" : v.group;
export const full_name = v => [group_of(v), own_name(v)].filter(Boolean).join(".");

// What `ffdc json` says of a record, but where it comes from and which bytes nothing shows.
function json_of(dump, index, entry) {
    const header = dump.has_header(index), decoded = { header: {}, payload: {} }, state = dump.state(index);
    for (const v of entry.values.filter(v => v.kind !== "unshown")) {
        const bytes = digits(bytes_of(entry, v)), number = v.size > 4 ? number_text(v) : Number(v.number);
        let node = v.group === "header" ? decoded : decoded.payload, name = v.name;
        for (const part of v.group.split(".").filter(Boolean)) node = node[part] ??= {};
        if (v.index >= 0) node = node[name] ??= [], name = v.index;
        const text = printed(entry, v), plain = { text, bytes, flag: v.number !== 0n }[v.kind] ?? number;
        const value = v.missing ? null : plain;
        node[name] = v.kind === "name" ? { value, name: v.missing ? null : text.trimEnd() } : value;
    }
    return {
        type: header ? dump.types[dump.type(index)] ?? null : null, version: header ? dump.layout(index) : null,
        state: state === "gap" ? "damaged" : state, header: header ? decoded.header : null,
        payload: header ? decoded.payload : null,
    };
}

export class Record_view {
    // `at` are the elements to fill; `changed` is called when another value is chosen.
    constructor(at, changed) {
        Object.assign(this, { at, changed, rows: new Rows(at.bytes, byte_height, i => this.byte_row(i)) });
        this.show(null, -1);
        for (const pane of [at.text, at.tree, at.bytes, at.bits]) {
            pane.onpointerover = ({ target }) => this.light(this.target_of(target));
            pane.onpointerleave = () => this.light(null);
            pane.onclick = ({ target }) => this.choose(this.target_of(target), pane);
            pane.onkeydown = event => {
                const step = { tree: this.tree_step, bytes: this.bytes_step }[pane.id];
                const target = step ? step.call(this, event.key) : null;
                if (target === null) return;
                event.preventDefault();
                event.stopPropagation();
                this.choose(target, pane);
            };
        }
        new ResizeObserver(() => this.size_bytes()).observe(at.bytes);
    }

    // An entry of a dump, and its partner in another one; null without a comparison, undefined without a partner.
    // The panes stay scrolled as they are if it is `alike`.
    show(dump, index, entry = nothing, other = null, alike = false) {
        Object.assign(this, { dump, index, entry, other, lit: null, target: null });
        Object.assign(this, { spans: [], other_spans: [], items: [] }); // the elements of values, by their numbers
        const { values, bytes } = entry;
        this.by_name = new Map(values.map((v, i) => [full_name(v), i]));
        this.others = new Map(other?.values.map(v => [full_name(v), v]));
        this.differs = values.map(v => {
            const b = this.others.get(full_name(v));
            return !!other && (!b || v.missing !== b.missing || value_text(entry, v) !== value_text(other, b));
        });
        this.owner = new Int32Array(bytes.length).fill(-1); // the narrowest value of each byte
        for (const i of [...values.keys()].sort((a, b) => values[b].size - values[a].size))
            this.owner.fill(i, values[i].offset, values[i].offset + values[i].size);
        this.show_text();
        this.show_tree();
        this.size_bytes();
        for (const pane of [this.at.text, this.at.tree, this.at.bytes]) if (!alike) pane.scrollTop = 0;
        this.inspect();
    }

    // ---- Text ----
    // A part of a text, with an element for each value in it.
    pieces({ text, values }, from, to, spans) {
        const pieces = [], inside = values.filter(v => v.length && v.at >= from && v.at + v.length <= to);
        let done = from;
        for (const v of inside.sort((a, b) => a.at - b.at)) {
            const i = this.by_name.get(full_name(v));
            if (v.at < done || i === undefined) continue;
            pieces.push(tame(text.slice(done, v.at)));
            done = v.at + v.length;
            const look = `${v.missing ? "missing" : ""} ${this.differs[i] ? "differs" : ""}`;
            pieces.push(spans[i] = el("span", { class: look, "data-v": i }, tame(text.slice(v.at, done))));
        }
        return [...pieces, tame(text.slice(done, to))];
    }
    show_text() {
        const { entry, other, at } = this, all = [], beside = new Map();
        if (entry.trouble && !entry.text) return at.text.replaceChildren(
            `No record: expected ${entry.trouble.expected}, found ${entry.trouble.found}.` +
            (entry.bytes.length < this.dump.length(this.index) ? " Of these bytes only the first MiB is shown." : ""));
        // Behind the lines that differ, those of the other text.
        const line_end = (text, place) => text.indexOf("\n", place) + 1 || text.length;
        entry.values.forEach((v, i) => {
            const b = this.others.get(full_name(v));
            if (!this.differs[i] || !v.length || !b?.length) return;
            const end = line_end(entry.text, v.at + v.length - 1), [from, to] = beside.get(end) ?? [Infinity, 0];
            const begin = b.at ? other.text.lastIndexOf("\n", b.at - 1) + 1 : 0;
            beside.set(end, [Math.min(from, begin), Math.max(to, line_end(other.text, b.at + b.length - 1))]);
        });
        let done = 0;
        for (const [end, [from, to]] of [...beside].sort(([a], [b]) => a - b)) {
            all.push(...this.pieces(entry, done, end, this.spans));
            all.push(el("span", { class: "beside" }, ...this.pieces(other, from, to, this.other_spans)));
            done = end;
        }
        at.text.replaceChildren(el("pre", {}, ...all, ...this.pieces(entry, done, entry.text.length, this.spans)));
    }

    // ---- Tree ----
    show_tree() {
        const { entry: { values }, entry, other, at } = this, groups = new Map([["", at.tree]]);
        // The element of a group: made when it is first needed, in that of the group around it.
        const group = path => {
            if (groups.has(path)) return groups.get(path);
            const parts = path.split("."), name = parts.pop();
            const title = el("div", { class: "title" }, name), inside = el("div", { role: "group" });
            const item = el("div", { role: "treeitem", id: `group_${path}`, "aria-expanded": true }, title, inside);
            title.onclick = () => this.open_group(item, item.getAttribute("aria-expanded") === "false");
            groups.set(path, inside);
            group(parts.join(".")).append(item);
            return inside;
        };
        const add = (path, look, i, ...texts) => {
            const cells = texts.map((text, k) => el("span", { class: ["name", "text", other ? "text" : "number"][k] },
                tame(text.length > 400 ? `${text.slice(0, 400)}…` : text)));
            const v = values[i], own = v && {
                id: `value${i}`, "data-v": i,
                "aria-description": `${v.size} bytes at ${v.offset}: ${digits(bytes_of(entry, v)).slice(0, 32)}`,
            };
            const row = el("div", { role: "treeitem", class: `value ${look}`, ...own }, ...cells);
            group(path).append(row);
            return row;
        };
        at.tree.replaceChildren();
        at.tree.setAttribute("aria-activedescendant", "");
        const rank = i => values[i].kind === "unshown" ? values[i].offset : -1; // what is not shown comes last
        for (const i of [...values.keys()].sort((a, b) => rank(a) - rank(b) || a - b)) {
            const v = values[i], b = this.others.get(full_name(v)), beside = b ? value_text(other, b) : "-";
            const shown = value_text(entry, v);
            const in_other_base = shown.startsWith("0x") ? v.number : `0x${hex(unsigned(v))}`;
            const number = v.kind === "unshown" ? `${v.size} bytes` : v.missing ? "missing"
                : is_number(v) && v.kind !== "flag" ? String(in_other_base) : "";
            const look = `${v.kind} ${v.missing ? "missing" : ""} ${this.differs[i] ? "differs" : ""}`;
            this.items[i] = add(group_of(v), look, i, own_name(v), shown, other ? beside : number);
        }
        for (const [name, b] of this.others)
            if (!this.by_name.has(name)) add("", "differs", null, name, "-", value_text(other, b));
    }
    // The row or the group that keys of the tree start at.
    activate(item) {
        const { tree } = this.at;
        tree.querySelector(".cursor")?.classList.remove("cursor");
        if (item?.matches("[aria-expanded]")) item.firstChild.classList.add("cursor");
        if (item) bring_into_sight(tree, item.firstChild);
        tree.setAttribute("aria-activedescendant", item?.id ?? "");
    }
    open_group(group, open) {
        group.setAttribute("aria-expanded", open);
        this.activate(group);
    }
    // null if the key is for others, undefined if no value is to be chosen.
    tree_step(key) {
        const { tree } = this.at, now = document.getElementById(tree.getAttribute("aria-activedescendant"));
        const open = now?.getAttribute("aria-expanded"), page = Math.floor(tree.clientHeight / row_height);
        if (key === "ArrowLeft" && open === "true") return this.open_group(now, false);
        if (key === "ArrowLeft") return this.activate(now?.parentNode.closest("[aria-expanded]") ?? now);
        if (key === "ArrowRight" && open === "false") return this.open_group(now, true);
        const step = { PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity, ArrowDown: 1, ArrowUp: -1,
            ArrowRight: open ? 1 : 0 }[key];
        const items = [...tree.querySelectorAll("[data-v], [aria-expanded]")].filter(item => item.offsetParent);
        const next = items[Math.min(items.length - 1, Math.max(0, items.indexOf(now) + step))];
        if (!next || step === undefined) return null;
        return next.dataset.v ? this.value_target(Number(next.dataset.v)) : this.activate(next);
    }

    // ---- Bytes ----
    size_bytes() {
        this.width = this.at.bytes.clientWidth < (this.other ? 940 : 545) ? 8 : 16;
        this.rows.length = Math.ceil(this.entry.bytes.length / this.width);
    }
    byte_row(line) {
        const { entry, other, width } = this, begin = line * width;
        const cells = [el("span", { class: "place", role: "rowheader" }, hex(this.dump.offset(this.index) + begin, 6))];
        for (const source of other ? [entry, other] : [entry]) {
            const characters = el("span", { class: "characters", "aria-hidden": "true" });
            for (let i = begin; i < begin + width; ++i) {
                const byte = source.bytes[i], there = byte !== undefined, character = String.fromCharCode(byte);
                const look = this.byte_look(i), id = source === entry ? `byte${i}` : null;
                const link = { "data-b": there && i < entry.bytes.length ? i : null, class: look };
                cells.push(el("b", { ...link, role: "gridcell", id }, there ? hex(byte, 2) : "  "));
                characters.append(el("i", link, !there ? " " : byte > 0x1f && byte < 0x7f ? character : "."));
            }
            cells.push(characters);
        }
        return el("div", { class: "line", role: "row", "aria-rowindex": line + 1 }, ...cells);
    }
    byte_look(i) {
        const within = target => target && i >= target.from && i < target.to, v = this.entry.values[this.owner[i]];
        return [within(this.target) && "chosen", within(this.lit) && "lit", this.target?.byte === i && "cursor",
            i >= this.entry.bytes.length || (v && v.kind !== "unshown") ? i < header_size && "header" : "unshown",
            this.other && this.entry.bytes[i] !== this.other.bytes[i] && "differs", i % this.width === 8 && "gap",
        ].filter(Boolean).join(" ");
    }
    bytes_step(key) {
        const { width } = this, page = width * this.rows.in_sight, step = {
            ArrowLeft: -1, ArrowRight: 1, ArrowUp: -width, ArrowDown: width,
            PageUp: -page, PageDown: page, Home: -Infinity, End: Infinity,
        }[key];
        const last = this.entry.bytes.length - 1, at = this.target?.byte ?? this.target?.from ?? 0;
        return step && last >= 0 ? this.byte_target(Math.min(last, Math.max(0, at + step))) : null;
    }

    // ---- Links ----
    // A target is what one points at: values, the first of which is meant, and the bytes of that.
    value_target(i) {
        const { offset, size } = this.entry.values[i];
        return { values: [i], from: offset, to: offset + size };
    }
    byte_target(byte) {
        const { values } = this.entry, narrowest = values[this.owner[byte]]?.size;
        const own = [...values.keys()].filter(i => values[i].size === narrowest && values[i].offset <= byte &&
            byte < values[i].offset + narrowest);
        return { from: byte, to: byte + 1, ...(own.length && this.value_target(own[0])), values: own, byte };
    }
    target_of(element) {
        const at = element.closest?.("[data-v], [data-b]")?.dataset;
        return !at ? null : at.v ? this.value_target(Number(at.v)) : this.byte_target(Number(at.b));
    }
    mark(target, look, on) {
        for (const i of target?.values ?? [])
            for (const part of [this.spans[i], this.other_spans[i], this.items[i]]) part?.classList.toggle(look, on);
    }
    light(target) {
        if (!target && !this.lit) return;
        this.mark(this.lit, "lit", false);
        this.lit = target;
        this.mark(target, "lit", true);
        const cells = this.rows.space.querySelectorAll("[data-b]");
        for (const cell of cells) cell.className = this.byte_look(Number(cell.dataset.b));
        this.inspect();
    }
    choose(target, from) {
        if (!target) return;
        const { at, items, spans } = this, [first] = target.values, row = items[first];
        this.mark(this.target, "chosen", false);
        this.target = target;
        this.mark(target, "chosen", true);
        this.light(null);
        this.rows.reveal(Math.floor((target.byte ?? target.from) / this.width));
        if (spans[first] && from !== at.text) bring_into_sight(at.text, spans[first]);
        for (const group of at.tree.querySelectorAll("[aria-expanded]"))
            if (group.contains(row)) group.setAttribute("aria-expanded", true);
        this.activate(row);
        this.inspect();
        this.changed();
    }
    choose_name(name) { if (this.by_name.has(name)) this.choose(this.value_target(this.by_name.get(name))); }
    get value() { return this.entry.values[this.target?.values[0]]; }
    // Chooses the next bytes that nothing shows; false when there are none.
    next_unshown() {
        const behind = this.target?.from ?? -1, unshown = this.entry.values.filter(v => v.kind === "unshown");
        const next = unshown.sort((a, b) => a.offset - b.offset).find(v => v.offset > behind);
        if (next) this.choose_name(full_name(next));
        return !!next;
    }

    // All of what is lit, or else chosen, with its bits where it is a number.
    inspect() {
        const { at, entry, dump } = this, target = this.lit ?? this.target, v = entry.values[target?.values[0]];
        if (!target) return at.bits.replaceChildren("Point at a value, a byte or a bit; click to keep it.");
        const { from, to, values } = target, size = to - from, kind = `${v?.missing ? "missing " : ""}${v?.kind ?? ""}`;
        const place = `${size} B at 0x${hex(dump.offset(this.index) + from, 6)}, record + ${from}`;
        const rows = [el("h3", {}, v ? full_name(v) : "no value"), el("p", {}, `${kind} ${place}`)];
        if (v && is_number(v)) rows.push(el("p", { class: "numbers" }, `${v.number} · 0x${hex(unsigned(v))}`));
        for (let i = from; size <= 8 && v?.kind !== "text" && i < Math.min(to, entry.bytes.length); ++i) {
            const bits = [7, 6, 5, 4, 3, 2, 1, 0].map(bit => {
                const place = BigInt(8 * (to - 1 - i) + bit), own = !v?.mask || (v.mask >> place & 1n) === 1n;
                const owner = own && v ? values[0] : this.bit_owner(i, bit), look = own ? "own" : "";
                return el("b", { class: look, title: `bit ${place}`, "data-v": owner }, `${entry.bytes[i] >> bit & 1}`);
            });
            rows.push(el("div", { class: "bits" }, el("span", {}, `+${i}`), ...bits));
        }
        const also = values.slice(1).map(i => full_name(entry.values[i]));
        if (also.length) rows.push(el("p", {}, `also: ${also.join(", ")}`));
        at.bits.replaceChildren(...rows);
    }
    // The value that has a bit of a byte as its own.
    bit_owner(byte, bit) {
        const { values } = this.entry, place = v => BigInt(8 * (v.offset + v.size - 1 - byte) + bit);
        return this.byte_target(byte).values.find(i => (values[i].mask >> place(values[i]) & 1n) === 1n);
    }
    // What is chosen, in a form; "" if nothing is.
    copy_of(what) {
        const { entry, value } = this;
        if (!this.dump) return "";
        if (what === "json") return JSON.stringify(json_of(this.dump, this.index, entry), null, 2);
        if (what === "hex") return digits(value ? bytes_of(entry, value) : entry.bytes);
        return what === "text" ? entry.text : value ? value_text(entry, value) : "";
    }
}
