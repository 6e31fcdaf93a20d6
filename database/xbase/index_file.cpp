#include "database/xbase/index_file.h"

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "base/case_map.h"
#include "database/errors.h"
#include "database/xbase/table_files.h"

#include <algorithm>
#include <array>
#include <span>

namespace kelvorin::database::xbase {
namespace {

constexpr std::size_t kPage = 512;
constexpr std::size_t kCompactHeader = 1024;
constexpr std::size_t kExpressionBytes = 220;
constexpr std::size_t kMaxInfBytes = 1 << 20;
constexpr std::uint32_t kMaxTags = 2000;

// NDX and plain IDX, see ndx_pages.cpp and idx_pages.cpp.
constexpr std::size_t kKeyBytesAt = 12;
constexpr std::size_t kNdxExpressionAt = 24;
constexpr std::size_t kOptionsAt = 14;
constexpr std::size_t kIdxExpressionAt = 16;
constexpr std::size_t kIdxFilterAt = 236;

// Options of FoxPro's headers.
constexpr std::uint8_t kUnique = 0x01;
constexpr std::uint8_t kNullable = 0x02;
constexpr std::uint8_t kCandidate = 0x04;
constexpr std::uint8_t kFiltered = 0x08;
constexpr std::uint8_t kCompact = 0x20;
constexpr std::uint8_t kCompound = 0x40;
constexpr std::uint8_t kStructural = 0x80;
constexpr std::size_t kCollationAt = 494;
constexpr std::size_t kCollationBytes = 8;
constexpr std::size_t kDescendingAt = 502;
constexpr std::size_t kPoolAt = 512;

// MDX, see mdx_pages.cpp.
constexpr std::uint8_t kMdxVersion = 2;
constexpr std::size_t kMdxSlotsAt = 544;
constexpr std::size_t kMdxSlotBytes = 32;
constexpr std::size_t kMdxTags = 47;
constexpr std::uint32_t kMdxFirstBlock = 4;
constexpr std::size_t kMdxBlockBytes = 1024;
constexpr std::uint8_t kMdxDescending = 0x08;
constexpr std::uint8_t kMdxField = 0x10;
constexpr std::uint8_t kMdxDistinct = 0x20;
constexpr std::uint8_t kMdxUnique = 0x40;
constexpr std::size_t kMdxExpressionAt = 24;
constexpr std::size_t kMdxFilterFlagAt = 245;
constexpr std::size_t kMdxFilterAt = 762;

constexpr IndexLimits kLimits[] = {
    {"NDX", 100, kExpressionBytes, 1, false, false},
    {"MDX", 100, kExpressionBytes, kMdxTags, true, true},
    {"IDX", 100, kExpressionBytes, 1, false, true},
    {"compact IDX", 240, kPage - 1, 1, true, true},
    {"CDX", 240, kPage - 1, kMaxTags, true, true},
};

struct Extension {
  std::string_view text;
  IndexKind kind;
};
constexpr Extension kExtensions[] = {{"NDX", IndexKind::kNdx},
                                     {"MDX", IndexKind::kMdx},
                                     {"IDX", IndexKind::kIdx},
                                     {"CDX", IndexKind::kCdx}};

struct InfLine {
  const Extension* kind = nullptr;
  std::string_view file;
  bool constraint = false;
};

/// Reads "UNDX1=CUST.NDX"; no kind for any other line.
InfLine ParseInfLine(std::string_view line) {
  InfLine parsed;
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return parsed;
  std::string_view key = base::Trim(line.substr(0, equals), base::kBlankOrTab);
  parsed.constraint = !key.empty() && base::ToUpperAscii(key.front()) == 'U';
  if (parsed.constraint) key.remove_prefix(1);
  while (!key.empty() && base::IsDigit(key.back())) key.remove_suffix(1);
  parsed.file = base::Trim(line.substr(equals + 1), base::kBlankOrTab);
  if (parsed.file.empty()) return parsed;
  for (const Extension& known : kExtensions)
    if (base::EqualIgnoreCase(key, known.text)) parsed.kind = &known;
  return parsed;
}

template <typename F>
void ForEachInfLine(std::string_view text, F&& each) {
  for (std::string_view line : base::SplitAt(text, '\n')) {
    const InfLine parsed = ParseInfLine(base::Trim(line, "\r\x1A"));
    if (parsed.kind != nullptr) each(parsed);
  }
}

std::string ZeroEnded(base::ByteSpan bytes) {
  const std::string_view text = base::AsText(bytes);
  return std::string(base::Trim(text.substr(0, text.find('\0'))));
}

class TagReader {
 public:
  TagReader(storage::Store& store, IndexFile& file) : store_(store), file_(file) {}

