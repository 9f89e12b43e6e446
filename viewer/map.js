// The whole dump in proportion: a strip of all of it, and under it a window into it that the wheel widens and narrows.
// Blocks are coloured by type; what is not ok is hatched and has a mark below it, so that hue is never all.
import { hex, marks } from "./dump.js";

const whole = { y: 0, height: 16 }, detail = { y: 30, height: 34 };
export const dark = () => document.documentElement.dataset.theme === "dark" ||
    (!document.documentElement.dataset.theme && matchMedia("(prefers-color-scheme: dark)").matches);
export const type_color = code => `oklch(${dark() ? "0.46 0.085" : "0.8 0.09"} ${code * 137.5 % 360})`;

export class Map_view {
    constructor(canvas, tip, choose) {
        Object.assign(this, { canvas, tip, pen: canvas.getContext("2d"), window: [0, 1], matching: null });
        new ResizeObserver(() => this.paint(true)).observe(canvas);
        canvas.addEventListener("pointermove", event => this.point(event));
        canvas.addEventListener("pointerleave", () => { tip.hidden = true; });
        canvas.addEventListener("click", event => choose(this.entry_at(event)));
        canvas.addEventListener("wheel", event => {
            if (!this.dump) return;
            event.preventDefault();
            const [from, to] = this.window, at = from + (to - from) * event.offsetX / canvas.clientWidth;
            const factor = Math.exp(event.deltaY / 300), pan = event.deltaX / canvas.clientWidth * (to - from);
            this.look(at - (at - from) * factor + pan, at + (to - at) * factor + pan);
        }, { passive: false });
    }
    show(dump) {
        Object.assign(this, { dump, matching: null, index: -1 });
        this.look(0, dump?.size ?? 1);
    }
    look(from, to) {
        const size = this.dump?.size ?? 1, span = Math.min(size, Math.max(256, to - from));
        const begin = Math.min(Math.max(0, from), size - span);
        this.window = [begin, begin + span];
        this.paint(true);
    }
    chosen(i) {
        const { dump, window: [from, to] } = this, offset = dump.offset(i), length = dump.length(i);
        const few = 60 * dump.size / dump.count; // bytes of as many entries as can be seen as blocks
        this.index = i;
        if (offset >= from && offset + length <= to && to - from <= 8 * few) return this.paint();
        const half = Math.max(Math.min(to - from, 2 * few) / 2, length);
        this.look(offset + length / 2 - half, offset + length / 2 + half);
    }

    entry_at({ offsetX, offsetY }) {
        const { dump, canvas: { clientWidth }, window: [from, to] } = this;
        if (!dump?.count) return -1;
        if (offsetY >= detail.y - 6) return dump.at(from + offsetX / clientWidth * (to - from));
        // Of the many entries under a pixel of the whole dump, a bad one is wanted.
        const [first, last] = [offsetX, offsetX + 1].map(x => dump.at(x / clientWidth * dump.size));
        for (let i = first; i <= last; ++i) if (dump.is_bad(i)) return i;
        return first;
    }
    point(event) {
        const i = this.entry_at(event), { dump, tip } = this;
        tip.hidden = i < 0;
        if (i < 0) return;
        const state = dump.state(i);
        tip.textContent = dump.title(i) + (state === "ok" ? "" : ` · ${marks[state]} ${state}`);
        tip.style.left = `${Math.min(event.clientX + 12, innerWidth - tip.offsetWidth - 8)}px`;
        tip.style.top = `${event.clientY + 18}px`;
    }

