#include "database/access/index_tree.h"

#include <algorithm>

namespace kelvorin::database::access {
namespace {

std::string_view KeyOf(std::string_view node_entry) noexcept {
  return node_entry.substr(0, node_entry.size() - kChildBytes);
}

std::uint32_t ChildOf(std::string_view node_entry) noexcept {
  return base::LoadBE32(base::AsBytes(node_entry), node_entry.size() - kChildBytes);
}

/// A search jumps about in a leaf that is rarely in the processor's cache: all its lines are asked
/// for at once, so that it waits once and not at every step.
void Prefetch(base::ByteSpan page) noexcept {
  constexpr std::size_t kLineBytes = 64;
  for (std::size_t at = 0; at < page.size(); at += kLineBytes) __builtin_prefetch(&page[at]);
}

std::string NodeEntry(std::string_view key, std::uint32_t child) {
  std::string entry(key);
  for (int shift = 24; shift >= 0; shift -= 8) entry += static_cast<char>(child >> shift & 0xFF);
  return entry;
}

}  // namespace

RowId RowOf(std::string_view entry) noexcept {
  return {base::LoadBE32(base::AsBytes(entry), entry.size() - kPositionBytes)};
}

void AppendPosition(RowId row, std::string& key) {
  for (int shift = 24; shift >= 0; shift -= 8) key += static_cast<char>(row.value >> shift & 0xFF);
}

// --- Finding

Page IndexTree::PinIndex(std::uint32_t number, bool searched) const {
  Page page = channel_.Pin(number);
  if (searched) Prefetch(page.bytes());
  if (page.type() != kIndexLeaf && page.type() != kIndexNode)
    channel_.Corrupt(number, "is of type " + std::to_string(page.type()) + ", no index page");
  if (base::LoadLE32(page.bytes(), 4) != table_)
    channel_.Corrupt(number, "belongs to the index of another table");
  return page;
}

std::uint32_t IndexTree::ChildAt(const IndexPage& node, std::uint32_t number,
                                 std::uint32_t at) const {
  const std::uint32_t child = at == kTail ? node.tail() : node.Child(at);
  if (child == 0) channel_.Corrupt(number, "an index node has no child to go on with");
  return child;
}

void IndexTree::Path::PushFront(const Step& step) noexcept {
  std::copy_backward(steps_.begin(), steps_.begin() + static_cast<std::ptrdiff_t>(size_),
                     steps_.begin() + static_cast<std::ptrdiff_t>(size_) + 1);
  steps_.front() = step;
  ++size_;
}

Page IndexTree::Descend(std::string_view key, Path* path) const {
  Page page = PinIndex(index_.root);
  for (std::size_t depth = 0;; ++depth) {
    if (depth == kMaxDepth) channel_.Corrupt(index_.root, "an index is too deep");
    const IndexPage node(channel_, page);
    if (node.leaf()) return page;
    std::uint32_t at = node.LowerBound(key);
    bool beyond = false;
    if (at == node.used()) {
      // Without a tail the last child takes what lies behind every entry.
      beyond = node.tail() == 0;
      at = !beyond || node.empty() ? kTail : node.Before(at);
    }
    if (path != nullptr) path->Push({page.number(), at, beyond});
    const bool above_leaves = node.level() == 1;
    page = PinIndex(ChildAt(node, page.number(), at), above_leaves);
  }
}

bool IndexTree::Find(std::string_view from, bool behind, Place& place, std::string& out) const {
  place.page = Descend(from, nullptr);
  place.changes = channel_.changes();
  IndexPage leaf(channel_, place.page);
  place.at = leaf.LowerBound(from);
  if (place.at != leaf.used()) {
    leaf.Read(place.at, out);
    if (!behind || out != from) return true;
  }
  return Next(place, out);
}

bool IndexTree::Next(Place& place, std::string& out) const {
  {
    const IndexPage leaf(channel_, place.page);
    if (place.at != leaf.used()) place.at = leaf.EndOf(place.at);
    if (place.at != leaf.used()) {
      leaf.Read(place.at, out);
      return true;
    }
  }
  for (std::uint64_t steps = 0;; ++steps) {
    const std::uint32_t next = IndexPage(channel_, place.page).next();
    if (next == 0) return false;
    if (steps > channel_.page_count())
      channel_.Corrupt(next, "the leaves of an index run in a circle");
    place.page = PinIndex(next);
    place.at = 0;
    const IndexPage leaf(channel_, place.page);
    if (!leaf.leaf()) channel_.Corrupt(next, "a leaf of an index is followed by a node");
    if (leaf.empty()) continue;
    leaf.Read(0, out);
    return true;
  }
}

bool IndexTree::FindFrom(std::string_view from, bool behind, std::string& out) const {
  Place place;
  return Find(from, behind, place, out);
}

bool IndexTree::FindBefore(std::string_view from, std::string& out) const {
  Page page = Descend(from, nullptr);
  std::uint32_t at = IndexPage(channel_, page).LowerBound(from);
  for (std::uint64_t steps = 0;; ++steps) {
    const IndexPage leaf(channel_, page);
    if (at != 0) {
      leaf.Read(leaf.Before(at), out);
      return true;
    }
    if (leaf.previous() == 0) return false;
    if (steps > channel_.page_count())
      channel_.Corrupt(page.number(), "the leaves of an index run in a circle");
    page = PinIndex(leaf.previous());
    at = IndexPage(channel_, page).used();
  }
}

bool IndexTree::Last(std::string& out) const {
  // Down the right edge; an empty page there (other programs leave none) leads to its neighbours.
  std::uint32_t number = index_.root;
  for (std::size_t depth = 0;; ++depth) {
    if (depth == kMaxDepth) channel_.Corrupt(index_.root, "an index is too deep");
    Page page = PinIndex(number);
    const IndexPage node(channel_, page);
    if (node.leaf()) {
      if (!node.empty()) {
        node.Read(node.Before(node.used()), out);
        return true;
      }
      break;
    }
    number =
        ChildAt(node, number, node.tail() != 0 || node.empty() ? kTail : node.Before(node.used()));
  }
  for (std::uint64_t steps = 0; number != 0; ++steps) {
    if (steps > channel_.page_count())
      channel_.Corrupt(number, "the leaves of an index run in a circle");
    Page page = PinIndex(number);
    const IndexPage leaf(channel_, page);
    if (!leaf.empty()) {
      leaf.Read(leaf.Before(leaf.used()), out);
      return true;
    }
    number = leaf.previous();
  }
  return false;
}

bool IndexTree::HasKey(std::string_view key, RowId& row, std::string& found) const {
  if (!FindFrom(key, false, found)) return false;
  if (found.size() != key.size() + kPositionBytes || found.compare(0, key.size(), key) != 0)
    return false;
  row = RowOf(found);
  return true;
}

// --- Entering

std::uint32_t IndexTree::NewPage(std::uint8_t type, std::uint8_t level) {
  Page page = allocator_.Allocate();
  IndexPage::Format(channel_.layout(), page, type, level, table_);
  const std::uint32_t number = page.number();
  page = Page();
  UsageMap(channel_, index_.map).Add(number, allocator_);
  return number;
}

bool IndexTree::Insert(std::string_view entry) {
  Path path;
  Page leaf = Descend(entry, &path);
  for (std::size_t i = 0; i < path.size(); ++i)
    if (path[i].beyond)
      channel_.Corrupt(path[i].page, "an entry lies behind the last child of an index node");
  return InsertAt(path, std::move(leaf), entry);
}

bool IndexTree::InsertAt(Path& path, Page page, std::string_view entry) {
  bool fresh = false;
  Entries entries;
  std::size_t position = 0;
  {
    IndexPage target(channel_, page);
    const std::string_view key = entry.substr(0, target.KeyBytes(entry.size()));
    const std::uint32_t at = target.LowerBound(key);
    if (target.leaf()) fresh = !target.SharesKey(at, entry);
    if (target.Insert(at, entry)) return fresh;
    for (std::uint32_t before = 0; before < at; before = target.EndOf(before)) ++position;
    target.ReadAll(entries);
    entries.Insert(position, entry);
    if (target.WriteAll(entries, 0, entries.size())) return fresh;
  }
  const std::uint32_t number = page.number();
  page = Page();
  Split(path, number, entries, position);
  return fresh;
}

/// The root keeps its page: what it holds moves to a new one below it.
void IndexTree::RaiseRoot(Path& path, std::uint32_t& number) {
  const std::uint32_t moved = NewPage(kIndexLeaf, 0);
  Page root = PinIndex(number);
  Page below = PinIndex(moved);
  const std::uint32_t bytes = channel_.layout().page_bytes;
  const base::ByteSpan from = root.bytes();
  std::copy(from.begin(), from.end(), below.Change(0, bytes).begin());
  const std::uint8_t level = IndexPage(channel_, root).level();
  IndexPage::Format(channel_.layout(), root, kIndexNode, static_cast<std::uint8_t>(level + 1),
                    table_);
  IndexPage(channel_, root).SetTail(moved);
  path.PushFront({number, kTail, false});
  number = moved;
}

/// `entries` are those of the page with a new one among them, too many for one page.
void IndexTree::Split(Path& path, std::uint32_t number, const Entries& entries,
                      std::size_t inserted) {
  if (path.empty()) RaiseRoot(path, number);
  bool leaf = false;
  std::uint8_t level = 0;
  std::uint32_t next = 0;
  std::uint32_t tail = 0;
  {
    Page page = PinIndex(number);
    const IndexPage left(channel_, page);
    leaf = left.leaf();
    level = left.level();
    next = left.next();
    tail = left.tail();
  }
  // Entering at the very end keeps the left page full, so that rising keys fill all pages.
  const bool at_end = leaf && next == 0 && inserted + 1 == entries.size();
  std::size_t cut = entries.size() - 1;
  if (!at_end) {
    std::size_t bytes = 0;
    for (cut = 0; cut + 1 < entries.size() && bytes < entries.bytes() / 2; ++cut)
      bytes += entries[cut].size();
    cut = std::max<std::size_t>(cut, 1);
  }
  // A node gives its left half's last child away as a tail; the key goes to the parent.
  const std::string_view last = entries[cut - 1];
  const std::string_view separator = leaf ? last : KeyOf(last);
  const std::uint32_t lower_tail = leaf ? 0 : ChildOf(last);

  const std::uint32_t right_number = NewPage(leaf ? kIndexLeaf : kIndexNode, level);
  {
    Page page = PinIndex(number);
    Page right_page = PinIndex(right_number);
    IndexPage left(channel_, page);
    IndexPage right(channel_, right_page);
    if (!left.WriteAll(entries, 0, leaf ? cut : cut - 1) ||
        !right.WriteAll(entries, cut, entries.size()))
      Throw(Code::kInternal, ErrorNumber::kInternal, "half an index page does not fit a page");
    left.SetTail(lower_tail);
    right.SetTail(tail);
    right.SetPrevious(number);
    right.SetNext(next);
    left.SetNext(right_number);
  }
  if (next != 0) {
    Page page = PinIndex(next);
    IndexPage(channel_, page).SetPrevious(right_number);
  }

  const Step parent = path.back();
  path.Pop();
  Page page = PinIndex(parent.page);
  if (parent.at == kTail) {
    IndexPage(channel_, page).SetTail(right_number);
  } else {
    IndexPage(channel_, page).SetChild(parent.at, right_number);
  }
  InsertAt(path, std::move(page), NodeEntry(separator, number));
}

// --- Removing

void IndexTree::Remove(std::string_view entry) {
  Path path;
  Page page = Descend(entry, &path);
  const std::uint32_t number = page.number();
  bool empty = false;
  std::string last;
  {
    IndexPage leaf(channel_, page);
    const std::uint32_t at = leaf.LowerBound(entry);
    std::string found;
    if (at != leaf.used()) leaf.Read(at, found);
    if (found != entry)
      channel_.Corrupt(number, "the index has no entry for the row at page " +
                                   std::to_string(RowOf(entry).page()) + ", slot " +
                                   std::to_string(RowOf(entry).slot()));
    const bool was_last = leaf.EndOf(at) == leaf.used();
    leaf.Remove(at);
    empty = leaf.empty();
    if (!was_last) return;
    if (!empty) leaf.Read(leaf.Before(leaf.used()), last);
  }
  page = Page();
  if (!empty) return ReplaceKey(path, path.size(), last);
  if (!path.empty()) RemoveChild(path, number);
}

/// The page below `path[0..depth)` ends with another entry now: the separator that names its old
/// end follows, where it fits.
void IndexTree::ReplaceKey(const Path& path, std::size_t depth, std::string_view last) {
  while (depth-- > 0) {
    const Step& step = path[depth];
    if (step.at == kTail) continue;
    Page page = PinIndex(step.page);
    IndexPage node(channel_, page);
    Entries entries;
    node.ReadAll(entries);
    std::size_t position = 0;
    for (std::uint32_t at = 0; at < step.at; at = node.EndOf(at)) ++position;
    entries.Replace(position, NodeEntry(last, ChildOf(entries[position])));
    node.WriteAll(entries, 0, entries.size());  // a separator that is too great still separates
    return;
  }
}

void IndexTree::Unlink(const IndexPage& page) {
  const std::uint32_t previous = page.previous();
  const std::uint32_t next = page.next();
  if (previous != 0) {
    Page neighbour = PinIndex(previous);
    IndexPage(channel_, neighbour).SetNext(next);
  }
  if (next != 0) {
    Page neighbour = PinIndex(next);
    IndexPage(channel_, neighbour).SetPrevious(previous);
  }
}

void IndexTree::GiveUp(std::uint32_t number) {
  {
    Page page = PinIndex(number);
    Unlink(IndexPage(channel_, page));
  }
  UsageMap(channel_, index_.map).Remove(number);
  allocator_.Free(number, kIndexLeaf);
}

/// `number` is empty and hangs at the end of `path`.
void IndexTree::RemoveChild(Path& path, std::uint32_t number) {
  GiveUp(number);
  const Step step = path.back();
  path.Pop();
  std::string last;
  bool node_empty = false;
  {
    Page page = PinIndex(step.page);
    IndexPage node(channel_, page);
    if (step.at != kTail) {
      const bool was_last = node.EndOf(step.at) == node.used();
      node.Remove(step.at);
      if (node.tail() != 0 || !was_last) return;
      node_empty = node.empty();
      if (!node_empty) {
        std::string entry;
        node.Read(node.Before(node.used()), entry);
        last = KeyOf(entry);
      }
    } else if (node.empty()) {
      node_empty = true;
    } else {
      const std::uint32_t at = node.Before(node.used());
      std::string entry;
      node.Read(at, entry);
      last = KeyOf(entry);
      node.Remove(at);
      node.SetTail(ChildOf(entry));
    }
  }
  if (!node_empty) return ReplaceKey(path, path.size(), last);
  if (!path.empty()) return RemoveChild(path, step.page);
  Page root = PinIndex(step.page);
  IndexPage::Format(channel_.layout(), root, kIndexLeaf, 0, table_);
}

}  // namespace kelvorin::database::access