  std::vector<TagPlace> Read() {
    switch (file_.kind) {
      case IndexKind::kNdx:
        return {ReadNdx()};
      case IndexKind::kMdx:
        return ReadMdx();
      default:
        return ReadFoxPro();
    }
  }

 private:
  [[noreturn]] void Damaged(const std::string& what) const {
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt, "index file '" + file_.path + "': " + what);
  }
  std::vector<std::byte> Bytes(std::uint64_t at, std::size_t size) {
    const std::uint64_t end = store_.Size(file_.file);
    if (at > end || size > end - at)
      Damaged("has " + std::to_string(end) + " bytes; a header at " + std::to_string(at) +
              " does not fit in");
    std::vector<std::byte> bytes(size);
    store_.Read(file_.file, at, bytes);
    return bytes;
  }
  std::string FileTag() const {
    return std::string(base::BaseNamePart(storage::NameOf(file_.path)));
  }
  void CheckKeyBytes(const TagDefinition& tag, std::size_t most) const {
    if (tag.key_bytes == 0 || tag.key_bytes > most)
      Damaged("tag '" + tag.name + "' has keys of " + std::to_string(tag.key_bytes) + " bytes");
  }

  TagPlace ReadNdx() {
    const std::vector<std::byte> header = Bytes(0, kPage);
    TagPlace place;
    TagDefinition& tag = place.definition;
    tag.name = FileTag();
    tag.key_bytes = base::LoadLE16(header, kKeyBytesAt);
    tag.numeric = base::LoadLE16(header, 16) != 0;
    tag.unique = base::Load8(header, 23) != 0;
    tag.expression = ZeroEnded(base::ByteSpan(header).subspan(kNdxExpressionAt));
    CheckKeyBytes(tag, 240);
    const std::size_t entry = 8 + (tag.key_bytes + 3) / 4 * 4;
    if (base::LoadLE16(header, 18) != entry || (tag.numeric && tag.key_bytes != 8))
      Damaged("its entries of " + std::to_string(base::LoadLE16(header, 18)) +
              " bytes are not those of keys of " + std::to_string(tag.key_bytes));
    return place;
  }

  std::vector<TagPlace> ReadMdx() {
    const std::vector<std::byte> header = Bytes(0, 2048);
    if (base::Load8(header, 0) != kMdxVersion)
      Throw(Code::kNotSupported, ErrorNumber::kUnrecognizedFormat,
            "index file '" + file_.path + "' is of version " +
                std::to_string(base::Load8(header, 0)) + ", which this driver does not read");
    const std::size_t count = base::LoadLE16(header, 28);
    if (count > kMdxTags + 1 || base::Load8(header, 26) != kMdxSlotBytes)
      Damaged("it claims " + std::to_string(count) + " tags in slots of " +
              std::to_string(base::Load8(header, 26)) + " bytes");
    std::vector<TagPlace> tags;
    for (std::size_t i = 0; i < count && kMdxSlotsAt + (i + 1) * kMdxSlotBytes <= header.size();
         ++i)
      tags.push_back(ReadMdxTag(base::ByteSpan(header).subspan(kMdxSlotsAt + i * kMdxSlotBytes)));
    return tags;
  }

  TagPlace ReadMdxTag(base::ByteSpan slot) {
    TagPlace place;
    place.header = std::uint64_t{base::LoadLE32(slot, 0)} * kPage;
    TagDefinition& tag = place.definition;
    tag.name = ZeroEnded(slot.subspan(4, 11));
    const std::vector<std::byte> header = Bytes(place.header, kMdxBlockBytes);
    const std::uint8_t flags = base::Load8(header, 8);
    tag.unique = (flags & kMdxUnique) != 0;
    tag.descending = (flags & kMdxDescending) != 0;
    tag.numeric = header[9] == std::byte{'N'};
    tag.date = header[9] == std::byte{'D'};
    tag.key_bytes = base::LoadLE16(header, kKeyBytesAt);
    tag.expression = ZeroEnded(base::ByteSpan(header).subspan(kMdxExpressionAt, kExpressionBytes));
    if (base::Load8(header, kMdxFilterFlagAt) != 0)
      tag.filter = ZeroEnded(base::ByteSpan(header).subspan(kMdxFilterAt, kExpressionBytes));
    if ((flags & kMdxDistinct) != 0) tag.collation = "DISTINCT";
    CheckKeyBytes(tag, 240);
    if (base::LoadLE16(header, 18) != 4 + (tag.key_bytes + 3) / 4 * 4 ||
        (tag.numeric && tag.key_bytes != 12) || (tag.date && tag.key_bytes != 8))
      Damaged("tag '" + tag.name + "' has entries of " +
              std::to_string(base::LoadLE16(header, 18)) + " bytes for keys of " +
              std::to_string(tag.key_bytes));
    return place;
  }