    // Draws the entries of [from, to) into a strip: of those that share a pixel, the first, and the first bad one.
    strip(pen, { y, height }, from, to, width, color) {
        const { dump, matching } = this, scale = width / (to - from);
        let next = 0, next_bad = 0;
        for (let i = dump.at(from); i < dump.count && dump.offset(i) <= to; ++i) {
            const bad = dump.is_bad(i), x = Math.min(width - 2, Math.max(0, (dump.offset(i) - from) * scale));
            const end = Math.min(width, (dump.offset(i) + dump.length(i) - from) * scale), space = Math.max(1, end - x);
            if (end < next && !(bad && x >= next_bad)) continue;
            next = Math.max(end, x + 1);
            pen.globalAlpha = matching && !matching[i] ? 0.25 : 1;
            pen.fillStyle = dump.has_header(i) ? type_color(dump.type(i)) : color.gap;
            pen.fillRect(x, y, space > 4 ? space - 1 : space, height);
            pen.globalAlpha = 1;
            if (bad) {
                next_bad = x + 4;
                pen.fillStyle = space < 8 ? color.bad : color.hatch;
                pen.fillRect(x, y, Math.max(2, space - 1), height);
                pen.fillStyle = color.bad;
                pen.fillText("▲", x + Math.min(space, 14) / 2 - 5, y + height + 11);
            }
            const name = dump.has_header(i) ? dump.type_name(i) : dump.state(i);
            if (height < 20 || space < 8 + 8 * name.length) continue;
            pen.fillStyle = color.ink;
            pen.fillText(name, x + 4, y + 14);
            pen.fillText(`${marks[dump.state(i)]} ${i}`.trim(), x + 4, y + 28);
        }
    }
    paint(again) {
        this.stale ||= again;
        this.drawing ||= requestAnimationFrame(() => {
            this.drawing = 0;
            if (this.canvas.clientWidth) this.draw();
        });
    }
    draw() {
        const { canvas, dump, pen, index, window: [from, to] } = this;
        const ratio = devicePixelRatio, width = canvas.clientWidth;
        const colors = dark() ? "#2a2f3a #ff8a80 #eef #8ab4ff" : "#e3e6ec #c0182b #112 #2457c5";
        const [gap, bad, ink, brush] = colors.split(" ");
        if (this.stale) { // everything but what is chosen, kept
            const picture = this.picture = document.createElement("canvas"), tile = document.createElement("canvas");
            picture.width = canvas.width = width * ratio;
            picture.height = canvas.height = canvas.clientHeight * ratio;
            const into = picture.getContext("2d"), hatch = tile.getContext("2d");
            tile.width = tile.height = 8;
            hatch.strokeStyle = bad;
            hatch.stroke(new Path2D("M-8 8 L0 0 M0 8 L8 0 M8 8 L16 0"));
            into.scale(ratio, ratio);
            into.font = "11px system-ui, sans-serif";
            if (dump?.count) {
                const color = { gap, bad, ink, hatch: into.createPattern(tile, "repeat") };
                this.strip(into, whole, 0, dump.size, width, color);
                this.strip(into, detail, from, to, width, color);
                const a = from / dump.size * width, b = Math.max(a + 2, to / dump.size * width);
                into.strokeStyle = brush;
                into.strokeRect(a + 0.5, 0.5, Math.max(1, b - a - 1), whole.height - 1);
                into.globalAlpha = 0.4; // how the window lies in the whole
                const { height } = whole, { y } = detail;
                into.stroke(new Path2D(`M${a} ${height} L0 ${y} M${b} ${height} L${width} ${y}`));
            }
            this.stale = false;
        }
        pen.setTransform(1, 0, 0, 1, 0, 0);
        pen.clearRect(0, 0, canvas.width, canvas.height);
        pen.drawImage(this.picture, 0, 0);
        if (!(index >= 0) || index >= dump?.count) return;
        pen.scale(ratio, ratio);
        pen.strokeStyle = pen.fillStyle = brush;
        pen.lineWidth = 3;
        const scale = width / (to - from), wide = Math.max(3, dump.length(index) * scale - 1);
        pen.strokeRect((dump.offset(index) - from) * scale, detail.y + 0.5, wide, detail.height - 1);
        pen.fillRect(dump.offset(index) / dump.size * width - 1, 0, 3, whole.height + 6);
    }
}
