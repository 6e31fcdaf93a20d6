// The trees of an MDX, the index file of dBASE IV and 5: blocks of whole pages of 512 bytes, named
// by their first page.
//
//   file   | 20: u16 pages a block | u16 block bytes | 32: u32 pages | 36: u32 first free block
//          | 40: u32 free blocks | 44: date of the last change
//   header | 0: u32 root | 20: u8 change counter | 248: u32 first leaf | 252: u32 last leaf
//   block  | u32 keys | u32 previous leaf, or next free block | entries: u32 pointer, key |
//
// A pointer is a record in a leaf, a block in a branch. A branch has one pointer more than keys; in
// a leaf the four bytes there are 0, which is how the two are told apart. Keys of descending tags
// stand in descending order.

#include "database/xbase/index_pages.h"

#include "base/M_Misc.h"

#include <algorithm>

namespace kelvorin::database::xbase {
namespace {

constexpr std::uint32_t kPageBytes = 512;
constexpr std::size_t kBlockPagesAt = 20;
constexpr std::size_t kPagesAt = 32;
constexpr std::size_t kFreeAt = 36;
constexpr std::size_t kFreeCountAt = 40;
constexpr std::size_t kChangedAt = 44;
constexpr std::uint64_t kCounterAt = 20;
constexpr std::uint64_t kFirstLeafAt = 248;
constexpr std::uint64_t kLastLeafAt = 252;
constexpr std::size_t kLinkAt = 4;  // in a block
constexpr std::size_t kEntriesAt = 8;
constexpr std::uint32_t kFirstBlock = 4;  // the pages before it are the file's header
constexpr int kYearBase = 1900;

KeyForm FormOf(const TagDefinition& tag) noexcept {
  const KeyCoding coding = tag.date      ? KeyCoding::kDouble
                           : tag.numeric ? KeyCoding::kDecimal
                                         : KeyCoding::kPlain;
  return {coding, tag.descending};
}

class MdxPages final : public FixedPages {
 public:
  MdxPages(storage::Store& store, storage::FileNo file, std::string name, const TagDefinition& tag,
           std::uint64_t header)
      : FixedPages(store, file, std::move(name), tag.key_bytes, FormOf(tag),
                   {.open_end = true, .left_links = true}),
        header_(header) {
    block_pages_ = base::LoadLE16(View(kBlockPagesAt, 2, 0), 0);
    if (block_pages_ == 0 || block_pages_ > 64)
      Corrupt(0, "it claims blocks of " + std::to_string(block_pages_) + " pages");
    const std::size_t stride = 4 + (tag.key_bytes + 3) / 4 * 4;
    SetStride(stride, (block_bytes() - kEntriesAt - 4) / stride);
    if (most_ < 3) Corrupt(0, "its keys of " + std::to_string(key_bytes_) + " bytes are too long");
  }

  std::uint64_t PageCount() const noexcept override { return Size() / kPageBytes; }

  void Read(std::uint32_t page, IndexNode& out) override {
    if (page < kFirstBlock) Corrupt(page, "the file's header stands in the place of a block");
    const base::ByteSpan bytes = View(Offset(page), block_bytes(), page);
    const std::uint32_t count = base::LoadLE32(bytes, 0);
    if (count > most_) Corrupt(page, "it claims " + std::to_string(count) + " keys");
    const std::uint32_t beyond = base::LoadLE32(bytes, kEntriesAt + count * stride_);
    out.leaf = beyond == 0;
    StartNode(page, out.leaf ? count : count + 1, out);
    if (out.leaf) out.left = base::LoadLE32(bytes, kLinkAt);
    if (out.left == 0) out.left = kNoPage;
    std::byte* entry = out.entries.data();
    for (std::size_t i = 0; i < count; ++i, entry += out.entry_bytes) {
      const std::size_t at = kEntriesAt + i * stride_;
      const std::uint32_t pointer = base::LoadLE32(bytes, at);
      if (!out.leaf) out.children.push_back(pointer);
      PutKey(bytes.subspan(at + 4, key_bytes_), out.leaf ? pointer : kNoPage, entry);
    }
    if (out.leaf) return;
    out.children.push_back(beyond);
    std::fill_n(entry, out.entry_bytes, std::byte{0xFF});
  }

