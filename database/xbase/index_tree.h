#pragma once
// The tree of one index or tag: finding and walking entries, entering and removing them, and
// filling it from sorted ones. One algorithm for all formats; the bytes are the business of
// `IndexPages`. Changes happen inside a bracket of the table's store.
//
// Invariants: (1) entries ascend over all leaves, by key and, as written here, by record number;
// (2) all leaves are equally deep; (3) entry i of a branch is the last one below child i; (4)
// neighbours name each other where the format links them; (5) no page is empty but a root.

#include <cstdint>
#include <vector>

#include "database/xbase/index_pages.h"

namespace kelvorin::database::xbase {

class IndexTree {
 public:
  explicit IndexTree(IndexPages& pages, std::uint64_t version = 1) noexcept
      : pages_(pages), version_(version) {}

  /// A place in the tree: the pages from the root to a leaf, and where in each. It finds itself
  /// again by its entry when the tree has changed.
  class Place {
   public:
    /// Stands where this entry is or would be.
    void StandAt(base::ByteSpan entry) {
      entry_.assign(entry.begin(), entry.end());
      before_.clear();
      on_entry_ = false;
    }
    /// The entry it stands on, or stood on last. Lives as long as the place stays there.
    base::ByteSpan entry() const noexcept { return entry_; }
    std::uint32_t record() const noexcept {
      return base::LoadBE32(entry_, entry_.size() - kRecordNumberBytes);
    }

   private:
    friend class IndexTree;
    struct Step {
      std::uint32_t page = kNoPage;
      std::size_t at = 0;
      std::size_t count = 0;  // of the page's entries
      IndexNode node;         // the page, when it was read: `node.page` is then `page`
    };
    std::vector<Step> steps_;          // kept when shorter paths follow
    std::size_t depth_ = 0;            // of them in use
    const IndexTree* tree_ = nullptr;  // whose pages they are, as they were in this version
    std::uint64_t version_ = 0;
    std::uint64_t walked_ = 0;  // leaves since it was found
    bool on_entry_ = false;
    bool sought_ = false;  // `next_` is the entry of the last step, whose page was not read
    std::vector<std::byte> next_;
    std::vector<std::byte> entry_;
    std::vector<std::byte> before_;  // the entry it stood on before
  };

  /// Goes to the first entry that is not less than `target` (the front of an entry, or a whole
  /// one); false when there is none.
  bool Find(base::ByteSpan target, Place& place);
  /// Goes to the last entry that is less than `target`.
  bool FindBefore(base::ByteSpan target, Place& place);
  /// The greatest record number in the leaf that a place was led to; 0 when that is empty.
  std::uint32_t HighestRecord(Place& place);
  /// Goes to this very entry; false when it is not there.
  bool Contains(base::ByteSpan entry, Place& place) { return FindExact(entry, place); }
  bool First(Place& place);
  bool Last(Place& place);
  /// From the entry it stands on, or from the place of one that was removed meanwhile.
  bool Next(Place& place);
  bool Previous(Place& place);

  /// Enters an entry; nothing happens when it is there already.
  void Insert(base::ByteSpan entry);
  /// Enters entries that ascend, one behind the other in `entries`.
  void InsertSorted(base::ByteSpan entries);
  /// Removes an entry; false when it is not there.
  bool Erase(base::ByteSpan entry);

  /// Whether the tree was changed since `Stamped`.
  bool changed() const noexcept { return changed_; }
  void Stamped() noexcept { changed_ = false; }
  /// To be called when a bracket was given up: what is remembered of pages is forgotten.
  void Forget() noexcept;
  IndexPages& pages() noexcept { return pages_; }
  /// Another number for each state of the tree; places tell by it that theirs is past.
  std::uint64_t version() const noexcept { return version_; }

 private:
  static constexpr std::size_t kMaxDepth = 24;
  using Step = Place::Step;

  void Sync(Place& place) noexcept;
  Step& StepAt(Place& place, std::size_t depth, std::uint32_t page);
  IndexNode& Read(Step& step);
  IndexNode& Leaf(Place& place) { return Read(place.steps_[place.depth_ - 1]); }
  void Descend(Place& place, base::ByteSpan target, bool into_leaf = true);
  std::size_t ChildFor(const IndexNode& node, base::ByteSpan target);
  bool EndsBefore(std::uint32_t page, base::ByteSpan target);
  void DescendEdge(Place& place, std::size_t depth, std::uint32_t page, bool last);
  bool LandForward(Place& place);
  bool LandBackward(Place& place);
  bool OtherLeaf(Place& place, bool forward);
  bool TakeEntry(Place& place);
  bool FindExact(base::ByteSpan entry, Place& place);
  void CheckOrder(base::ByteSpan before, base::ByteSpan behind, std::uint32_t page) const;

  /// A page written, and its last entry where it is known.
  struct Piece {
    std::uint32_t page = kNoPage;
    std::vector<std::byte> last;
  };
  enum class Spliced : std::uint8_t { kDone, kPassedUp, kChanged };

  bool EnterInside(base::ByteSpan entry);
  bool AtRightEdge() const noexcept;
  std::size_t RunLength(base::ByteSpan entries);
  void Settle(bool append);
  std::vector<std::size_t> Divide(const IndexNode& node, bool append);
  std::vector<Piece> WritePieces(std::size_t depth, const std::vector<std::size_t>& counts);
  void RemovePage(std::size_t depth);
  std::uint32_t RightOf(std::size_t depth);
  Spliced Splice(Step& parent, std::vector<Piece>& pieces);
  void RaiseRoot(std::vector<Piece> pieces);
  void LowerRoot();

  IndexPages& pages_;
  Place path_;  // where changes are made; its pages stay known from one change to the next
  IndexNode probe_;
  std::vector<std::byte> merged_;
  std::uint64_t version_;
  bool changed_ = false;
};

}  // namespace kelvorin::database::xbase
