#include "input/text.hpp"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <tuple>
#include <utility>

namespace {

constexpr std::size_t head_size = 64 << 10, most_guessed = 4 << 20;
constexpr std::size_t longest_line = 64 << 10;  // longer ones are read in parts
constexpr std::size_t header_size = 42;
constexpr std::uint8_t magic[] = {0xff, 0xdc, 0xff, 0xdc}, swapped_magic[] = {0xdc, 0xff, 0xdc, 0xff};
constexpr std::string_view blanks = " \t\r\v\f";

bool holds(Bytes bytes, const std::uint8_t (&what)[4]) {
    return memmem(bytes.data(), bytes.size(), what, sizeof what) != nullptr;
}
std::string_view text_of(Bytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }
Bytes bytes_of(std::string_view text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

std::string_view trimmed(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    return line.substr(0, line.find_last_not_of(blanks) + 1);
}

// Without what mails and chats put around a text: quote marks before its lines, fences over and under them.
std::string_view peeled(std::string_view line) {
    if (line.starts_with("\xef\xbb\xbf")) line.remove_prefix(3);  // the mark of UTF-8
    line = trimmed(line);
    while (line.starts_with('>')) line = trimmed(line.substr(1));
    const bool fence = line.starts_with("```") || line.starts_with("~~~") || line.starts_with("-----");
    return fence ? std::string_view() : line;
}

std::string offset_text(std::size_t offset) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%06zx", offset);
    return text;
}
std::string line_text(std::size_t number) { return "line " + std::to_string(number); }

// Whether a text's prefix, such as a time and a name in a log, is another one's but for its digits.
bool same_prefix(std::string_view a, std::string_view b) {
    const auto plain = [](char c) { return c == ' ' || (c >= '0' && c <= '9') ? '0' : c; };
    return std::ranges::equal(a, b, {}, plain, plain);
}

class Memory : public Source {
public:
    explicit Memory(Bytes bytes) { give(bytes); }

private:
    std::size_t read(std::uint8_t*, std::size_t) override { return 0; }
};

class Text : public Source {
public:
    Text(std::unique_ptr<Source> text, const Reading& reading)
        : Source(text.get()), text_(std::move(text)), reading_(reading) {}

    struct Count {
        std::size_t lines = 0, others = 0, wrong = 0;  // of the form; others, but for empty ones; those that are wrong
        std::size_t steps = 0, jumps = 0;              // offsets that are what they should be, and others
    };
    const Count& count() const { return count_; }

    void keep() override {
        text_->keep();
        Source::keep();
    }
    bool waits() const override { return text_->waits(); }
    const std::string& gap() const override { return gap_; }
    bool resume() override {
        if (!behind_gap_) return false;
        behind_gap_ = false;
        gap_.clear();
        restart(raw_ ? text_->offset() : next_);
        expected_ = next_;
        return true;
    }

private:
    std::unique_ptr<Source> text_;
    const Reading reading_;
    Count count_;
    std::string gap_;
    bool behind_gap_ = false;  // there is something
    bool raw_ = false;         // what is left is no text

    std::size_t number_ = 0, size_ = 0;  // of the line, or of the part of it, that is read; it has not been skipped yet
    bool inside_ = false;                // of a line
    std::string prefix_;                 // of the last line that had one

    Line line_;
    bool line_waits_ = false;
    std::size_t next_ = 0;      // its offset
    std::size_t expected_ = 0;  // what that should be
    bool begun_ = false, squeezed_ = false;

    std::vector<std::uint8_t> spelled_, last_;  // of all lines that have not been taken; of the last line
    std::size_t taken_ = 0, repeat_ = 0;
    std::size_t padding_ = 0;  // the last bytes may be what fills the last word

    struct Missed {
        std::size_t first = 0;  // number of the first line that could not be read, 0 if there is none
        bool wrong = false;
        std::string text;
    } missed_;

    std::size_t read(std::uint8_t* to, std::size_t room) override {
        if (taken_ == spelled_.size() && behind_gap_) return 0;
        if (taken_ == spelled_.size() && raw_) return read_raw(to, room);
        if (taken_ + padding_ >= spelled_.size()) {
            spelled_.erase(spelled_.begin(), spelled_.begin() + static_cast<std::ptrdiff_t>(taken_));
            taken_ = 0;
            while (spelled_.size() < head_size && (spelled_.size() <= padding_ || at_hand()))
                if (!take_line()) {
                    padding_ = 0;
                    break;
                }
        }
        const std::size_t n = std::min(room, spelled_.size() - padding_ - taken_);
        if (n == 0 && text_->failure()) throw Failure(*text_->failure());
        std::copy_n(spelled_.begin() + static_cast<std::ptrdiff_t>(taken_), n, to);
        taken_ += n;
        return n;
    }
    std::size_t read_raw(std::uint8_t* to, std::size_t room) {
        const Bytes there = text_->peek(1);
        const std::size_t n = std::min(room, there.size());
        std::copy_n(there.begin(), n, to);
        text_->skip(n);
        if (n == 0 && text_->failure()) throw Failure(*text_->failure());
        return n;
    }