  void Write(const IndexNode& node, std::size_t first, std::size_t count,
             const PagePlace& place) override {
    image_.assign(block_bytes(), std::byte{0});
    const std::size_t keys = node.leaf || count == 0 ? count : count - 1;
    base::StoreLE32(image_, 0, static_cast<std::uint32_t>(keys));
    if (node.leaf && place.left != kNoPage) base::StoreLE32(image_, kLinkAt, place.left);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = kEntriesAt + i * stride_;
      base::StoreLE32(image_, at, node.leaf ? node.RecordAt(first + i) : node.children[first + i]);
      if (i < keys) StoredKey(node, first + i, image_.data() + at + 4);
    }
    store_.Write(file_, Offset(place.page), image_);
  }

  void SetLeft(std::uint32_t page, std::uint32_t left) override {
    Write32(Offset(page) + kLinkAt, left == kNoPage ? 0 : left);
  }

  std::uint32_t Root() override { return Load32(header_); }
  void SetRoot(std::uint32_t page) override { Write32(header_, page); }

  std::uint32_t Allocate() override {
    const std::uint32_t pages = std::max(
        Load32(kPagesAt), static_cast<std::uint32_t>((Size() + kPageBytes - 1) / kPageBytes));
    const std::uint32_t free = Load32(kFreeAt);
    if (IsFreeBlock(free, pages)) {
      Write32(kFreeAt, Load32(Offset(free) + kLinkAt));
      const std::uint32_t count = Load32(kFreeCountAt);
      if (count > 0) Write32(kFreeCountAt, count - 1);
      return free;
    }
    if (free != 0) Write32(kFreeAt, 0);  // a chain that leads nowhere is given up
    store_.Write(file_, Offset(pages), std::vector<std::byte>(block_bytes(), std::byte{0}));
    Write32(kPagesAt, pages + block_pages_);
    return pages;
  }
  void Release(std::uint32_t page) override {
    Write32(Offset(page), 0);
    Write32(Offset(page) + kLinkAt, Load32(kFreeAt));
    Write32(kFreeAt, page);
    Write32(kFreeCountAt, Load32(kFreeCountAt) + 1);
  }

  void Stamp() override {
    const auto now = base::Now();
    const std::byte date[] = {static_cast<std::byte>(now.year - kYearBase),
                              static_cast<std::byte>(now.month), static_cast<std::byte>(now.day)};
    store_.Write(file_, kChangedAt, date);
    const std::byte counter = View(header_ + kCounterAt, 1, 0)[0];
    const std::byte next[] = {static_cast<std::byte>(std::to_integer<unsigned>(counter) + 1)};
    store_.Write(file_, header_ + kCounterAt, next);
    // Not every program fills these two in; where they are, they have to be right.
    if (Load32(header_ + kFirstLeafAt) == 0) return;
    Write32(header_ + kFirstLeafAt, EdgeLeaf(false));
    Write32(header_ + kLastLeafAt, EdgeLeaf(true));
  }

  std::vector<std::uint32_t> FreePages(std::string& problem) override {
    std::vector<std::uint32_t> pages;
    const auto all = static_cast<std::uint32_t>(PageCount());
    for (std::uint32_t page = Load32(kFreeAt); page != 0; page = Load32(Offset(page) + kLinkAt)) {
      if (!IsFreeBlock(page, all) || pages.size() > all) {
        problem = "the chain of its free blocks leads to page " + std::to_string(page) +
                  ", which is none, or runs in a circle";
        break;
      }
      pages.push_back(page);
    }
    return pages;
  }

 private:
  std::size_t block_bytes() const noexcept { return std::size_t{block_pages_} * kPageBytes; }
  static std::uint64_t Offset(std::uint32_t page) noexcept {
    return std::uint64_t{page} * kPageBytes;
  }
  bool IsFreeBlock(std::uint32_t page, std::uint32_t pages) {
    return page >= kFirstBlock && std::uint64_t{page} + block_pages_ <= pages &&
           Offset(page) + block_bytes() <= Size() && Load32(Offset(page)) == 0;
  }
  std::uint32_t EdgeLeaf(bool last) {
    IndexNode node;
    std::uint32_t page = Root();
    for (int depth = 0; depth < 24; ++depth) {
      Read(page, node);
      if (node.leaf) return page;
      page = last ? node.children.back() : node.children.front();
    }
    Corrupt(page, "the index is too deep");
  }

  std::uint64_t header_;
  std::uint16_t block_pages_ = 2;
};

}  // namespace

std::unique_ptr<IndexPages> MakeMdxPages(storage::Store& store, storage::FileNo file,
                                         std::string name, const TagDefinition& tag,
                                         std::uint64_t header) {
  return std::make_unique<MdxPages>(store, file, std::move(name), tag, header);
}

}  // namespace kelvorin::database::xbase
