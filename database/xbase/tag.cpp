#include "database/xbase/tag.h"

#include "base/M_STRING.h"
#include "database/errors.h"
#include "database/xbase/collation.h"
#include "database/xbase/decimal_text.h"
#include "values/decimal_digits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace kelvorin::database::xbase {
namespace {

constexpr std::string_view kGeneral = "GENERAL";
constexpr std::string_view kMachine = "MACHINE";
constexpr double kEmptyDate = 1e100;  // of dBASE; sorts behind all others
constexpr std::size_t kDoubleBytes = 8;
constexpr std::size_t kDecimalKeyBytes = 12;
constexpr std::size_t kIntegerBytes = 4;
constexpr std::byte kNotNull{0x80};
/// In units of the last place; other programs compute the same number along other ways.
constexpr std::uint64_t kNearDoubles = 4;
constexpr double kHalfSecond = 0.5 / 86400;

bool IsCompact(IndexKind kind) noexcept {
  return kind == IndexKind::kCompactIdx || kind == IndexKind::kCdx;
}
bool IsFoxPro(IndexKind kind) noexcept {
  return IsCompact(kind) || kind == IndexKind::kIdx;
}

/// Key bytes of a value, without the byte that says Null; 0 when the format has none for it.
std::size_t ValueBytes(IndexKind kind, KeyType type, std::size_t text_bytes) noexcept {
  switch (type) {
    case KeyType::kText:
      return text_bytes;
    case KeyType::kNumber:
      return kind == IndexKind::kMdx ? kDecimalKeyBytes : kDoubleBytes;
    case KeyType::kDate:
      return kDoubleBytes;
    case KeyType::kDateTime:
    case KeyType::kCurrency:
      return IsFoxPro(kind) ? kDoubleBytes : 0;
    case KeyType::kInteger:
      return IsFoxPro(kind) ? kIntegerBytes : 0;
    case KeyType::kLogical:
      return IsFoxPro(kind) ? 1 : 0;
  }
  return 0;
}

}  // namespace

std::size_t NewKeyBytes(IndexKind kind, const KeyExpression& key, const TagDefinition& tag) {
  std::size_t bytes = ValueBytes(kind, key.type(), key.text_bytes());
  if (key.type() == KeyType::kText && tag.collation == kGeneral) bytes = GeneralKeyBytes(bytes);
  return bytes == 0 ? 0 : bytes + (tag.nullable ? 1 : 0);
}

Tag::Tag(storage::Store& store, const IndexFile& file, TagPlace place, const TableLayout& layout,
         const TextPage& page)
    : kind_(file.kind), path_(file.path), definition_(std::move(place.definition)) {
  definition_.nullable = definition_.nullable && layout.version->visual;
  general_ = definition_.collation == kGeneral;
  constraint_ = file.constraint || definition_.candidate;
  Compile(layout, page);
  if (usable()) Reopen(store, file.file, place.header);
}

void Tag::Reopen(storage::Store& store, storage::FileNo file, std::uint64_t header) {
  const std::string name = "tag '" + definition_.name + "'";
  switch (kind_) {
    case IndexKind::kNdx:
      pages_ = MakeNdxPages(store, file, name, definition_);
      break;
    case IndexKind::kMdx:
      pages_ = MakeMdxPages(store, file, name, definition_, header);
      break;
    case IndexKind::kIdx:
      pages_ = MakeIdxPages(store, file, name, definition_);
      break;
    case IndexKind::kCompactIdx:
    case IndexKind::kCdx: {
      const bool blanks = key_->type() == KeyType::kText && !general_;
      pages_ = MakeCompactPages(store, file, name, definition_, header,
                                blanks ? std::byte{' '} : std::byte{0});
    }
  }
  tree_.emplace(*pages_, tree_ ? tree_->version() + 1 : 1);
}

void Tag::Refuse(const std::string& what) {
  why_not_ = "tag '" + definition_.name + "' of its index file '" + path_ +
             "' would have to be kept up to date, but " + what;
}