    // Whether there is more to take without waiting for it.
    bool at_hand() const {
        const Bytes there = text_->bytes().subspan(size_);
        return line_waits_ || repeat_ != 0 || text_->ended() || std::memchr(there.data(), '\n', there.size());
    }

    // The next line, or the next part of a long one. False at the end.
    bool next_line(std::string_view& line) {
        text_->skip(std::exchange(size_, 0));
        const bool continued = inside_;
        std::string_view there;
        std::size_t end = there.npos;
        for (std::size_t n = 1; end == there.npos; n = there.size() + 1) {
            const std::size_t before = there.size();
            there = text_of(text_->peek(n));
            end = there.find('\n', before);
            if (there.size() < n || there.size() >= longest_line) break;
        }
        if (there.empty()) return false;
        inside_ = end == there.npos && there.size() >= longest_line;
        if (inside_) {
            there = there.substr(0, longest_line);
            end = there.find_last_of(" ,");
            size_ = end = end == there.npos ? longest_line : end + 1;
        } else {
            end = std::min(end, there.size());
            size_ = std::min(end + 1, there.size());
        }
        line = there.substr(0, end);
        if (!continued) ++number_;
        return true;
    }

    // Whether the order of the line's bytes is known.
    bool put_in_order() {
        if (reading_.order == Order::unknown || line_.bytes.empty()) return true;
        if (reading_.order == Order::swapped)
            for (auto at = line_.bytes.begin(); line_.word != 0 && at != line_.bytes.end();) {
                const auto begin = std::exchange(at, at + static_cast<std::ptrdiff_t>(line_.word));
                std::reverse(begin, at);
            }
        return line_.word != 0;
    }

    // What a line is, perhaps behind the prefix of a log.
    Match match(std::string_view line) {
        const Form& form = *reading_.form;
        const auto read_from = [&](std::size_t at) {
            line_.bytes.clear();
            line_.word = 1;
            const Match found = form.read(line.substr(at), line_);
            return found == Match::yes && !put_in_order() ? Match::wrong : found;
        };
        const unsigned carry = line_.carry, carried = line_.carried;
        const Match whole = read_from(0);
        if (whole == Match::yes || form.kind == "base64") {
            if (whole != Match::yes) line_.carry = carry, line_.carried = carried;
            return whole;
        }
        for (std::size_t at = line.find(' '); at < std::min<std::size_t>(line.size(), 200); at = line.find(' ', at)) {
            const char before = line[at - 1];
            at = line.find_first_not_of(' ', at);
            if (!form.has_offsets && before != ':' && before != ']' && before != '|' && before != '>') continue;
            if (read_from(at) != Match::yes) continue;
            const std::string_view prefix = line.substr(0, at);
            if (!form.has_offsets && line_.bytes.size() < 8 && !same_prefix(prefix, prefix_)) continue;
            prefix_ = prefix;
            return Match::yes;
        }
        return whole;
    }

    // Reads up to a line of the form. False at the end.
    bool find_line() {
        std::string_view text;
        while (next_line(text)) {
            const std::string_view line = peeled(text);
            if (line.empty()) continue;
            if (line == "*" && begun_ && reading_.form->has_offsets) {
                squeezed_ = true;
                continue;
            }
            const Match found = match(line);
            next_ = expected_;
            if (found == Match::yes && has_offset()) {
                ++count_.lines;
                return true;
            }
            if (reading_.guessed && holds(bytes_of(text), magic)) return end_text();
            ++count_.others;
            if (found != Match::no) ++count_.wrong;
            if (missed_.first == 0) missed_ = {number_, false, std::string(line.substr(0, 20))};
            missed_.wrong = missed_.wrong || found != Match::no;
        }
        return false;
    }
    bool has_offset() {
        if (!reading_.form->has_offsets) return true;
        const std::string_view digits = line_.offset;
        const char* const end = digits.data() + digits.size();
        const auto [stop, error] = std::from_chars(digits.data(), end, next_, reading_.base);
        return error == std::errc{} && stop == end;
    }

    // From here on it is no text, and never was meant to be: a record stands in it.
    bool end_text() {
        gap_ = line_text(number_) + ": expected text, found the magic of a record; what follows is read as raw bytes";
        raw_ = behind_gap_ = true;
        size_ = 0;
        return false;
    }

