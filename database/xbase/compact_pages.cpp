// The compact trees of FoxPro: tags of a CDX, and compact IDX files.
//
//   file   | 4: u32 first free page (0 or -1: none), whose first four bytes are the next one
//          | 8: u32 BE change counter
//   header | u32 root
//   page   | head of fox_page.h
//   branch | 12: entries: key, u32 BE record, u32 BE page | the last entry of that page
//   leaf   | 12: u16 free bytes | u32 record mask | u8 duplicate mask | u8 trail mask
//          | 20: u8 record bits | u8 duplicate bits | u8 trail bits | u8 bytes of an entry
//          | 24: entries ->                               <- bytes of the keys, the first at the
//          end |
//
// A leaf entry is a number of that many bytes: record, then bytes equal to the key before, then
// fill bytes cut off at the end. The fill is cut off first; what is equal is counted in the rest.

#include "database/xbase/compact_leaf.h"
#include "database/xbase/fox_page.h"
#include "database/xbase/index_pages.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kelvorin::database::xbase {
namespace {

using namespace compact;

constexpr std::size_t kFreeAt = 4;
constexpr std::size_t kCounterAt = 8;
constexpr std::size_t kBranchAt = fox::kHeadBytes;
constexpr std::size_t kLeafRoom = kPageBytes - kLeafAt;
constexpr std::uint16_t kKnownAttributes = 7;  // FoxPro's own files have one more, of no effect

/// How the numbers of a leaf's entries are put together.
struct Packing {
  unsigned bytes = 0;
  unsigned record_bits = 0;
  unsigned count_bits = 0;  // of either count
};

class CompactPages final : public IndexPages {
 public:
  CompactPages(storage::Store& store, storage::FileNo file, std::string name,
               const TagDefinition& tag, std::uint64_t header, std::byte fill)
      : IndexPages(store, file, std::move(name), tag.key_bytes, KeyForm(),
                   {.exact_branches = true, .all_links = true}),
        header_(header),
        fill_(fill),
        count_bits_(static_cast<unsigned>(std::bit_width(tag.key_bytes))),
        branch_stride_(tag.key_bytes + 8),
        branch_most_((kPageBytes - kBranchAt) / branch_stride_) {
    if (branch_most_ < 2)
      Corrupt(0, "its keys of " + std::to_string(key_bytes_) + " bytes are too long");
  }

  std::uint64_t PageCount() const noexcept override { return Size() / kPageBytes; }

  void Read(std::uint32_t page, IndexNode& out) override {
    measured_ = false;
    if (page % kPageBytes != 0) Corrupt(page, "no page begins there");
    const base::ByteSpan bytes = View(page, kPageBytes, page);
    const fox::Head head = fox::LoadHead(bytes);
    if (head.attributes > kKnownAttributes)
      Corrupt(page, "its attributes are " + std::to_string(head.attributes));
    out.leaf = head.leaf();
    const std::size_t most = out.leaf ? kLeafRoom : branch_most_;
    if (head.count > most) Corrupt(page, "it claims " + std::to_string(head.count) + " keys");
    StartNode(page, head.count, out);
    out.left = head.left;
    out.right = head.right;
    if (out.leaf) return ReadLeaf(page, bytes, head.count, out);
    std::byte* entry = out.entries.data();
    for (std::size_t i = 0; i < head.count; ++i, entry += out.entry_bytes) {
      const std::size_t at = kBranchAt + i * branch_stride_;
      std::memcpy(entry, bytes.data() + at, out.entry_bytes);
      out.children.push_back(base::LoadBE32(bytes, at + out.entry_bytes));
    }
  }

  bool Search(std::uint32_t page, base::ByteSpan target, Found& found, std::byte* entry) override {
    if (page % kPageBytes != 0 || Size() < kPageBytes || page > Size() - kPageBytes) return false;
    const base::ByteSpan bytes = View(page, kPageBytes, page);
    const fox::Head head = fox::LoadHead(bytes);
    if (head.attributes > kKnownAttributes) return false;
    found.leaf = head.leaf();
    found.count = head.count;
    if (!found.leaf) return SearchBranch(bytes, target, found);
    if (entry == nullptr) return true;
    const CompactLeaf leaf(bytes, key_bytes_, fill_);
    CompactLeaf::Spot spot;
    if (!leaf.Find(target, spot)) return false;
    found.at = spot.at;
    if (spot.at < found.count) leaf.TakeEntry(spot, target, entry);
    return true;
  }