  std::vector<TagPlace> ReadFoxPro() {
    const std::vector<std::byte> header = Bytes(0, kPage);
    const std::uint8_t options = base::Load8(header, kOptionsAt);
    if ((options & kCompact) == 0) {
      file_.kind = IndexKind::kIdx;
      return {ReadIdx(header)};
    }
    if ((options & kCompound) == 0) {
      file_.kind = IndexKind::kCompactIdx;
      return {ReadCompact(0, FileTag())};
    }
    file_.kind = IndexKind::kCdx;
    std::vector<TagPlace> tags;
    const std::unique_ptr<IndexPages> pages = MakeDirectoryPages(store_, file_.file);
    IndexTree directory(*pages);
    IndexTree::Place place;
    for (bool found = directory.First(place); found; found = directory.Next(place)) {
      if (tags.size() == kMaxTags) Damaged("its directory of tags does not end");
      const std::string_view name = base::AsText(place.entry().first(kTagNameBytes));
      tags.push_back(ReadCompact(place.record(), std::string(base::Trim(name))));
    }
    return tags;
  }

  TagPlace ReadIdx(base::ByteSpan header) {
    TagPlace place;
    TagDefinition& tag = place.definition;
    tag.name = FileTag();
    tag.key_bytes = base::LoadLE16(header, kKeyBytesAt);
    const std::uint8_t options = base::Load8(header, kOptionsAt);
    tag.unique = (options & kUnique) != 0;
    tag.expression = ZeroEnded(header.subspan(kIdxExpressionAt, kExpressionBytes));
    if ((options & kFiltered) != 0)
      tag.filter = ZeroEnded(header.subspan(kIdxFilterAt, kExpressionBytes));
    CheckKeyBytes(tag, 160);
    return place;
  }

  TagPlace ReadCompact(std::uint32_t at, std::string name) {
    const std::vector<std::byte> bytes = Bytes(at, kCompactHeader);
    const base::ByteSpan header = bytes;
    TagPlace place;
    place.header = at;
    TagDefinition& tag = place.definition;
    tag.name = std::move(name);
    tag.key_bytes = base::LoadLE16(header, kKeyBytesAt);
    const std::uint8_t options = base::Load8(header, kOptionsAt);
    tag.unique = (options & kUnique) != 0;
    tag.nullable = (options & kNullable) != 0;
    tag.candidate = (options & kCandidate) != 0;
    tag.collation = ZeroEnded(header.subspan(kCollationAt, kCollationBytes));
    tag.descending = base::LoadLE16(header, kDescendingAt) != 0;
    const auto pooled = [&](std::size_t offset_at) {
      const std::size_t offset = base::LoadLE16(header, offset_at);
      const std::size_t size = base::LoadLE16(header, offset_at + 2);
      if (size == 0) return std::string();
      if (offset > kPage || size > kPage - offset)
        Damaged("tag '" + tag.name + "' has an expression at " + std::to_string(offset) + " of " +
                std::to_string(size) + " bytes");
      return ZeroEnded(header.subspan(kPoolAt + offset, size));
    };
    tag.expression = pooled(508);
    if ((options & kFiltered) != 0) tag.filter = pooled(504);
    CheckKeyBytes(tag, 240);
    return place;
  }

  storage::Store& store_;
  IndexFile& file_;
};

// --- New files

class ImageWriter {
 public:
  explicit ImageWriter(std::size_t bytes) : image_(bytes, '\0') {}
  std::size_t size() const noexcept { return image_.size(); }
  base::MutableByteSpan bytes() noexcept {
    return std::as_writable_bytes(std::span<char>(image_.data(), image_.size()));
  }
  void U8(std::size_t at, unsigned value) { image_[at] = static_cast<char>(value); }
  void U16(std::size_t at, std::size_t value) {
    base::StoreLE16(bytes(), at, static_cast<std::uint16_t>(value));
  }
  void U32(std::size_t at, std::size_t value) {
    base::StoreLE32(bytes(), at, static_cast<std::uint32_t>(value));
  }
  void Text(std::size_t at, std::string_view text) { image_.replace(at, text.size(), text); }
  /// Adds zeros and returns where they begin.
  std::size_t Grow(std::size_t count) {
    image_.append(count, '\0');
    return image_.size() - count;
  }
  std::string Take() { return std::move(image_); }

