// NDX, the index of dBASE III: pages of 512 bytes, numbered from the start of the file.
//
//   header | u32 root | u32 pages | 9: u8 C, N or D | 12: u16 key bytes | u16 keys a page
//          | 16: u16 numeric | u16 entry bytes | 20: u8 change counter | 23: u8 unique
//          | 24: expression, 0
//   page   | u32 keys | entries: u32 page of the keys up to this one, u32 record, key |
//
// A leaf's pages are 0. A branch has one page more than keys, in the place of a further entry.

#include "database/xbase/index_pages.h"

#include <algorithm>

namespace kelvorin::database::xbase {
namespace {

constexpr std::uint32_t kPageBytes = 512;
constexpr std::size_t kRootAt = 0;
constexpr std::size_t kPagesAt = 4;
constexpr std::size_t kCounterAt = 20;
constexpr std::size_t kEntriesAt = 4;
constexpr std::size_t kRecordAt = 4;  // in an entry
constexpr std::size_t kKeyAt = 8;

class NdxPages final : public FixedPages {
 public:
  NdxPages(storage::Store& store, storage::FileNo file, std::string name, const TagDefinition& tag)
      : FixedPages(store, file, std::move(name), tag.key_bytes,
                   KeyForm(tag.numeric ? KeyCoding::kDouble : KeyCoding::kPlain, false),
                   {.open_end = true}) {
    SetStride(kKeyAt + (tag.key_bytes + 3) / 4 * 4, 0);
    SetStride(stride_, (kPageBytes - kEntriesAt) / stride_);
    // The page of a branch's last child needs room behind its keys.
    if (kEntriesAt + most_ * stride_ + 4 > kPageBytes) --most_;
  }

  std::uint64_t PageCount() const noexcept override { return Size() / kPageBytes; }

  void Read(std::uint32_t page, IndexNode& out) override {
    if (page == 0) Corrupt(page, "the header stands in the place of a page of keys");
    const base::ByteSpan bytes = View(std::uint64_t{page} * kPageBytes, kPageBytes, page);
    const std::uint32_t count = base::LoadLE32(bytes, 0);
    if (count > (kPageBytes - kEntriesAt) / stride_ ||
        kEntriesAt + count * stride_ + 4 > kPageBytes)
      Corrupt(page, "it claims " + std::to_string(count) + " keys");
    out.leaf = base::LoadLE32(bytes, kEntriesAt) == 0;
    StartNode(page, out.leaf ? count : count + 1, out);
    std::byte* entry = out.entries.data();
    for (std::size_t i = 0; i < count; ++i, entry += out.entry_bytes) {
      const std::size_t at = kEntriesAt + i * stride_;
      if (!out.leaf) out.children.push_back(base::LoadLE32(bytes, at));
      PutKey(bytes.subspan(at + kKeyAt, key_bytes_),
             out.leaf ? base::LoadLE32(bytes, at + kRecordAt) : kNoPage, entry);
    }
    if (out.leaf) return;
    out.children.push_back(base::LoadLE32(bytes, kEntriesAt + count * stride_));
    std::fill_n(entry, out.entry_bytes, std::byte{0xFF});
  }

  void Write(const IndexNode& node, std::size_t first, std::size_t count,
             const PagePlace& place) override {
    image_.assign(kPageBytes, std::byte{0});
    const std::size_t keys = node.leaf || count == 0 ? count : count - 1;
    base::StoreLE32(image_, 0, static_cast<std::uint32_t>(keys));
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = kEntriesAt + i * stride_;
      if (!node.leaf) base::StoreLE32(image_, at, node.children[first + i]);
      if (i == keys) break;
      if (node.leaf) base::StoreLE32(image_, at + kRecordAt, node.RecordAt(first + i));
      StoredKey(node, first + i, image_.data() + at + kKeyAt);
    }
    store_.Write(file_, std::uint64_t{place.page} * kPageBytes, image_);
  }

  std::uint32_t Root() override { return Load32(kRootAt); }
  void SetRoot(std::uint32_t page) override { Write32(kRootAt, page); }

  std::uint32_t Allocate() override {
    if (!spare_.empty()) {
      const std::uint32_t page = spare_.back();
      spare_.pop_back();
      return page;
    }
    const auto pages = static_cast<std::uint32_t>((Size() + kPageBytes - 1) / kPageBytes);
    const std::uint32_t page = std::max(Load32(kPagesAt), pages);
    store_.Write(file_, std::uint64_t{page} * kPageBytes,
                 std::vector<std::byte>(kPageBytes, std::byte{0}));
    Write32(kPagesAt, page + 1);
    return page;
  }
  void Release(std::uint32_t page) override { spare_.push_back(page); }

  void Stamp() override {
    const std::byte counter[] = {View(kCounterAt, 1, 0)[0]};
    const std::byte next[] = {static_cast<std::byte>(std::to_integer<unsigned>(counter[0]) + 1)};
    store_.Write(file_, kCounterAt, next);
  }
};

}  // namespace

std::unique_ptr<IndexPages> MakeNdxPages(storage::Store& store, storage::FileNo file,
                                         std::string name, const TagDefinition& tag) {
  return std::make_unique<NdxPages>(store, file, std::move(name), tag);
}

}  // namespace kelvorin::database::xbase