  Entered Enter(std::uint32_t page, base::ByteSpan entry) override {
    const CompactLeaf leaf(View(page, kPageBytes, page), key_bytes_, fill_);
    CompactLeaf::Spot spot;
    if (!leaf.Find(entry, spot)) return Entered::kNo;
    if (spot.same_entry) return Entered::kWasThere;
    if (!leaf.Insert(spot, entry, image_)) return Entered::kNo;
    const bool last = spot.at == leaf.count();
    store_.Write(file_, page, image_);
    return last ? Entered::kAsLast : Entered::kInside;
  }

  void SetBranchEntry(std::uint32_t page, std::size_t i, base::ByteSpan entry) override {
    store_.Write(file_, page + kBranchAt + i * branch_stride_, entry);
  }

  std::size_t Fit(const IndexNode& node, std::size_t first, std::size_t most_bytes) override {
    const std::size_t left = node.count() - first;
    if (!node.leaf)
      return std::min({left, branch_most_, std::max<std::size_t>(1, most_bytes / branch_stride_)});
    if (first == 0 && Weight(node) <= std::min(kLeafRoom, most_bytes)) return left;
    std::uint32_t most_record = 0;
    std::size_t key_bytes = 0, taken = 0;
    while (taken < left) {
      const std::size_t i = first + taken;
      const std::uint32_t record = std::max(most_record, node.RecordAt(i));
      const std::size_t key = key_bytes + kept_[i] - (taken == 0 ? std::size_t{0} : shared_[i]);
      const std::size_t room = (taken + 1) * PackingFor(record).bytes + key;
      if (taken > 0 && (room > kLeafRoom || room > most_bytes)) break;
      most_record = record;
      key_bytes = key;
      ++taken;
    }
    return taken;
  }

  std::size_t Weight(const IndexNode& node) override {
    if (!node.leaf) return (node.count() + 1) * branch_stride_;
    Measure(node);
    std::uint32_t most_record = 0;
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < node.count(); ++i) {
      most_record = std::max(most_record, node.RecordAt(i));
      bytes += kept_[i] - shared_[i];
    }
    return bytes + (node.count() + 1) * PackingFor(most_record).bytes;
  }