 private:
  std::string image_;
};

std::string NewNdx(const TagDefinition& tag) {
  ImageWriter image(2 * kPage);
  const std::size_t entry = 8 + (tag.key_bytes + 3) / 4 * 4;
  image.U32(0, 1);
  image.U32(4, 2);
  // Of no use to dBASE III; others compare keys as numbers where it is missing.
  image.U8(9, static_cast<unsigned char>(tag.date ? 'D' : tag.numeric ? 'N' : 'C'));
  image.U16(kKeyBytesAt, tag.key_bytes);
  image.U16(14, (kPage - 4) / entry);
  image.U16(16, tag.numeric ? 1 : 0);
  image.U16(18, entry);
  image.U8(23, tag.unique ? 1 : 0);
  image.Text(kNdxExpressionAt, tag.expression);
  return image.Take();
}

std::string NewIdx(const TagDefinition& tag) {
  ImageWriter image(2 * kPage);
  image.U32(0, kPage);
  image.U32(4, kNoPage);
  image.U32(8, 2 * kPage);
  image.U16(kKeyBytesAt, tag.key_bytes);
  image.U8(kOptionsAt, (tag.unique ? kUnique : 0u) | (tag.filter.empty() ? 0u : kFiltered));
  image.Text(kIdxExpressionAt, tag.expression);
  image.Text(kIdxFilterAt, tag.filter);
  image.U16(kPage, 3);
  image.U32(kPage + 4, kNoPage);
  image.U32(kPage + 8, kNoPage);
  return image.Take();
}

/// An empty leaf that is a root; `key_bytes` decide how its entries would be put together.
void PutEmptyLeaf(ImageWriter& image, std::size_t at, std::size_t key_bytes) {
  unsigned bits = 0;
  while (key_bytes >> bits != 0) ++bits;
  const unsigned bytes = 2 * bits <= 8 ? 3 : 2 * bits <= 12 ? 4 : 5;
  const unsigned record_bits = bytes * 8 - 2 * bits;
  image.U16(at, 3);
  image.U32(at + 4, kNoPage);
  image.U32(at + 8, kNoPage);
  image.U16(at + 12, kPage - 24);
  image.U32(at + 14, (std::uint64_t{1} << record_bits) - 1);
  image.U8(at + 18, (1u << bits) - 1);
  image.U8(at + 19, (1u << bits) - 1);
  image.U8(at + 20, record_bits);
  image.U8(at + 21, bits);
  image.U8(at + 22, bits);
  image.U8(at + 23, bytes);
}

void PutCompactHeader(ImageWriter& image, std::size_t at, std::size_t root, unsigned options,
                      const TagDefinition& tag) {
  image.U32(at, root);
  image.U16(at + kKeyBytesAt, tag.key_bytes);
  image.U8(at + kOptionsAt,
           options | kCompact | (tag.unique ? kUnique : 0u) | (tag.nullable ? kNullable : 0u) |
               (tag.candidate ? kCandidate : 0u) | (tag.filter.empty() ? 0u : kFiltered));
  image.U8(at + 15, 1);
  image.Text(at + kCollationAt, tag.collation);
  image.U16(at + kDescendingAt, tag.descending ? 1 : 0);
  image.U16(at + 504, tag.expression.size() + 1);
  image.U16(at + 506, tag.filter.size() + 1);
  image.U16(at + 508, 0);
  image.U16(at + 510, tag.expression.size() + 1);
  image.Text(at + kPoolAt, tag.expression);
  image.Text(at + kPoolAt + tag.expression.size() + 1, tag.filter);
}

std::string NewCompact(const TagDefinition& tag) {
  ImageWriter image(kCompactHeader + kPage);
  PutCompactHeader(image, 0, kCompactHeader, 0, tag);
  PutEmptyLeaf(image, kCompactHeader, tag.key_bytes);
  return image.Take();
}

std::string NewCdx(const std::vector<TagDefinition>& tags, std::vector<TagPlace>& places) {
  ImageWriter image(kCompactHeader + kPage);
  TagDefinition directory;
  directory.key_bytes = kTagNameBytes;
  PutCompactHeader(image, 0, kCompactHeader, kCompound | kStructural, directory);
  PutEmptyLeaf(image, kCompactHeader, kTagNameBytes);
  for (const TagDefinition& tag : tags) {
    const std::size_t header = image.Grow(kCompactHeader);
    const std::size_t root = image.Grow(kPage);
    PutCompactHeader(image, header, root, kCompound, tag);
    PutEmptyLeaf(image, root, tag.key_bytes);
    places.push_back({tag, header});
  }
  return image.Take();
}

/// Enters a tag's slot into the binary tree of names that the slots form.
void LinkMdxSlot(ImageWriter& image, const std::vector<TagDefinition>& tags, std::size_t number) {
  for (std::size_t at = 1; at < number;) {
    const bool right =
        base::UpperAscii(tags[number - 1].name) > base::UpperAscii(tags[at - 1].name);
    const std::size_t link = kMdxSlotsAt + (at - 1) * kMdxSlotBytes + (right ? 17 : 16);
    const std::size_t next = base::Load8(image.bytes(), link);
    if (next != 0) {
      at = next;
      continue;
    }
    image.U8(link, static_cast<unsigned>(number));
    image.U8(kMdxSlotsAt + (number - 1) * kMdxSlotBytes + 18, static_cast<unsigned>(at));
    return;
  }
}

bool IsPlainName(std::string_view expression) {
  return std::all_of(expression.begin(), expression.end(), [](char c) {
    return base::IsDigit(c) || c == '_' ||
           (base::ToUpperAscii(c) >= 'A' && base::ToUpperAscii(c) <= 'Z');
  });
}

void PutMdxHeader(ImageWriter& image, std::size_t at, std::size_t root, const TagDefinition& tag) {
  const std::size_t entry = 4 + (tag.key_bytes + 3) / 4 * 4;
  image.U32(at, root / kPage);
  image.U32(at + 4, 2 * kMdxBlockBytes / kPage);
  image.U8(at + 8,
           kMdxField | (tag.unique ? kMdxUnique : 0u) | (tag.descending ? kMdxDescending : 0u));
  image.U8(at + 9, tag.numeric ? 'N' : tag.date ? 'D' : 'C');
  image.U16(at + kKeyBytesAt, tag.key_bytes);
  image.U16(at + 14, (kMdxBlockBytes - 12) / entry);
  image.U16(at + 16, tag.date ? 1 : 0);
  image.U16(at + 18, entry);
  image.U8(at + 23, tag.unique ? kMdxUnique : 0u);
  image.Text(at + kMdxExpressionAt, tag.expression);
  image.U8(at + kMdxFilterFlagAt, tag.filter.empty() ? 0 : 1);
  image.U8(at + 246, 1);
  image.U32(at + 248, root / kPage);
  image.U32(at + 252, root / kPage);
  image.Text(at + kMdxFilterAt, tag.filter);
}

std::string NewMdx(std::string_view table_name, unsigned code_page_mark,
                   const std::vector<TagDefinition>& tags, std::vector<TagPlace>& places) {
  ImageWriter image(kMdxFirstBlock * kPage);
  const auto now = base::Now();
  for (std::size_t at : {std::size_t{1}, std::size_t{44}}) {
    image.U8(at, static_cast<unsigned>(now.year - 1900));
    image.U8(at + 1, static_cast<unsigned>(now.month));
    image.U8(at + 2, static_cast<unsigned>(now.day));
  }
  image.U8(0, kMdxVersion);
  image.Text(4, table_name.substr(0, 15));
  image.U16(20, kMdxBlockBytes / kPage);
  image.U16(22, kMdxBlockBytes);
  image.U8(24, 1);
  image.U8(25, kMdxTags + 1);
  image.U8(26, kMdxSlotBytes);
  image.U16(28, tags.size());
  image.U8(31, code_page_mark);  // another one than the table's keeps some programs from writing
  for (std::size_t i = 0; i < tags.size(); ++i) {
    const TagDefinition& tag = tags[i];
    const std::size_t header = image.Grow(kMdxBlockBytes);
    const std::size_t root = image.Grow(kMdxBlockBytes);
    const std::size_t slot = kMdxSlotsAt + i * kMdxSlotBytes;
    image.U32(slot, header / kPage);
    image.Text(slot + 4, tag.name.substr(0, kTagNameBytes));
    image.U8(slot + 15, IsPlainName(tag.expression) ? kMdxField : 0u);
    image.U8(slot + 19, 2);
    image.U8(slot + 20, tag.numeric ? 'N' : tag.date ? 'D' : 'C');
    LinkMdxSlot(image, tags, i + 1);
    PutMdxHeader(image, header, root, tag);
    places.push_back({tag, header});
  }
  image.U32(32, image.size() / kPage);
  return image.Take();
}

}  // namespace

