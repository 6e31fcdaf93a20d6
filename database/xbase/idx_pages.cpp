// The plain IDX of FoxBASE and FoxPro.
//
//   header | u32 root | i32 free pages (-1) | u32 file bytes | 12: u16 key bytes | 14: u8 options
//          | 16: expression | 236: FOR condition
//   page   | head of fox_page.h | 12: entries: key, u32 BE record or page |
//
// A branch entry is the last key of the page it names.

#include "database/xbase/fox_page.h"

namespace kelvorin::database::xbase {
namespace {

using fox::kPageBytes;

constexpr std::size_t kRootAt = 0;
constexpr std::size_t kFileBytesAt = 8;
constexpr std::size_t kEntriesAt = fox::kHeadBytes;
constexpr std::uint16_t kKnownAttributes = fox::kRootPage | fox::kLeafPage;

class IdxPages final : public FixedPages {
 public:
  IdxPages(storage::Store& store, storage::FileNo file, std::string name, const TagDefinition& tag)
      : FixedPages(store, file, std::move(name), tag.key_bytes, KeyForm(), {.all_links = true}) {
    const std::size_t stride = tag.key_bytes + 4;
    SetStride(stride, (kPageBytes - kEntriesAt) / stride);
  }

  std::uint64_t PageCount() const noexcept override { return Size() / kPageBytes; }

  void Read(std::uint32_t page, IndexNode& out) override {
    if (page == 0 || page % kPageBytes != 0) Corrupt(page, "no page begins there");
    const base::ByteSpan bytes = View(page, kPageBytes, page);
    const fox::Head head = fox::LoadHead(bytes);
    if (head.attributes > kKnownAttributes || head.count > most_)
      Corrupt(page, "it claims " + std::to_string(head.count) + " keys and attributes " +
                        std::to_string(head.attributes));
    out.leaf = head.leaf();
    StartNode(page, head.count, out);
    out.left = head.left;
    out.right = head.right;
    std::byte* entry = out.entries.data();
    for (std::size_t i = 0; i < head.count; ++i, entry += out.entry_bytes) {
      const std::size_t at = kEntriesAt + i * stride_;
      const std::uint32_t pointer = base::LoadBE32(bytes, at + key_bytes_);
      if (!out.leaf) out.children.push_back(pointer);
      PutKey(bytes.subspan(at, key_bytes_), out.leaf ? pointer : kNoPage, entry);
    }
  }

  void Write(const IndexNode& node, std::size_t first, std::size_t count,
             const PagePlace& place) override {
    fox::StartImage(node.leaf, count, place, image_);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = kEntriesAt + i * stride_;
      StoredKey(node, first + i, image_.data() + at);
      base::StoreBE32(image_, at + key_bytes_,
                      node.leaf ? node.RecordAt(first + i) : node.children[first + i]);
    }
    store_.Write(file_, place.page, image_);
  }

  std::uint32_t Root() override { return Load32(kRootAt); }
  void SetRoot(std::uint32_t page) override { Write32(kRootAt, page); }

  std::uint32_t Allocate() override {
    if (!spare_.empty()) {
      const std::uint32_t page = spare_.back();
      spare_.pop_back();
      return page;
    }
    const std::uint32_t page = fox::EndOf(Size());
    store_.Write(file_, page, std::vector<std::byte>(kPageBytes, std::byte{0}));
    Write32(kFileBytesAt, page + kPageBytes);
    return page;
  }
  void Release(std::uint32_t page) override { spare_.push_back(page); }
  void Stamp() override {}
};

}  // namespace

std::unique_ptr<IndexPages> MakeIdxPages(storage::Store& store, storage::FileNo file,
                                         std::string name, const TagDefinition& tag) {
  return std::make_unique<IdxPages>(store, file, std::move(name), tag);
}

}  // namespace kelvorin::database::xbase
