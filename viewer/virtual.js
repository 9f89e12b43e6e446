// Rows of one height, of which only those in sight exist. Very long lists are scrolled in proportion.
const tallest = 8e6; // pixels that every browser can lay out

export function el(tag, properties = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(properties)) {
        if (name.startsWith("on")) element[name] = value;
        else if (value !== null && value !== undefined) element.setAttribute(name, value);
    }
    element.append(...children);
    return element;
}

// Scrolls a box, and nothing around it, as little as shows a part of it.
export function bring_into_sight(box, part) {
    const a = part.getBoundingClientRect(), b = box.getBoundingClientRect(), right = b.left + box.clientWidth;
    box.scrollTop += Math.min(0, a.top - b.top) || Math.max(0, a.bottom - b.top - box.clientHeight);
    box.scrollLeft += Math.min(0, a.left - b.left) || Math.max(0, Math.min(a.left - b.left, a.right - right));
}

export class Rows {
    // `make` is called with the number of a row and returns its element.
    constructor(box, height, make) {
        const space = el("div", { class: "space", role: "presentation" });
        Object.assign(this, { box, height, make, space, count: 0, first: 0 });
        box.append(this.space);
        box.addEventListener("scroll", () => this.paint());
        new ResizeObserver(() => this.paint()).observe(box);
    }
    get in_sight() { return Math.max(1, Math.floor((this.box.clientHeight - this.space.offsetTop) / this.height)); }
    get most() { return Math.max(1, this.count - this.in_sight); } // the last row that can be the first in sight
    // Pixels that a row takes on the way down.
    get pace() { return Math.min(this.height, (tallest - this.in_sight * this.height) / this.most); }
    set length(count) {
        this.count = count;
        this.space.style.height = `${Math.min(count * this.height, tallest)}px`;
        this.paint();
    }
    paint() {
        this.first = Math.min(Math.floor(this.box.scrollTop / this.pace), Math.max(0, this.count - 1));
        const last = Math.min(this.count, this.first + this.in_sight + 2), rows = [];
        for (let i = this.first; i < last; ++i) {
            rows.push(this.make(i));
            rows.at(-1).style.top = `${this.first * this.pace + (i - this.first) * this.height}px`;
        }
        this.space.replaceChildren(...rows);
        const active = this.space.querySelector("[id].cursor") ?? this.space.querySelector("[id].chosen");
        this.box.setAttribute("aria-activedescendant", active?.id ?? "");
    }
    // Paints, and scrolls as little as shows the row, if there is one; if that is far, so that it is in the middle.
    reveal(i) {
        const { first, in_sight } = this, last = first + in_sight - 1;
        if (i >= 0 && (i < first || i > last || this.box.scrollTop > i * this.pace)) {
            const far = i < first - in_sight || i > last + in_sight;
            this.box.scrollTop = Math.max(0, far ? i - (in_sight >> 1) : i <= first ? i : i - in_sight + 1) * this.pace;
        }
        this.paint();
    }
}