    // Appends what a line spells. False at the end, and before a gap.
    bool take_line() {
        if (repeat_ != 0) {
            const std::size_t times = std::max<std::size_t>(1, head_size / last_.size());
            for (std::size_t i = 0; i < times && repeat_ != 0; ++i, repeat_ -= last_.size())
                spelled_.insert(spelled_.end(), last_.begin(), last_.end());
            return true;
        }
        if (!line_waits_) {
            if (!find_line()) {
                if (!raw_) end();
                return false;
            }
            line_waits_ = true;
            if (const bool gap = !follows(); repeat_ != 0 || gap) return !gap;
        }
        line_waits_ = false;
        begun_ = true;
        padding_ = line_.word > 1 ? line_.word - 1 : 0;
        spelled_.insert(spelled_.end(), line_.bytes.begin(), line_.bytes.end());
        expected_ = next_ + line_.bytes.size();
        last_.swap(line_.bytes);
        missed_ = {};
        return true;
    }

    // Whether the line lies behind the one before, or "*" says what is between them.
    bool follows() {
        const bool offsets = reading_.form->has_offsets;
        if (offsets && line_.bytes.empty() && next_ < expected_ && expected_ - next_ <= padding_) {
            spelled_.resize(spelled_.size() - (expected_ - next_));
            expected_ = next_;
            padding_ = 0;
        }
        if (!begun_ && !missed_.wrong) {
            if (offsets) start(next_);
            return true;
        }
        const bool squeezed = std::exchange(squeezed_, false) && !last_.empty() && next_ > expected_;
        if (begun_ && offsets && next_ == expected_) {
            ++count_.steps;
            return true;
        }
        if (begun_ && !offsets && missed_.first == 0) return true;
        const std::size_t between = next_ - expected_;
        if (squeezed && between % last_.size() == 0) {
            ++count_.steps;
            repeat_ = between;
            return true;
        }
        if (begun_ && offsets) ++count_.jumps;
        gap_ = missed_text();
        if (begun_ && offsets) {
            if (gap_.empty()) gap_ = line_text(number_) + ": expected offset " + offset_text(expected_);
            gap_ += (missed_.first ? "; expected offset " + offset_text(expected_) : "") + ", found offset " +
                    offset_text(next_) + (missed_.first ? " in " + line_text(number_) : "");
        }
        line_.carried = 0;
        behind_gap_ = true;
        begun_ = true;
        return false;
    }
    std::string missed_text() const {
        if (missed_.first == 0) return {};
        return line_text(missed_.first) + ": expected " + std::string(reading_.form->name) + ", found '" +
               missed_.text + "'";
    }

    void end() {
        if (!begun_ && missed_.first != 0 && !reading_.guessed) throw Failure(missed_text());
        if (missed_.wrong) gap_ = missed_text();
        if (gap_.empty() && line_.carried == 6) gap_ = "expected base64, found that its last group is cut";
        missed_ = {};
    }
};

class Utf16 : public Source {
public:
    Utf16(std::unique_ptr<Source> text, bool big_endian)
        : Source(text.get()), text_(std::move(text)), big_(big_endian) {}
    void keep() override {
        text_->keep();
        Source::keep();
    }
    bool waits() const override { return text_->waits(); }

private:
    std::unique_ptr<Source> text_;
    bool big_;

    // What is not ASCII is not part of any form: one character stands for all of that.
    std::size_t read(std::uint8_t* to, std::size_t room) override {
        const Bytes there = text_->peek(2);
        const std::size_t n = std::min(room, there.size() / 2);
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint8_t low = there[2 * i + big_], high = there[2 * i + !big_];
            to[i] = high == 0 && low < 0x80 ? low : '?';
        }
        text_->skip(n == 0 ? there.size() : 2 * n);
        if (n == 0 && text_->failure()) throw Failure(*text_->failure());
        return n;
    }
};

// Text, perhaps with a few characters of noise, and surely no record.
bool looks_like_text(Bytes head) {
    const auto noise = std::ranges::count_if(head, [](std::uint8_t c) {
        return (c < ' ' && (c < '\t' || c > '\r') && c != 0x1b) || c == 0x7f || c >= 0xf8;
    });
    return !head.empty() && static_cast<std::size_t>(noise) <= head.size() / 64 && !holds(head, magic);
}

struct Trial {
    Reading reading;
    Text::Count count;
    std::size_t bytes = 0;
    bool magic = false, swapped = false;

    // Whether the lines are those of the form. Few bytes, and forms that other texts may have by chance, prove nothing
    // unless a record is in them.
    bool convinces() const {
        const Form& form = *reading.form;
        if (form.instead && reading.order != Order::unknown && !magic) return false;
        if (bytes == 0 || count.steps < count.jumps || (form.has_offsets && count.lines > 1 && count.steps == 0))
            return false;
        if (magic) return true;
        if (form.kind != "hex") return false;
        return bytes >= header_size && count.others <= (form.has_offsets ? count.lines : 0);
    }
};

