#include "core/library/TextDiff.h"

#include <algorithm>
#include <cstdint>

namespace wordloom {
namespace {

std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    if (text.empty()) {
        return lines;
    }
    std::size_t start = 0;
    while (start <= text.size()) {
        const auto end = text.find('\n', start);
        auto line = text.substr(
            start, end == std::string_view::npos ? std::string_view::npos : end - start);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        lines.push_back(line);
        if (end == std::string_view::npos) {
            break;
        }
        start = end + 1;
        if (start == text.size()) {
            break;  // a final line break ends the last line; it does not start an empty one
        }
    }
    return lines;
}

}  // namespace

std::vector<DiffLine> diffLines(std::string_view before, std::string_view after,
                                std::size_t maximumEdits) {
    // Memory grows with the square of the edits: 1,000 edits keep about 8 MB.
    const auto a = splitLines(before);
    const auto b = splitLines(after);
    // Common head and tail cost nothing to compare and keep the search small.
    std::size_t head = 0;
    while (head < a.size() && head < b.size() && a[head] == b[head]) {
        ++head;
    }
    std::size_t tail = 0;
    while (tail < a.size() - head && tail < b.size() - head &&
           a[a.size() - 1 - tail] == b[b.size() - 1 - tail]) {
        ++tail;
    }
    const auto n = static_cast<std::int64_t>(a.size() - head - tail);
    const auto m = static_cast<std::int64_t>(b.size() - head - tail);
    const auto x0 = static_cast<std::int64_t>(head);

    std::vector<DiffLine> out;
    for (std::size_t i = 0; i < head; ++i) {
        out.push_back({DiffLine::Kind::same, std::string(a[i])});
    }

    // Myers: v[k] is the furthest x on diagonal k after d edits; every round is kept to trace
    // the path back.
    const std::int64_t limit =
        std::min<std::int64_t>(n + m, static_cast<std::int64_t>(maximumEdits));
    const std::int64_t offset = limit + 1;
    std::vector<std::vector<std::int64_t>> trace;
    std::vector<std::int64_t> v(static_cast<std::size_t>(2 * offset + 1), 0);
    bool found = n == 0 && m == 0;
    std::int64_t finalD = 0;
    for (std::int64_t d = 0; d <= limit && !found; ++d) {
        for (std::int64_t k = -d; k <= d; k += 2) {
            std::int64_t x;
            if (k == -d || (k != d && v[k - 1 + offset] < v[k + 1 + offset])) {
                x = v[k + 1 + offset];
            } else {
                x = v[k - 1 + offset] + 1;
            }
            std::int64_t y = x - k;
            while (x < n && y < m && a[x0 + x] == b[x0 + y]) {
                ++x;
                ++y;
            }
            v[k + offset] = x;
            if (x >= n && y >= m) {
                found = true;
                finalD = d;
                break;
            }
        }
        // Round d only reaches diagonals -d..d: keep just those.
        trace.emplace_back(v.begin() + (offset - d), v.begin() + (offset + d + 1));
    }

    std::vector<DiffLine> middle;
    if (!found) {
        for (std::int64_t i = 0; i < n; ++i) {
            middle.push_back({DiffLine::Kind::removed, std::string(a[x0 + i])});
        }
        for (std::int64_t j = 0; j < m; ++j) {
            middle.push_back({DiffLine::Kind::added, std::string(b[x0 + j])});
        }
    } else {
        std::int64_t x = n;
        std::int64_t y = m;
        for (std::int64_t d = finalD; d > 0; --d) {
            const auto& previous = trace[static_cast<std::size_t>(d - 1)];
            // Diagonal kk of round d - 1 is at kk + (d - 1) in its slice.
            const auto at = [&](std::int64_t kk) {
                return previous[static_cast<std::size_t>(kk + d - 1)];
            };
            const std::int64_t k = x - y;
            const bool down = k == -d || (k != d && at(k - 1) < at(k + 1));
            const std::int64_t previousK = down ? k + 1 : k - 1;
            const std::int64_t previousX = at(previousK);
            const std::int64_t previousY = previousX - previousK;
            while (x > previousX && y > previousY) {
                --x;
                --y;
                middle.push_back({DiffLine::Kind::same, std::string(a[x0 + x])});
            }
            if (down) {
                --y;
                middle.push_back({DiffLine::Kind::added, std::string(b[x0 + y])});
            } else {
                --x;
                middle.push_back({DiffLine::Kind::removed, std::string(a[x0 + x])});
            }
        }
        while (x > 0 && y > 0) {
            --x;
            --y;
            middle.push_back({DiffLine::Kind::same, std::string(a[x0 + x])});
        }
        std::reverse(middle.begin(), middle.end());
        // Within a run of changes, show what went before what replaced it.
        for (std::size_t i = 0; i < middle.size();) {
            std::size_t j = i;
            while (j < middle.size() && middle[j].kind != DiffLine::Kind::same) {
                ++j;
            }
            std::stable_partition(
                middle.begin() + static_cast<std::ptrdiff_t>(i),
                middle.begin() + static_cast<std::ptrdiff_t>(j),
                [](const DiffLine& line) { return line.kind == DiffLine::Kind::removed; });
            i = j == i ? i + 1 : j;
        }
    }
    out.insert(out.end(), std::make_move_iterator(middle.begin()),
               std::make_move_iterator(middle.end()));
    for (std::size_t i = a.size() - tail; i < a.size(); ++i) {
        out.push_back({DiffLine::Kind::same, std::string(a[i])});
    }
    return out;
}

}  // namespace wordloom
