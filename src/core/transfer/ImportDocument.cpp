#include "core/transfer/ImportDocument.h"

#include <algorithm>

namespace wordloom {

void ImportNotes::count(const std::string& what) {
    const auto it = std::find_if(entries_.begin(), entries_.end(),
                                 [&](const Entry& e) { return e.count > 0 && e.text == what; });
    if (it != entries_.end()) {
        ++it->count;
    } else {
        entries_.push_back({what, 1});
    }
}

void ImportNotes::note(std::string sentence) {
    const auto it = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) {
        return e.count == 0 && e.text == sentence;
    });
    if (it == entries_.end()) {
        entries_.push_back({std::move(sentence), 0});
    }
}

std::vector<std::string> ImportNotes::sentences() const {
    std::vector<std::string> out;
    out.reserve(entries_.size());
    for (const auto& entry : entries_) {
        out.push_back(entry.count == 0 ? entry.text
                                       : std::to_string(entry.count) + " " + entry.text);
    }
    return out;
}

}  // namespace wordloom