Trial try_out(const Reading& reading, Bytes head) {
    constexpr std::size_t most_looked_at = 16 << 20;
    Text text(std::make_unique<Memory>(head), reading);
    Trial trial{reading, {}};
    do {
        while (trial.bytes < most_looked_at && text.peek(head_size).size() != 0) {
            const Bytes there = text.bytes();
            trial.magic = trial.magic || holds(there, magic);
            trial.swapped = trial.swapped || holds(there, swapped_magic);
            const std::size_t done = text.ended() ? there.size() : there.size() - sizeof magic + 1;
            text.skip(done);
            trial.bytes += done;
        }
    } while (text.resume());
    trial.count = text.count();
    return trial;
}

[[noreturn]] void refuse(const Form& form) {
    throw Failure("expected bytes in their order, found " + std::string(form.name) + "; what helps: " + form.instead);
}

// Whether a reading would not say the bytes in their order.
bool is_refused(const Reading& reading) { return reading.form->instead && reading.order == Order::unknown; }

// The form of which there are most lines.
Trial best_of(Bytes head, std::string_view asked) {
    Trial best;
    const auto try_it = [&](const Reading& reading) {
        const Trial trial = try_out(reading, head);
        const bool fits = asked == "auto" || reading.form->instead ? trial.convinces() : trial.count.lines > 0;
        if (!fits) return;
        const auto rank = [](const Trial& t) { return std::pair(t.count.lines, t.count.steps); };
        // Of equals, bytes in their order rather than words, and words rather than what is refused.
        const auto cost = [](const Trial& t) { return (t.reading.form->instead != nullptr) + is_refused(t.reading); };
        const bool better =
            !best.reading.form || rank(trial) > rank(best) || (rank(trial) == rank(best) && cost(trial) < cost(best));
        if (better) best = trial;
    };
    for (const Form& form : forms()) {
        if (asked != "auto" && asked != form.kind) continue;
        for (const int base : {16, 10, 8}) {
            if (form.has_offsets ? base < form.base && base != 10 : base != 16) continue;
            for (const Order order : {Order::printed, Order::swapped, Order::unknown})
                if (form.words || order == (form.instead ? Order::unknown : Order::printed))
                    try_it({&form, base, order, asked == "auto"});
        }
    }
    return best;
}

}  // namespace

bool holds_record_or_text(Bytes head) { return holds(head, magic) || looks_like_text(head); }

Reading guess(Source& source, std::string_view asked) {
    const bool is_auto = asked == "auto";
    for (std::size_t size = head_size;; size *= 2) {
        Bytes head = source.peek(size);
        head = head.first(std::min(head.size(), size));
        const bool whole = source.ended() && head.size() == source.bytes().size();
        if (is_auto && !looks_like_text(head)) return {};
        const std::size_t end = whole ? std::string_view::npos : text_of(head).rfind('\n');
        const Trial best = best_of(end == std::string_view::npos ? head : head.first(end + 1), asked);
        const Form* const form = best.reading.form;
        // Fill patterns look like digits; lines with offsets are nothing else.
        if (form && (whole || best.magic || !is_auto || best.count.steps >= 16)) {
            if (is_refused(best.reading)) refuse(*form);
            if (best.swapped && !best.magic && form->kind == "hex")
                throw Failure("expected bytes in their order, found words whose bytes are swapped in " +
                              std::string(form->name) + "; what helps: xxd or hexdump -C, without options for words");
            return best.reading;
        }
        if (!is_auto) {
            Reading reading;
            for (const Form& f : forms())
                if (f.kind == asked) reading.form = &f;
            return reading;
        }
        if (whole || size >= most_guessed) return {nullptr, 0, Order::printed, true};
    }
}

std::unique_ptr<Source> read_text(std::unique_ptr<Source> text, const Reading& reading) {
    return std::make_unique<Text>(std::move(text), reading);
}

std::unique_ptr<Source> read_utf16(std::unique_ptr<Source>& text) {
    const Bytes head = text->peek(head_size).first(std::min(text->bytes().size(), head_size));
    const bool little = text_of(head).starts_with("\xff\xfe"), big = text_of(head).starts_with("\xfe\xff");
    if (!little && !big) return nullptr;
    Utf16 beginning(std::make_unique<Memory>(head), big);
    beginning.peek(head_size);
    const Bytes characters = beginning.bytes().subspan(std::min<std::size_t>(1, beginning.bytes().size()));
    const auto foreign = std::ranges::count(characters, '?');
    if (holds(head, magic) || !looks_like_text(characters) || static_cast<std::size_t>(foreign) > characters.size() / 8)
        return nullptr;
    text->skip(2);
    return std::make_unique<Utf16>(std::move(text), big);
}