  void Write(const IndexNode& node, std::size_t first, std::size_t count,
             const PagePlace& place) override {
    fox::StartImage(node.leaf, count, place, image_);
    if (node.leaf) {
      FillLeaf(node, first, count);
    } else {
      for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = kBranchAt + i * branch_stride_;
        std::memcpy(image_.data() + at, node[first + i].data(), node.entry_bytes);
        base::StoreBE32(image_, at + node.entry_bytes, node.children[first + i]);
      }
    }
    store_.Write(file_, place.page, image_);
  }

  std::uint32_t Root() override { return Load32(header_); }
  void SetRoot(std::uint32_t page) override { Write32(header_, page); }

  std::uint32_t Allocate() override {
    const std::uint32_t free = Load32(kFreeAt);
    if (IsFreePage(free)) {
      Write32(kFreeAt, Load32(free));
      return free;
    }
    if (free != 0 && free != kNoPage)
      Write32(kFreeAt, 0);  // a chain that leads nowhere is given up
    const std::uint32_t page = fox::EndOf(Size());
    image_.assign(kPageBytes, std::byte{0});
    store_.Write(file_, page, image_);
    return page;
  }
  void Release(std::uint32_t page) override {
    const std::uint32_t free = Load32(kFreeAt);
    image_.assign(kPageBytes, std::byte{0});
    base::StoreLE32(image_, 0, free == kNoPage ? 0 : free);
    store_.Write(file_, page, image_);
    Write32(kFreeAt, page);
  }

  void Stamp() override {
    const std::uint32_t counter = base::LoadBE32(View(kCounterAt, 4, 0), 0);
    std::byte next[4];
    base::StoreBE32(next, 0, counter + 1);
    store_.Write(file_, kCounterAt, next);
  }

  std::vector<std::uint32_t> FreePages(std::string& problem) override {
    std::vector<std::uint32_t> pages;
    std::uint32_t page = Load32(kFreeAt);
    while (page != 0 && page != kNoPage) {
      if (!IsFreePage(page) || pages.size() > PageCount()) {
        problem = "the chain of its free pages leads to " + std::to_string(page) +
                  ", which is none, or runs in a circle";
        break;
      }
      pages.push_back(page);
      page = Load32(page);
    }
    return pages;
  }

 private:
  /// A page on the chain of free ones: inside the file, and with nothing behind its link, as no
  /// page in use is.
  bool IsFreePage(std::uint32_t page) {
    if (page == 0 || page == kNoPage || page % kPageBytes != 0) return false;
    if (std::uint64_t{page} + kPageBytes > Size()) return false;
    const std::uint32_t next = Load32(page);
    if (next != 0 && next != kNoPage && next % kPageBytes != 0) return false;
    return base::LoadLE32(View(std::uint64_t{page} + fox::kRightAt, 4, page), 0) == 0;
  }

  bool SearchBranch(base::ByteSpan bytes, base::ByteSpan target, Found& found) const {
    if (found.count == 0 || found.count > branch_most_) return false;
    const std::byte* const entries = bytes.data() + kBranchAt;
    std::size_t low = 0, high = found.count - 1;  // the last one leads to whatever is greater
    while (low < high) {
      const std::size_t middle = (low + high) / 2;
      if (std::memcmp(entries + middle * branch_stride_, target.data(), target.size()) < 0) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    found.at = low;
    found.child = base::LoadBE32(bytes, kBranchAt + low * branch_stride_ + entry_bytes());
    return true;
  }

  Packing PackingFor(std::uint32_t record) const noexcept {
    Packing packing;
    packing.count_bits = count_bits_;
    const unsigned counts = 2 * count_bits_;
    packing.bytes = counts <= 8 ? 3 : counts <= 12 ? 4 : 5;
    while (packing.bytes * 8 - counts < static_cast<unsigned>(std::bit_width(record)))
      ++packing.bytes;
    packing.record_bits = packing.bytes * 8 - counts;
    return packing;
  }

  void ReadLeaf(std::uint32_t page, base::ByteSpan bytes, std::size_t count, IndexNode& out) {
    const std::uint32_t record_mask = base::LoadLE32(bytes, kRecordMaskAt);
    const unsigned record_bits = base::Load8(bytes, kRecordBitsAt);
    const unsigned duplicate_bits = base::Load8(bytes, kDuplicateBitsAt);
    const unsigned size = base::Load8(bytes, kEntryBytesAt);
    if (count == 0) return;
    if (size == 0 || size > kMaxEntryBytes || record_bits + duplicate_bits >= size * 8 ||
        kLeafAt + count * size > kPageBytes)
      Corrupt(page, "its entries of " + std::to_string(size) + " bytes with " +
                        std::to_string(record_bits) + " and " + std::to_string(duplicate_bits) +
                        " bits make no sense");
    const std::uint64_t duplicate_mask = base::Load8(bytes, kDuplicateMaskAt);
    const std::uint64_t trail_mask = base::Load8(bytes, kTrailMaskAt);
    const std::size_t front = kLeafAt + count * size;
    std::size_t end = kPageBytes;
    const std::byte* before = nullptr;
    std::byte* entry = out.entries.data();
    for (std::size_t i = 0; i < count; ++i, entry += out.entry_bytes) {
      std::uint64_t packed = 0;
      const std::byte* at = bytes.data() + kLeafAt + i * size;
      for (unsigned n = size; n-- > 0;)
        packed = packed << 8 | std::to_integer<std::uint64_t>(at[n]);
      const auto same = static_cast<std::size_t>(packed >> record_bits & duplicate_mask);
      const auto trail =
          static_cast<std::size_t>(packed >> (record_bits + duplicate_bits) & trail_mask);
      if (same + trail > key_bytes_ || (i == 0 && same > 0) ||
          key_bytes_ - same - trail > end - front)
        Corrupt(page, "entry " + std::to_string(i) + " with " + std::to_string(same) + " and " +
                          std::to_string(trail) + " bytes left out does not fit");
      const std::size_t stored = key_bytes_ - same - trail;
      end -= stored;
      if (same > 0) std::memcpy(entry, before, same);
      std::memcpy(entry + same, bytes.data() + end, stored);
      std::memset(entry + same + stored, std::to_integer<int>(fill_), trail);
      base::StoreBE32({entry + key_bytes_, kRecordNumberBytes}, 0,
                      static_cast<std::uint32_t>(packed & record_mask));
      before = entry;
    }
  }

  /// Of each entry: bytes of its key without fill, and how many of them the key before has too.
  void Measure(const IndexNode& node) {
    const std::size_t count = node.count();
    measured_ = true;
    kept_.resize(count);
    shared_.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
      const base::ByteSpan key = node.KeyAt(i);
      const std::size_t kept = KeptBytes(key, fill_);
      const std::size_t shared =
          i == 0 ? std::size_t{0} : SharedBytes(key, node.KeyAt(i - 1), kept);
      kept_[i] = static_cast<std::uint16_t>(kept);
      shared_[i] = static_cast<std::uint16_t>(shared);
    }
  }

  void FillLeaf(const IndexNode& node, std::size_t first, std::size_t count) {
    if (!measured_) Measure(node);
    std::uint32_t most_record = 0;
    for (std::size_t i = 0; i < count; ++i)
      most_record = std::max(most_record, node.RecordAt(first + i));
    const Packing packing = PackingFor(most_record);
    std::size_t end = kPageBytes;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t kept = kept_[first + i];
      const std::size_t shared = i == 0 ? std::size_t{0} : shared_[first + i];
      const std::size_t trail = key_bytes_ - kept;
      end -= kept - shared;
      std::memcpy(image_.data() + end, node.KeyAt(first + i).data() + shared, kept - shared);
      std::uint64_t packed = node.RecordAt(first + i) |
                             std::uint64_t{shared} << packing.record_bits |
                             std::uint64_t{trail} << (packing.record_bits + packing.count_bits);
      std::byte* at = image_.data() + kLeafAt + i * packing.bytes;
      for (unsigned n = 0; n < packing.bytes; ++n, packed >>= 8)
        at[n] = static_cast<std::byte>(packed);
    }
    const auto mask = [](unsigned bits) { return bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1; };
    const base::MutableByteSpan image = image_;
    base::StoreLE16(image, kFreeBytesAt,
                    static_cast<std::uint16_t>(end - kLeafAt - count * packing.bytes));
    base::StoreLE32(image, kRecordMaskAt, mask(packing.record_bits));
    base::Store8(image, kDuplicateMaskAt, static_cast<std::uint8_t>(mask(packing.count_bits)));
    base::Store8(image, kTrailMaskAt, static_cast<std::uint8_t>(mask(packing.count_bits)));
    base::Store8(image, kRecordBitsAt, static_cast<std::uint8_t>(packing.record_bits));
    base::Store8(image, kDuplicateBitsAt, static_cast<std::uint8_t>(packing.count_bits));
    base::Store8(image, kTrailBitsAt, static_cast<std::uint8_t>(packing.count_bits));
    base::Store8(image, kEntryBytesAt, static_cast<std::uint8_t>(packing.bytes));
  }

  std::uint64_t header_;
  std::byte fill_;
  unsigned count_bits_;
  std::size_t branch_stride_;
  std::size_t branch_most_;
  bool measured_ = false;  // the next two are those of the node that is about to be written
  std::vector<std::uint16_t> kept_;
  std::vector<std::uint16_t> shared_;
};

}  // namespace

std::unique_ptr<IndexPages> MakeCompactPages(storage::Store& store, storage::FileNo file,
                                             std::string name, const TagDefinition& tag,
                                             std::uint64_t header, std::byte fill) {
  return std::make_unique<CompactPages>(store, file, std::move(name), tag, header, fill);
}

}  // namespace kelvorin::database::xbase
