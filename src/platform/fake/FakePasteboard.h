#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/expansion/Pasteboard.h"

namespace wordloom {

/// A pasteboard in memory, with a change count per selection like the real one. Tests can make
/// the owner unresponsive (snapshot() answers nullopt) and see every write.
class FakePasteboard final : public Pasteboard {
  public:
    std::uint64_t changeCount(PasteboardSelection selection) override;
    std::optional<PasteboardSnapshot> snapshot(PasteboardSelection selection) override;
    std::uint64_t write(PasteboardSelection selection,
                        const std::vector<PasteboardItem>& items) override;
    std::vector<PasteboardItem> withPlatformRepresentations(
        std::vector<PasteboardItem> items) override;
    std::optional<std::string> plainText() override;
    void waitUntilRead(Duration quiet, Duration limit) override;

    /// What another application (or the user) copies: a new change count.
    void copyFromUser(PasteboardSelection selection, PasteboardSnapshot items);
    const PasteboardSnapshot& contents(PasteboardSelection selection);
    /// The plain text of `selection`, as an application pasting it would read it.
    std::optional<std::string> textOf(PasteboardSelection selection);
    void setOwnerUnresponsive(bool unresponsive) { ownerUnresponsive_ = unresponsive; }
    /// Writes throw, as a pasteboard that lost its display would.
    void setWritesFail(bool fail) { writesFail_ = fail; }
    /// Stands in for the platform's conversions (may throw PasteboardFormatError); unset, the
    /// items are written as given.
    std::function<std::vector<PasteboardItem>(std::vector<PasteboardItem>)> representations;

    std::size_t snapshotCount() const { return snapshots_; }
    std::size_t writeCount() const { return writes_; }
    std::size_t waitCount() const { return waits_; }

  private:
    struct Selection {
        PasteboardSnapshot items;
        std::uint64_t changeCount = 0;
    };
    std::map<PasteboardSelection, Selection> selections_;
    bool ownerUnresponsive_ = false;
    bool writesFail_ = false;
    std::size_t snapshots_ = 0;
    std::size_t writes_ = 0;
    std::size_t waits_ = 0;
};

}  // namespace wordloom