const IndexLimits& LimitsOf(IndexKind kind) noexcept {
  return kLimits[static_cast<std::size_t>(kind)];
}

std::string ReadInf(storage::FileSystem& fs, const std::string& table_path) {
  const std::string inf = FindCompanion(fs, table_path, "inf");
  return inf.empty() ? std::string() : folder::ReadSmallFile(fs, inf, kMaxInfBytes);
}

std::vector<IndexFileName> FindIndexFiles(storage::FileSystem& fs, const std::string& table_path) {
  const std::string folder = storage::FolderOf(table_path);
  std::vector<IndexFileName> files;
  const auto add = [&](IndexKind kind, std::string path, bool constraint) {
    for (const IndexFileName& file : files)
      if (file.path == path) return;
    files.push_back({kind, std::move(path), constraint});
  };
  ForEachInfLine(ReadInf(fs, table_path), [&](const InfLine& line) {
    const std::string_view name = base::NamePart(line.file);
    std::string path = FindFile(fs, folder, name);
    if (path.empty())
      Throw(Code::kNotFound, ErrorNumber::kFileNotFound,
            "table file '" + table_path + "': its index file '" + base::JoinPath(folder, name) +
                "', which its INF file lists, is missing");
    add(line.kind->kind, std::move(path), line.constraint);
  });
  for (const Extension& production : kExtensions) {
    if (production.kind != IndexKind::kMdx && production.kind != IndexKind::kCdx) continue;
    std::string path = FindCompanion(fs, table_path, production.text);
    if (!path.empty()) add(production.kind, std::move(path), false);
  }
  return files;
}

