#include "commands/align.hpp"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <utility>

namespace {

using Index = std::ptrdiff_t;
using Numbers = const std::uint64_t*;
using Place = std::pair<Index, Index>;                   // in the first sequence and in the second
using Anchor = std::pair<std::uint32_t, std::uint32_t>;  // the same, in less memory: there may be millions

constexpr Index most_edits = 100;  // before what has been found so far is settled
constexpr Index nowhere = -1;

// Runs in ascending order, those that touch as one.
void add(std::vector<Run>& runs, Run run) {
    if (run.size == 0) return;
    if (!runs.empty() && runs.back().a + runs.back().size == run.a && runs.back().b + runs.back().size == run.b)
        runs.back().size += run.size;
    else
        runs.push_back(run);
}

// The places from `begin` on and before `end` of numbers that occur there once, ordered by the numbers.
std::vector<std::uint32_t> unique(Numbers numbers, Index begin, Index end) {
    std::vector<std::uint32_t> places(static_cast<std::size_t>(end - begin));
    std::iota(places.begin(), places.end(), static_cast<std::uint32_t>(begin));
    std::sort(places.begin(), places.end(), [&](auto i, auto j) { return numbers[i] < numbers[j]; });
    auto found = places.begin();
    for (auto first = places.begin(); first != places.end();) {
        const std::uint64_t number = numbers[*first];
        const auto next = std::find_if(first, places.end(), [&](auto i) { return numbers[i] != number; });
        if (next - first == 1) *found++ = *first;
        first = next;
    }
    places.erase(found, places.end());
    return places;
}

// The longest chain of places, ascending in both, of numbers that each has once between `begin` and `end`.
std::vector<Anchor> anchors(Numbers a, Numbers b, Place begin, Place end) {
    if (begin.first == end.first || begin.second == end.second) return {};
    std::vector<Anchor> places;
    {
        const auto in_a = unique(a, begin.first, end.first), in_b = unique(b, begin.second, end.second);
        places.reserve(std::min(in_a.size(), in_b.size()));
        for (auto i = in_a.begin(), j = in_b.begin(); i != in_a.end() && j != in_b.end();) {
            if (a[*i] == b[*j]) places.emplace_back(*i, *j);
            const bool next_a = a[*i] <= b[*j], next_b = b[*j] <= a[*i];
            i += next_a;
            j += next_b;
        }
    }
    std::sort(places.begin(), places.end());
    std::vector<std::uint32_t> lasts, before(places.size());  // lasts[n]: of the chain of n + 1 that ends lowest
    lasts.reserve(places.size());
    for (std::uint32_t i = 0; i < places.size(); ++i) {
        const auto shorter = std::partition_point(
            lasts.begin(), lasts.end(), [&](std::uint32_t last) { return places[last].second < places[i].second; });
        const auto length = static_cast<std::size_t>(shorter - lasts.begin());
        if (length > 0) before[i] = lasts[length - 1];
        if (length == lasts.size()) lasts.push_back(i);
        lasts[length] = i;
    }
    // From here on all of the longest chain.
    for (std::size_t n = lasts.size(); n-- > 1;) lasts[n - 1] = before[lasts[n]];
    for (std::size_t n = 0; n < lasts.size(); ++n) places[n] = places[lasts[n]];
    places.resize(lasts.size());
    return places;
}

// Adds what stays when as few elements as possible are left out on either side, found by paths that reach as far as
// they can for each number of edits. After `most_edits` of them the best path is settled, and the search begins anew.
class Edits {
public:
    Edits(Numbers a, Numbers b, Place begin, Place end, std::vector<Run>& runs)
        : a_(a), b_(b), begin_(begin), end_(end), runs_(runs) {}

    void run() {
        while (begin_.first < end_.first && begin_.second < end_.second) settle(search());
    }

private:
    Numbers a_, b_;
    Place begin_, end_;
    std::vector<Run>& runs_;
    // How far each path has come in `a`, counted from `begin_`; in `b` it is less by the path's number, which goes from
    // -edits to edits.
    std::vector<std::vector<Index>> reached_;

    Index reached(Index edits, Index path) const {
        return std::abs(path) > edits
                   ? nowhere
                   : reached_[static_cast<std::size_t>(edits)][static_cast<std::size_t>(path + edits)];
    }
    Index length_a() const { return end_.first - begin_.first; }
    Index length_b() const { return end_.second - begin_.second; }

    // Where a path is when its last edit is made: behind an element of `a` that is left out, or behind one of `b`.
    Index start(Index edits, Index path, Index& from) const {
        from = path;
        if (edits == 0) return 0;
        const Index over_a = reached(edits - 1, path - 1), over_b = reached(edits - 1, path + 1);
        const bool can_a = over_a != nowhere && over_a < length_a();
        const bool can_b = over_b != nowhere && over_b - path <= length_b();
        if (!can_a && !can_b) return nowhere;
        from = can_b && (!can_a || over_a < over_b) ? path + 1 : path - 1;
        return from > path ? over_b : over_a + 1;
    }

    // The path that comes to the end, or furthest.
    Index search() {
        reached_.clear();
        for (Index edits = 0;; ++edits) {
            std::vector<Index>& now = reached_.emplace_back(static_cast<std::size_t>(2 * edits + 1), nowhere);
            Index best = 0, furthest = nowhere;
            for (Index path = -edits, from; path <= edits; path += 2) {
                Index x = start(edits, path, from);
                if (x == nowhere) continue;
                while (x < length_a() && x - path < length_b() && a_[begin_.first + x] == b_[begin_.second + x - path])
                    ++x;
                now[static_cast<std::size_t>(path + edits)] = x;
                const Index far = 2 * x - path;
                if (far > furthest || (far == furthest && std::abs(path) < std::abs(best))) {
                    furthest = far;
                    best = path;
                }
            }
            if (furthest == length_a() + length_b() || edits == most_edits) return best;
        }
    }

    void settle(Index path) {
        std::vector<Run> backwards;
        Index edits = static_cast<Index>(reached_.size()) - 1;
        const Index end = reached(edits, path), end_path = path;
        for (; edits >= 0; --edits) {
            Index from;
            const Index begin = start(edits, path, from);
            backwards.push_back({begin_.first + begin, begin_.second + begin - path, reached(edits, path) - begin});
            path = from;
        }
        for (auto run = backwards.rbegin(); run != backwards.rend(); ++run) add(runs_, *run);
        begin_.first += end;
        begin_.second += end - end_path;
    }
};

}  // namespace

std::vector<Run> align(const std::vector<std::uint64_t>& a, const std::vector<std::uint64_t>& b) {
    std::vector<Run> runs;
    const Index shorter = static_cast<Index>(std::min(a.size(), b.size()));
    const Index head = std::mismatch(a.begin(), a.begin() + shorter, b.begin()).first - a.begin();
    const Index tail = std::mismatch(a.rbegin(), a.rbegin() + (shorter - head), b.rbegin()).first - a.rbegin();
    const Place end{static_cast<Index>(a.size()) - tail, static_cast<Index>(b.size()) - tail};
    Place begin{head, head};
    add(runs, {0, 0, head});
    for (const Place anchor : anchors(a.data(), b.data(), begin, end)) {
        Edits(a.data(), b.data(), begin, anchor, runs).run();
        add(runs, {anchor.first, anchor.second, 1});
        begin = {anchor.first + 1, anchor.second + 1};
    }
    Edits(a.data(), b.data(), begin, end, runs).run();
    add(runs, {end.first, end.second, tail});
    return runs;
}