void Tag::Compile(const TableLayout& layout, const TextPage& page) {
  const auto compile = [&](const std::string& text, std::optional<KeyExpression>& out) {
    try {
      out.emplace(text, layout);
    } catch (const Error& error) {
      Refuse("this driver does not understand " + std::string(error.status().message()) +
             " in its expression '" + text + "'");
    }
  };
  compile(definition_.expression, key_);
  if (usable() && !definition_.filter.empty()) compile(definition_.filter, filter_);
  if (!usable()) return;
  const std::string wrong = Mismatch(page);
  if (!wrong.empty()) Refuse(wrong);
}

std::string Tag::Mismatch(const TextPage& page) const {
  const KeyType type = key_->type();
  if (filter_ && filter_->type() != KeyType::kLogical)
    return "its FOR condition '" + definition_.filter + "' is none";
  if (!definition_.collation.empty() && definition_.collation != kMachine) {
    if (!general_) return "this driver does not know its collation '" + definition_.collation + "'";
    if (page.number() != kGeneralCodePage)
      return "this driver knows its collation '" + definition_.collation + "' for code page " +
             std::to_string(kGeneralCodePage) + " only, and the table is in " +
             std::to_string(page.number());
  }
  const bool text = type == KeyType::kText;
  if (kind_ == IndexKind::kNdx && text == definition_.numeric)
    return "its keys are not of the kind that its expression '" + definition_.expression +
           "' yields";
  if (kind_ == IndexKind::kMdx && (definition_.date != (type == KeyType::kDate) ||
                                   definition_.numeric != (type == KeyType::kNumber)))
    return "its keys are not of the kind that its expression '" + definition_.expression +
           "' yields";
  const std::size_t null_byte = definition_.nullable ? 1 : 0;
  const std::size_t bytes = ValueBytes(kind_, type, key_->text_bytes());
  if (!text && bytes + null_byte != key_bytes() &&
      !(type == KeyType::kInteger && key_bytes() == kDoubleBytes + null_byte))
    return "its keys of " + std::to_string(key_bytes()) +
           " bytes are not those of its expression '" + definition_.expression + "'";
  if (key_bytes() <= null_byte || key_bytes() > kMaxKeyBytes)
    return "its keys have " + std::to_string(key_bytes()) + " bytes";
  return {};
}

const std::vector<KeyPart>& Tag::parts() const noexcept {
  return key_->parts();
}

bool Tag::MakeEntry(base::ByteSpan row, std::uint32_t record, std::byte* out) {
  if (filter_) {
    filter_->Evaluate(row, record, value_);
    if (!value_.truth) return false;
  }
  MakeKey(row, record, out);
  base::StoreBE32({out + key_bytes(), kRecordNumberBytes}, 0, record);
  return true;
}

void Tag::MakeKey(base::ByteSpan row, std::uint32_t record, std::byte* out) {
  const base::MutableByteSpan whole(out, key_bytes());
  base::MutableByteSpan key = whole;
  if (definition_.nullable) {
    if (key_->IsNull(row)) {
      std::fill(key.begin(), key.end(), std::byte{0});
      return;
    }
    key[0] = kNotNull;
    key = key.subspan(1);
  }
  key_->Evaluate(row, record, value_);
  const bool dbase = !IsFoxPro(kind_);
  switch (key_->type()) {
    case KeyType::kText: {
      if (general_) {
        MakeGeneralKey(value_.text, key);
        break;
      }
      const std::string_view text = value_.text.substr(0, key.size());
      std::copy(text.begin(), text.end(), reinterpret_cast<char*>(key.data()));
      std::fill(key.begin() + static_cast<std::ptrdiff_t>(text.size()), key.end(), std::byte{' '});
      break;
    }
    case KeyType::kNumber:
      if (kind_ != IndexKind::kMdx) {
        StoreSortedDouble(value_.number, key.data());
      } else {
        std::array<char, values::kMaxPlainDouble> buffer;
        StoreSortedDecimal(
            value_.text.empty() ? values::PlainText(value_.number, buffer) : value_.text,
            key.data());
      }
      break;
    case KeyType::kDate:
    case KeyType::kDateTime:
      StoreSortedDouble(value_.empty ? (dbase ? kEmptyDate : 0.0) : value_.number, key.data());
      break;
    case KeyType::kInteger:
      if (key.size() == kIntegerBytes) {
        base::StoreBE32(key, 0, static_cast<std::uint32_t>(value_.whole) ^ 0x80000000u);
      } else {
        StoreSortedDouble(static_cast<double>(value_.whole), key.data());
      }
      break;
    case KeyType::kCurrency:
      base::StoreBE64(key, 0, static_cast<std::uint64_t>(value_.whole) ^ (std::uint64_t{1} << 63));
      break;
    case KeyType::kLogical:
      key[0] = value_.truth ? std::byte{'T'} : std::byte{'F'};
      break;
  }
  if (kind_ == IndexKind::kMdx && definition_.descending)
    for (std::byte& byte : whole) byte = ~byte;
}