std::vector<std::string> UnlistedIndexFiles(storage::FileSystem& fs,
                                            const std::string& table_path) {
  std::vector<std::string> files;
  for (std::string_view extension : {"ndx", "idx"}) {
    const std::string path = FindCompanion(fs, table_path, extension);
    if (path.empty()) continue;
    bool listed = false;
    ForEachInfLine(ReadInf(fs, table_path), [&](const InfLine& line) {
      listed = listed || base::EqualAnyCase(base::NamePart(line.file), storage::NameOf(path));
    });
    if (!listed) files.push_back(path);
  }
  return files;
}

std::vector<TagPlace> ReadTags(storage::Store& store, IndexFile& file) {
  return TagReader(store, file).Read();
}

std::unique_ptr<IndexPages> MakeDirectoryPages(storage::Store& store, storage::FileNo file) {
  TagDefinition directory;
  directory.key_bytes = kTagNameBytes;
  return MakeCompactPages(store, file, "directory of tags", directory, 0, std::byte{' '});
}

std::string NewIndexFile(IndexKind kind, std::string_view table_name, unsigned code_page_mark,
                         const std::vector<TagDefinition>& tags, std::vector<TagPlace>& places) {
  places.clear();
  switch (kind) {
    case IndexKind::kMdx:
      return NewMdx(table_name, code_page_mark, tags, places);
    case IndexKind::kCdx:
      return NewCdx(tags, places);
    default:
      break;
  }
  places.push_back({tags.front(), 0});
  return kind == IndexKind::kNdx   ? NewNdx(tags.front())
         : kind == IndexKind::kIdx ? NewIdx(tags.front())
                                   : NewCompact(tags.front());
}

std::string AddInfLine(std::string_view text, std::string_view section, std::string_view kind,
                       std::string_view file, bool constraint) {
  int number = 1;
  ForEachInfLine(text, [&](const InfLine& line) {
    if (base::EqualIgnoreCase(line.kind->text, kind)) ++number;
  });
  std::string out(text);
  if (out.empty()) out = "[" + std::string(section) + "]\r\n";
  if (out.back() != '\n') out += "\r\n";
  return out + (constraint ? "U" : "") + std::string(kind) + std::to_string(number) + "=" +
         std::string(file) + "\r\n";
}

}  // namespace kelvorin::database::xbase
