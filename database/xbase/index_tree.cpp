#include "database/xbase/index_tree.h"

#include <algorithm>
#include <array>
#include <limits>

namespace kelvorin::database::xbase {
namespace {

constexpr std::size_t kWholePage = std::numeric_limits<std::size_t>::max();
constexpr std::size_t kManyPages = 4;  // from here on a division is a load, not a change
constexpr std::byte kOnes{0xFF};

bool Less(base::ByteSpan a, base::ByteSpan b) noexcept {
  return std::memcmp(a.data(), b.data(), std::min(a.size(), b.size())) < 0;
}
bool Same(base::ByteSpan a, base::ByteSpan b) noexcept {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size()) == 0;
}
bool IsOpenEnd(base::ByteSpan entry) noexcept {
  return std::all_of(entry.begin(), entry.end(), [](std::byte b) { return b == kOnes; });
}

}  // namespace

// --- Finding

std::uint32_t IndexTree::HighestRecord(Place& place) {
  std::uint32_t highest = 0;
  const IndexNode& leaf = Leaf(place);
  for (std::size_t i = 0; i < leaf.count(); ++i) highest = std::max(highest, leaf.RecordAt(i));
  return highest;
}

void IndexTree::Sync(Place& place) noexcept {
  place.walked_ = 0;
  if (place.version_ == version_ && place.tree_ == this) return;
  place.tree_ = this;
  for (Step& step : place.steps_) step.node.page = kNoPage;
  place.version_ = version_;
}

/// The step of a path that leads to `page`.
IndexTree::Step& IndexTree::StepAt(Place& place, std::size_t depth, std::uint32_t page) {
  if (depth == kMaxDepth) pages_.Corrupt(page, "the index is too deep");
  if (place.steps_.size() == depth) place.steps_.emplace_back();
  place.steps_[depth].page = page;
  return place.steps_[depth];
}

/// The page of a step, read when it was not yet.
IndexNode& IndexTree::Read(Step& step) {
  IndexNode& node = step.node;
  if (node.page != step.page) {
    node.page = kNoPage;
    pages_.Read(step.page, node);
    node.page = step.page;
    if (!node.leaf && node.count() == 0)
      pages_.Corrupt(step.page, "a branch has no pages below it");
  }
  step.count = node.count();
  return node;
}

/// Whether the last entry below a page is less than `target`.
bool IndexTree::EndsBefore(std::uint32_t page, base::ByteSpan target) {
  for (std::size_t depth = 0; depth < kMaxDepth; ++depth) {
    pages_.Read(page, probe_);
    if (probe_.count() == 0) return true;
    if (probe_.leaf) return Less(probe_[probe_.count() - 1], target);
    page = probe_.children.back();
  }
  pages_.Corrupt(page, "the index is too deep");
}