std::size_t Tag::PrefixBytes(std::size_t count) const noexcept {
  if (count >= parts().size() || general_) return key_bytes();
  std::size_t bytes = definition_.nullable ? 1 : 0;
  for (std::size_t i = 0; i < count; ++i) bytes += parts()[i].bytes;
  return std::min(bytes, key_bytes());
}

bool Tag::IsDoubleKey() const noexcept {
  const KeyType type = key_->type();
  return kind_ != IndexKind::kMdx && (type == KeyType::kNumber || type == KeyType::kDateTime);
}

bool Tag::Shift(std::byte* key, double days) const noexcept {
  if (key_->type() != KeyType::kDateTime) return false;
  std::byte* const number = key + (definition_.nullable ? 1 : 0);
  if (definition_.nullable && key[0] != kNotNull) return true;
  const std::uint64_t sorted = base::LoadBE64({number, kDoubleBytes}, 0);
  const std::uint64_t sign = std::uint64_t{1} << 63;
  const auto bits = (sorted & sign) != 0 ? sorted & ~sign : ~sorted;
  StoreSortedDouble(std::bit_cast<double>(bits) + days, number);
  return true;
}

void Tag::Widen(std::byte* low, std::byte* high) const noexcept {
  if (Shift(low, -kHalfSecond)) {
    Shift(high, kHalfSecond);
  } else if (IsDoubleKey()) {
    const std::size_t at = definition_.nullable ? 1 : 0;
    const std::uint64_t number = base::LoadBE64({low + at, kDoubleBytes}, 0);
    base::StoreBE64({low + at, kDoubleBytes}, 0, number - std::min(number, kNearDoubles));
    base::StoreBE64({high + at, kDoubleBytes}, 0,
                    number + std::min(~std::uint64_t{0} - number, kNearDoubles));
  }
}

bool Tag::SameKey(base::ByteSpan a, base::ByteSpan b) const noexcept {
  if (std::memcmp(a.data(), b.data(), key_bytes()) == 0) return true;
  std::array<std::byte, kMaxKeyBytes> low, high;
  std::copy_n(b.begin(), key_bytes(), low.begin());
  std::copy_n(b.begin(), key_bytes(), high.begin());
  Widen(low.data(), high.data());
  return std::memcmp(a.data(), low.data(), key_bytes()) >= 0 &&
         std::memcmp(a.data(), high.data(), key_bytes()) <= 0;
}

/// Goes to the entry, or to one of its record whose key other arithmetic may have led to.
bool Tag::FindNear(base::ByteSpan entry, bool once) {
  std::array<std::byte, kMaxKeyBytes + kRecordNumberBytes> low, high;
  std::copy(entry.begin(), entry.end(), low.begin());
  std::copy(entry.begin(), entry.end(), high.begin());
  Widen(low.data(), high.data());
  const std::uint32_t record = base::LoadBE32(entry, key_bytes());
  const base::ByteSpan from = base::ByteSpan(low).first(key_bytes());
  for (bool found = tree_->Find(from, place_); found; found = tree_->Next(place_)) {
    if (std::memcmp(place_.entry().data(), high.data(), key_bytes()) > 0) return false;
    if (once || place_.record() == record) return true;
  }
  return false;
}

bool Tag::Holds(base::ByteSpan entry, bool once) {
  return tree_->Contains(entry, place_) || ((once || IsDoubleKey()) && FindNear(entry, once));
}

bool Tag::Erase(base::ByteSpan entry) {
  if (tree_->Erase(entry)) return true;
  if (!IsDoubleKey() || !FindNear(entry, false)) return false;
  const std::vector<std::byte> there(place_.entry().begin(), place_.entry().end());
  return tree_->Erase(there);
}

}  // namespace kelvorin::database::xbase
