#pragma once
// One index of an open table: its definition, its compiled expressions and its tree. Makes the
// entries of records and keeps them in the tree. Used by the indexes of a table, by record sets and
// by the inspection.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "database/xbase/index_tree.h"
#include "database/xbase/key_expression.h"
#include "database/xbase/text_page.h"

namespace kelvorin::database::xbase {

/// A tag as its file describes it.
struct TagPlace {
  TagDefinition definition;
  std::uint64_t header = 0;  // offset in the file
};

/// An index file attached to a table's store.
struct IndexFile {
  IndexKind kind = IndexKind::kCdx;
  storage::FileNo file{};
  std::string path;
  bool constraint = false;  // its INF line says that keys must not come twice
};

class Tag {
 public:
  /// Whether a record has an entry.
  enum class State : std::uint8_t { kLeftOut, kEntered };

  /// What is not understood makes a tag without entries, see `why_not`. Throws `kCorrupt` for a
  /// definition that contradicts itself. `layout` and `page` must outlive the tag.
  Tag(storage::Store& store, const IndexFile& file, TagPlace place, const TableLayout& layout,
      const TextPage& page);

  /// Goes on in the tree of a file that took the place of the tag's own, where its header lies at
  /// `header`. Places in the tree stay good. Only for usable tags.
  void Reopen(storage::Store& store, storage::FileNo file, std::uint64_t header);

  const TagDefinition& definition() const noexcept { return definition_; }
  IndexKind kind() const noexcept { return kind_; }
  const std::string& path() const noexcept { return path_; }
  /// Empty when the tag can be read and kept; else the reason, naming file, tag and text.
  const std::string& why_not() const noexcept { return why_not_; }
  bool usable() const noexcept { return why_not_.empty(); }
  /// Whether two records with the same key are refused.
  bool constraint() const noexcept { return constraint_; }
  /// Whether sets in its order go through the tree from its end.
  bool reversed() const noexcept { return definition_.descending && kind_ != IndexKind::kMdx; }
  /// Columns that its key lists, empty for any other expression. Only for usable tags.
  const std::vector<KeyPart>& parts() const noexcept;
  IndexTree& tree() noexcept { return *tree_; }

  std::size_t key_bytes() const noexcept { return definition_.key_bytes; }
  std::size_t entry_bytes() const noexcept { return key_bytes() + kRecordNumberBytes; }
  /// Makes a record's entry in `out` (entry_bytes long); false when the FOR condition leaves the
  /// record out, `out` is then unchanged.
  bool MakeEntry(base::ByteSpan row, std::uint32_t record, std::byte* out);
  /// Makes the key alone, whatever the FOR condition says.
  void MakeKey(base::ByteSpan row, std::uint32_t record, std::byte* out);
  /// Bytes of the key that its first `count` parts take.
  std::size_t PrefixBytes(std::size_t count) const noexcept;
  /// Moves a date-time key by half seconds; false for other keys.
  bool Shift(std::byte* key, double days) const noexcept;

  /// Whether two entries have the same key, with the tolerance of `Erase`.
  bool SameKey(base::ByteSpan a, base::ByteSpan b) const noexcept;
  /// Whether the tree has this entry or, where a key stands `once` in it, any of its key; with the
  /// tolerance of `Erase`.
  bool Holds(base::ByteSpan entry, bool once);
  /// Removes an entry. Numbers and times are also found where another program computed their last
  /// bits differently. False when it is not there.
  bool Erase(base::ByteSpan entry);

 private:
  void Compile(const TableLayout& layout, const TextPage& page);
  void Refuse(const std::string& what);
  /// What is wrong with the definition for these expressions, or nothing.
  std::string Mismatch(const TextPage& page) const;
  bool IsDoubleKey() const noexcept;
  /// Makes the bounds between which a key may stand that other arithmetic led to.
  void Widen(std::byte* low, std::byte* high) const noexcept;
  bool FindNear(base::ByteSpan entry, bool once);

  IndexKind kind_;
  std::string path_;
  TagDefinition definition_;
  bool constraint_ = false;
  bool general_ = false;
  std::string why_not_;
  std::optional<KeyExpression> key_;
  std::optional<KeyExpression> filter_;
  KeyValue value_;
  std::unique_ptr<IndexPages> pages_;
  std::optional<IndexTree> tree_;
  IndexTree::Place place_;
};

/// Key bytes that a new index of a format takes for an expression; 0 when it cannot hold such keys.
std::size_t NewKeyBytes(IndexKind kind, const KeyExpression& key, const TagDefinition& tag);

}  // namespace kelvorin::database::xbase