std::size_t IndexTree::ChildFor(const IndexNode& node, base::ByteSpan target) {
  const std::size_t last = node.count() - 1;
  if (pages_.traits().exact_branches) return std::min(node.LowerBound(target), last);
  const base::ByteSpan key = target.first(std::min(target.size(), pages_.key_bytes()));
  std::size_t low = std::min(node.LowerBound(key), last);
  if (target.size() == key.size()) return low;
  // Several children may end with this very key; their last records tell which one it is.
  std::size_t high = low;
  while (high < last && Same(node.KeyAt(high), key)) ++high;
  while (low < high) {
    const std::size_t middle = (low + high) / 2;
    if (EndsBefore(node.children[middle], target)) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

/// Goes down to the first entry that is not less than `target`; without `into_leaf` to its leaf
/// alone, where the format can tell one without reading it.
void IndexTree::Descend(Place& place, base::ByteSpan target, bool into_leaf) {
  Sync(place);
  place.on_entry_ = place.sought_ = false;
  place.next_.resize(pages_.entry_bytes());
  std::uint32_t page = pages_.Root();
  for (std::size_t depth = 0;; ++depth) {
    Step& step = StepAt(place, depth, page);
    place.depth_ = depth + 1;
    IndexPages::Found found;
    if (step.node.page != page &&
        pages_.Search(page, target, found, into_leaf ? place.next_.data() : nullptr)) {
      step.at = found.at;
      step.count = found.count;
      place.sought_ = found.leaf && into_leaf && found.at < found.count;
      if (found.leaf) return;
      page = found.child;
      continue;
    }
    const IndexNode& node = Read(step);
    step.at = node.leaf ? node.LowerBound(target) : ChildFor(node, target);
    if (node.leaf) return;
    page = node.children[step.at];
  }
}

void IndexTree::DescendEdge(Place& place, std::size_t depth, std::uint32_t page, bool last) {
  place.sought_ = false;
  for (;; ++depth) {
    Step& step = StepAt(place, depth, page);
    const IndexNode& node = Read(step);
    step.at = !last ? 0 : node.count() - (node.leaf ? 0 : 1);
    if (node.leaf) break;
    page = node.children[step.at];
  }
  place.depth_ = depth + 1;
}

bool IndexTree::OtherLeaf(Place& place, bool forward) {
  if (++place.walked_ > pages_.PageCount() + 1)
    pages_.Corrupt(place.steps_[place.depth_ - 1].page, "the pages run in a circle");
  for (std::size_t depth = place.depth_ - 1; depth-- > 0;) {
    Step& step = place.steps_[depth];
    if (forward ? step.at + 1 >= step.count : step.at == 0) continue;
    step.at += forward ? std::size_t{1} : std::numeric_limits<std::size_t>::max();
    DescendEdge(place, depth + 1, Read(step).children[step.at], !forward);
    return true;
  }
  return false;
}

void IndexTree::CheckOrder(base::ByteSpan before, base::ByteSpan behind, std::uint32_t page) const {
  // Other programs do not keep equal keys in the order of their records everywhere.
  const std::size_t bytes =
      pages_.traits().exact_branches ? pages_.entry_bytes() : pages_.key_bytes();
  if (before.empty() || behind.empty()) return;
  if (Less(behind.first(bytes), before.first(bytes)))
    pages_.Corrupt(page, "its keys are not in order");
}

bool IndexTree::TakeEntry(Place& place) {
  place.before_.swap(place.entry_);
  if (place.sought_) {
    place.entry_.swap(place.next_);
  } else {
    const IndexNode& leaf = Leaf(place);
    const base::ByteSpan entry = leaf[place.steps_[place.depth_ - 1].at];
    place.entry_.assign(entry.begin(), entry.end());
  }
  place.sought_ = false;
  return place.on_entry_ = true;
}

bool IndexTree::LandForward(Place& place) {
  for (;;) {
    const Step& step = place.steps_[place.depth_ - 1];
    if (step.at < step.count) return TakeEntry(place);
    if (!OtherLeaf(place, true)) return place.on_entry_ = false;
  }
}

/// Onto the entry before the one the place is at.
bool IndexTree::LandBackward(Place& place) {
  place.sought_ = false;
  for (;;) {
    Step& step = place.steps_[place.depth_ - 1];
    if (step.at > 0) {
      --step.at;
      return TakeEntry(place);
    }
    if (!OtherLeaf(place, false)) return place.on_entry_ = false;
  }
}

bool IndexTree::Find(base::ByteSpan target, Place& place) {
  Descend(place, target);
  return LandForward(place);
}

bool IndexTree::FindBefore(base::ByteSpan target, Place& place) {
  Descend(place, target);
  return LandBackward(place);
}

bool IndexTree::First(Place& place) {
  Sync(place);
  DescendEdge(place, 0, pages_.Root(), false);
  return LandForward(place);
}

bool IndexTree::Last(Place& place) {
  Sync(place);
  DescendEdge(place, 0, pages_.Root(), true);
  return LandBackward(place);
}

bool IndexTree::FindExact(base::ByteSpan entry, Place& place) {
  if (Find(entry, place) && Same(place.entry_, entry)) return true;
  if (pages_.traits().exact_branches) return false;
  const base::ByteSpan key = entry.first(pages_.key_bytes());
  for (bool found = Find(key, place); found; found = Next(place)) {
    if (!Same(base::ByteSpan(place.entry_).first(key.size()), key)) break;
    if (Same(place.entry_, entry)) return true;
  }
  (void)Find(entry, place);
  return false;
}

bool IndexTree::Next(Place& place) {
  if (place.version_ != version_ || place.tree_ != this || !place.on_entry_) {
    const std::vector<std::byte> from = place.entry_;
    if (!FindExact(from, place)) return place.on_entry_;
  }
  ++place.steps_[place.depth_ - 1].at;
  if (!LandForward(place)) return false;
  CheckOrder(place.before_, place.entry_, place.steps_[place.depth_ - 1].page);
  return true;
}

bool IndexTree::Previous(Place& place) {
  if (place.version_ != version_ || place.tree_ != this || !place.on_entry_) {
    // Where the entry is gone the one behind it is found: the one before that is meant either way.
    const std::vector<std::byte> from = place.entry_;
    (void)FindExact(from, place);
  }
  if (!LandBackward(place)) return false;
  CheckOrder(place.entry_, place.before_, place.steps_[place.depth_ - 1].page);
  return true;
}

void IndexTree::Forget() noexcept {
  ++version_;
  pages_.Forget();
}

// --- Changing

void IndexTree::Insert(base::ByteSpan entry) {
  Descend(path_, entry, false);
  if (EnterInside(entry)) return;
  Step& step = path_.steps_[path_.depth_ - 1];
  IndexNode& leaf = Read(step);
  step.at = leaf.LowerBound(entry);
  if (step.at < leaf.count() && Same(leaf[step.at], entry)) return;
  const bool append = step.at == leaf.count() && AtRightEdge();
  leaf.Insert(step.at, entry);
  Settle(append);
}

/// Enters an entry into the leaf of the path where its page has room, and names it above where it
/// is the last one there.
bool IndexTree::EnterInside(base::ByteSpan entry) {
  using Entered = IndexPages::Entered;
  Step& leaf = path_.steps_[path_.depth_ - 1];
  const Entered entered = pages_.Enter(leaf.page, entry);
  if (entered == Entered::kNo) return false;
  if (entered == Entered::kWasThere) return true;
  leaf.node.page = kNoPage;
  bool last = entered == Entered::kAsLast;
  for (std::size_t depth = path_.depth_ - 1; last && depth-- > 0;) {
    Step& step = path_.steps_[depth];
    pages_.SetBranchEntry(step.page, step.at, entry);
    step.node.page = kNoPage;
    last = step.at + 1 == step.count;
  }
  path_.version_ = ++version_;
  changed_ = true;
  return true;
}

bool IndexTree::Erase(base::ByteSpan entry) {
  if (!FindExact(entry, path_)) return false;
  Leaf(path_).Erase(path_.steps_[path_.depth_ - 1].at);
  Settle(false);
  return true;
}

void IndexTree::InsertSorted(base::ByteSpan entries) {
  const std::size_t size = pages_.entry_bytes();
  while (!entries.empty()) {
    Descend(path_, entries.first(size));
    const std::size_t run = RunLength(entries);
    IndexNode& leaf = Leaf(path_);
    const bool append = path_.steps_[path_.depth_ - 1].at == leaf.count() && AtRightEdge();
    merged_.clear();
    std::size_t old = 0;
    for (std::size_t i = 0; i < run; ++i) {
      const base::ByteSpan entry = entries.subspan(i * size, size);
      while (old < leaf.count() && Less(leaf[old], entry)) {
        merged_.insert(merged_.end(), leaf[old].begin(), leaf[old].end());
        ++old;
      }
      if (old < leaf.count() && Same(leaf[old], entry)) continue;
      merged_.insert(merged_.end(), entry.begin(), entry.end());
    }
    merged_.insert(merged_.end(), leaf.entries.begin() + static_cast<std::ptrdiff_t>(old * size),
                   leaf.entries.end());
    leaf.entries.swap(merged_);
    Settle(append);
    entries = entries.subspan(run * size);
  }
}

bool IndexTree::AtRightEdge() const noexcept {
  for (std::size_t depth = 0; depth + 1 < path_.depth_; ++depth)
    if (path_.steps_[depth].at + 1 < path_.steps_[depth].count) return false;
  return true;
}

/// How many of the entries go into the leaf that the first of them was led to.
std::size_t IndexTree::RunLength(base::ByteSpan entries) {
  const std::size_t size = pages_.entry_bytes(), total = entries.size() / size;
  for (std::size_t depth = path_.depth_ - 1; depth-- > 0;) {
    Step& step = path_.steps_[depth];
    if (step.at + 1 == step.count) continue;
    const IndexNode& node = Read(step);
    const bool exact = pages_.traits().exact_branches;
    const base::ByteSpan end = exact ? node[step.at] : node.KeyAt(step.at);
    std::size_t run = 1;
    while (run < total) {
      const base::ByteSpan entry = entries.subspan(run * size, size);
      if (exact ? Less(end, entry) : !Less(entry.first(end.size()), end)) break;
      ++run;
    }
    return run;
  }
  return total;
}

/// Writes the changed leaf of the path and whatever follows from it above.
void IndexTree::Settle(bool append) {
  ++version_;
  changed_ = true;
  path_.on_entry_ = false;
  bool same_pages = true;
  std::size_t depth = path_.depth_ - 1;
  std::vector<Piece> pieces;
  for (bool write = true;; --depth) {
    IndexNode& node = path_.steps_[depth].node;
    if (write) {
      pieces.clear();
      if (node.count() == 0 && depth > 0) {
        RemovePage(depth);
      } else {
        if (node.count() == 0) node.leaf = true;
        pieces = WritePieces(depth, Divide(node, append));
      }
      same_pages = same_pages && pieces.size() == 1;
    }
    if (depth == 0) break;
    const Spliced spliced = Splice(path_.steps_[depth - 1], pieces);
    if (spliced == Spliced::kDone) {
      pieces.resize(1);
      break;
    }
    write = spliced == Spliced::kChanged;
  }
  if (depth == 0) {
    const IndexNode& root = path_.steps_[0].node;
    if (pieces.size() > 1) {
      RaiseRoot(std::move(pieces));
    } else if (!root.leaf && root.count() == 1) {
      LowerRoot();
      same_pages = false;
    }
  }
  if (same_pages) path_.version_ = version_;
}

std::vector<std::size_t> IndexTree::Divide(const IndexNode& node, bool append) {
  std::vector<std::size_t> counts;
  const std::size_t total = node.count();
  std::size_t first = 0;
  do {
    const std::size_t fit = total == 0 ? 0 : pages_.Fit(node, first, kWholePage);
    counts.push_back(fit);
    first += fit;
  } while (first < total);
  // Keys that arrive in order fill their pages; any other page keeps room for those to come.
  if (counts.size() > 1 && counts.size() <= kManyPages && !append) {
    const std::size_t share = pages_.Weight(node) / counts.size();
    const std::size_t most = counts.size();
    counts.clear();
    for (first = 0; first < total; first += counts.back())
      counts.push_back(pages_.Fit(node, first, counts.size() + 1 < most ? share : kWholePage));
  }
  // A branch of one child would be one without a key.
  const std::size_t last = counts.size() - 1;
  if (!node.leaf && last > 0 && counts[last] == 1 && counts[last - 1] > 2) {
    --counts[last - 1];
    ++counts[last];
  }
  return counts;
}

std::vector<IndexTree::Piece> IndexTree::WritePieces(std::size_t depth,
                                                     const std::vector<std::size_t>& counts) {
  IndexNode& node = path_.steps_[depth].node;
  const TreeTraits& traits = pages_.traits();
  std::vector<Piece> pieces(counts.size());
  pieces[0].page = node.page;
  for (std::size_t i = 1; i < pieces.size(); ++i) pieces[i].page = pages_.Allocate();
  std::size_t first = 0;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    PagePlace place;
    place.page = pieces[i].page;
    place.left = i == 0 ? node.left : pieces[i - 1].page;
    place.right = i + 1 < pieces.size() ? pieces[i + 1].page : node.right;
    place.root = depth == 0 && pieces.size() == 1;
    pages_.Write(node, first, counts[i], place);
    first += counts[i];
    if (counts[i] == 0) continue;
    const base::ByteSpan last = node[first - 1];
    if (node.leaf || !IsOpenEnd(last)) pieces[i].last.assign(last.begin(), last.end());
  }
  if (pieces.size() > 1) {
    const std::uint32_t right = traits.all_links                 ? node.right
                                : traits.left_links && node.leaf ? RightOf(depth)
                                                                 : kNoPage;
    if (right != kNoPage) pages_.SetLeft(right, pieces.back().page);
  }
  // What a branch ends with is not kept there, and must not be remembered as if it were.
  if (!node.leaf && traits.open_end && node.count() > 0)
    std::fill(node.entries.end() - static_cast<std::ptrdiff_t>(node.entry_bytes),
              node.entries.end(), kOnes);
  return pieces;
}

/// The page at the right of the path's page at `depth`, or none.
std::uint32_t IndexTree::RightOf(std::size_t depth) {
  for (std::size_t above = depth; above-- > 0;) {
    Step& step = path_.steps_[above];
    if (step.at + 1 >= step.count) continue;
    std::uint32_t page = Read(step).children[step.at + 1];
    for (std::size_t below = above + 1; below < depth; ++below) {
      pages_.Read(page, probe_);
      if (probe_.leaf || probe_.children.empty())
        pages_.Corrupt(page, "the index is not equally deep everywhere");
      page = probe_.children.front();
    }
    return page;
  }
  return kNoPage;
}

/// Takes the empty page of the path at `depth` out of its row.
void IndexTree::RemovePage(std::size_t depth) {
  const IndexNode& node = path_.steps_[depth].node;
  const TreeTraits& traits = pages_.traits();
  if (traits.all_links) {
    if (node.left != kNoPage) pages_.SetRight(node.left, node.right);
    if (node.right != kNoPage) pages_.SetLeft(node.right, node.left);
  } else if (traits.left_links && node.leaf) {
    const std::uint32_t right = RightOf(depth);
    if (right != kNoPage) pages_.SetLeft(right, node.left);
  }
  pages_.Release(node.page);
}

/// Puts the pages that became of a child in its place.
IndexTree::Spliced IndexTree::Splice(Step& parent, std::vector<Piece>& pieces) {
  IndexNode& node = Read(parent);
  const std::size_t at = parent.at;
  const TreeTraits& traits = pages_.traits();
  const auto child = node.children.begin() + static_cast<std::ptrdiff_t>(at);
  if (pieces.empty()) {
    node.Erase(at);
    node.children.erase(child);
    return Spliced::kChanged;
  }
  const bool open = traits.open_end && at + 1 == node.count();
  Piece& last = pieces.back();
  if (pieces.size() == 1) {
    if (last.last.empty()) return Spliced::kDone;
    if (open) {
      last.page = node.page;
      return Spliced::kPassedUp;
    }
    const std::size_t bytes = traits.exact_branches ? node.entry_bytes : pages_.key_bytes();
    if (Same(node[at].first(bytes), base::ByteSpan(last.last).first(bytes))) return Spliced::kDone;
  }
  if (!open && !last.last.empty())
    std::copy(last.last.begin(), last.last.end(),
              node.entries.begin() + static_cast<std::ptrdiff_t>(at * node.entry_bytes));
  *child = last.page;
  std::vector<std::byte> entries;
  std::vector<std::uint32_t> children;
  for (std::size_t i = 0; i + 1 < pieces.size(); ++i) {
    entries.insert(entries.end(), pieces[i].last.begin(), pieces[i].last.end());
    children.push_back(pieces[i].page);
  }
  node.entries.insert(node.entries.begin() + static_cast<std::ptrdiff_t>(at * node.entry_bytes),
                      entries.begin(), entries.end());
  node.children.insert(node.children.begin() + static_cast<std::ptrdiff_t>(at), children.begin(),
                       children.end());
  return Spliced::kChanged;
}

void IndexTree::RaiseRoot(std::vector<Piece> pieces) {
  while (pieces.size() > 1) {
    IndexNode top;
    top.page = pages_.Allocate();
    top.leaf = false;
    top.entry_bytes = pages_.entry_bytes();
    for (const Piece& piece : pieces) {
      top.children.push_back(piece.page);
      if (piece.last.empty()) {
        top.entries.resize(top.entries.size() + top.entry_bytes, kOnes);
      } else {
        top.entries.insert(top.entries.end(), piece.last.begin(), piece.last.end());
      }
    }
    path_.steps_[0].node = std::move(top);
    pieces = WritePieces(0, Divide(path_.steps_[0].node, true));
  }
  pages_.SetRoot(pieces[0].page);
}

/// A root with one page below it gives way to that page.
void IndexTree::LowerRoot() {
  const std::uint32_t old = path_.steps_[0].node.page;
  std::uint32_t page = path_.steps_[0].node.children[0];
  pages_.Release(old);
  for (std::size_t depth = 0;; ++depth) {
    if (depth == kMaxDepth) pages_.Corrupt(page, "the index is too deep");
    pages_.Read(page, probe_);
    if (probe_.leaf || probe_.count() != 1) break;
    const std::uint32_t below = probe_.children[0];
    pages_.Release(page);
    page = below;
  }
  pages_.Write(probe_, 0, probe_.count(), {.page = page, .root = true});
  pages_.SetRoot(page);
}

}  // namespace kelvorin::database::xbase
