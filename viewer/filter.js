// The filter box: words that the decoded text must have, and conditions COLUMN OP VALUE on columns or on values by key.
const columns = {
    offset: (dump, i) => dump.offset(i), index: (dump, i) => i, size: (dump, i) => dump.length(i),
    type: (dump, i) => dump.type_name(i).toLowerCase(), version: (dump, i) => dump.layout(i),
    state: (dump, i) => dump.state(i), time: (dump, i) => dump.time(i),
    pid: (dump, i) => dump.pid(i), tgid: (dump, i) => dump.tgid(i),
};
const needs_header = new Set(["version", "pid", "tgid", "time"]);
const compare = {
    "=": (a, b) => a === b, "!=": (a, b) => a !== b, "<": (a, b) => a < b, "<=": (a, b) => a <= b,
    ">": (a, b) => a > b, ">=": (a, b) => a >= b, "~": (a, b) => String(a).includes(b),
};
export const column_names = Object.keys(columns);

// {tests: functions of (dump, i), needles: for the search in texts and values}.
export function parse_filter(text) {
    const tests = [], needles = [];
    for (const [, before, quoted] of text.toLowerCase().matchAll(/([^\s"]*)(?:"([^"]*)"?)?\s*/g)) {
        const word = before + (quoted ?? "");
        const [, name, op, value] = /^([a-z][\w.[\]]*)(!=|<=|>=|[=<>~])(.+)$/.exec(word) ?? [];
        if (name in columns) {
            const text = op === "~" || ["type", "state", "time"].includes(name), one = op === "!=" ? "every" : "some";
            const wanted = value.split(",").map(v => text ? v : Number(v));
            tests.push((dump, i) => (dump.has_header(i) || !needs_header.has(name)) &&
                wanted[one](v => compare[op](columns[name](dump, i), v)));
        } else if (word) needles.push(name ? `\x01${name}\x02${op}\x02${value}` : word);
    }
    return { tests, needles };
}

// The entries of a list in the order of a column.
export function sorted(dump, view, column, down) {
    if (column === "index" || column === "offset") return down ? view.reverse() : view;
    const keys = new Map(Array.from(view, i => [i, columns[column](dump, i)])), sign = down ? -1 : 1;
    const order = (x, y) => (x > y ? sign : x < y ? -sign : 0);
    return view.sort((a, b) => order(keys.get(a), keys.get(b)) || a - b);
}
