#include "database/xbase/index_pages.h"

#include "database/errors.h"
#include "database/xbase/fox_page.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace kelvorin::database::xbase {
namespace {

constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;

// An MDX number: 0x34 + digits before the point, sign and digit count, twenty packed digits. Its
// sorting form: class (below zero, zero, above), exponent, digits, the last two inverted below
// zero.
constexpr std::size_t kDecimalBytes = 12;
constexpr std::size_t kPackedBytes = 10;
constexpr std::uint8_t kExponentZero = 0x34;
constexpr std::uint8_t kNegative = 0x80;
constexpr std::byte kBelow{0}, kZero{1}, kAbove{2};

void Invert(std::byte* bytes, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) bytes[i] = ~bytes[i];
}

bool AllZero(base::ByteSpan bytes) noexcept {
  return std::all_of(bytes.begin(), bytes.end(), [](std::byte b) { return b == std::byte{0}; });
}

void SortDecimal(base::ByteSpan stored, std::byte* out) noexcept {
  std::fill_n(out, kDecimalBytes, std::byte{0});
  if (AllZero(stored.subspan(2))) {
    out[0] = kZero;
    return;
  }
  const bool negative = (base::Load8(stored, 1) & kNegative) != 0;
  out[0] = negative ? kBelow : kAbove;
  out[1] = stored[0];
  std::copy(stored.begin() + 2, stored.begin() + kDecimalBytes, out + 2);
  if (negative) Invert(out + 1, kDecimalBytes - 1);
}

void StoreDecimal(base::ByteSpan sorting, std::byte* out) noexcept {
  std::fill_n(out, kDecimalBytes, std::byte{0});
  out[0] = std::byte{kExponentZero};
  out[1] = std::byte{1};
  if (sorting[0] == kZero) return;
  std::copy(sorting.begin() + 1, sorting.begin() + kDecimalBytes, out + 1);
  if (sorting[0] == kBelow) Invert(out + 1, kDecimalBytes - 1);
  out[0] = out[1];
  unsigned digits = 2 * kPackedBytes;
  while (digits > 0) {
    const auto pair = std::to_integer<unsigned>(out[2 + (digits - 1) / 2]);
    if ((digits % 2 != 0 ? pair >> 4 : pair & 15) != 0) break;
    --digits;
  }
  out[1] = static_cast<std::byte>((sorting[0] == kBelow ? kNegative : 0u) | digits << 2 | 1u);
}

}  // namespace

void StoreSortedDouble(double number, std::byte* out) noexcept {
  auto bits = std::bit_cast<std::uint64_t>(number == 0 ? 0.0 : number);
  bits = (bits & kSignBit) != 0 ? ~bits : bits | kSignBit;
  base::StoreBE64({out, sizeof bits}, 0, bits);
}

void StoreSortedDecimal(std::string_view plain, std::byte* out) noexcept {
  std::fill_n(out, kDecimalBytes, std::byte{0});
  const bool negative = !plain.empty() && plain.front() == '-';
  int before = 0;  // digits before the point, less the zeros that follow it
  unsigned digits = 0;
  bool point = false;
  for (char c : plain) {
    if (c == '.') point = true;
    if (c < '0' || c > '9') continue;
    if (digits == 0 && c == '0') {
      if (point) --before;
      continue;
    }
    if (!point) ++before;
    if (digits < 2 * kPackedBytes) {
      const auto digit = static_cast<unsigned>(c - '0');
      out[2 + digits / 2] |= static_cast<std::byte>(digits % 2 == 0 ? digit << 4 : digit);
    }
    ++digits;
  }
  if (digits == 0) {
    out[0] = kZero;
    return;
  }
  out[0] = negative ? kBelow : kAbove;
  out[1] = static_cast<std::byte>(std::clamp(kExponentZero + before, 0, 255));
  if (negative) Invert(out + 1, kDecimalBytes - 1);
}

void KeyForm::ToSorting(base::ByteSpan stored, std::byte* out) const noexcept {
  switch (coding_) {
    case KeyCoding::kPlain:
      std::copy(stored.begin(), stored.end(), out);
      break;
    case KeyCoding::kDouble:
      StoreSortedDouble(std::bit_cast<double>(base::LoadLE64(stored, 0)), out);
      break;
    case KeyCoding::kDecimal:
      SortDecimal(stored, out);
      break;
  }
  if (inverted_) Invert(out, stored.size());
}

void KeyForm::ToStored(base::ByteSpan sorting, std::byte* out) const noexcept {
  std::byte upright[kMaxKeyBytes];
  if (inverted_) {
    std::copy(sorting.begin(), sorting.end(), upright);
    Invert(upright, sorting.size());
    sorting = {upright, sorting.size()};
  }
  switch (coding_) {
    case KeyCoding::kPlain:
      std::copy(sorting.begin(), sorting.end(), out);
      break;
    case KeyCoding::kDouble: {
      std::uint64_t bits = base::LoadBE64(sorting, 0);
      bits = (bits & kSignBit) != 0 ? bits & ~kSignBit : ~bits;
      base::StoreLE64({out, sizeof bits}, 0, bits);
      break;
    }
    case KeyCoding::kDecimal:
      StoreDecimal(sorting, out);
      break;
  }
}

// --- Nodes

std::size_t IndexNode::LowerBound(base::ByteSpan target) const noexcept {
  std::size_t low = 0, high = count();
  while (low < high) {
    const std::size_t middle = (low + high) / 2;
    if (std::memcmp(entries.data() + middle * entry_bytes, target.data(), target.size()) < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

void IndexNode::Insert(std::size_t at, base::ByteSpan entry) {
  entries.insert(entries.begin() + static_cast<std::ptrdiff_t>(at * entry_bytes), entry.begin(),
                 entry.end());
}

void IndexNode::Erase(std::size_t at) {
  const auto first = entries.begin() + static_cast<std::ptrdiff_t>(at * entry_bytes);
  entries.erase(first, first + static_cast<std::ptrdiff_t>(entry_bytes));
}

// --- What all formats share

IndexPages::IndexPages(storage::Store& store, storage::FileNo file, std::string name,
                       std::size_t key_bytes, KeyForm form, TreeTraits traits)
    : store_(store),
      file_(file),
      name_(std::move(name)),
      key_bytes_(key_bytes),
      form_(form),
      traits_(traits) {}

void IndexPages::Corrupt(std::uint32_t page, const std::string& what) const {
  Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
        "index file '" + store_.Path(file_) + "', " + name_ + ", page " + std::to_string(page) +
            ": " + what);
}

base::ByteSpan IndexPages::View(std::uint64_t offset, std::size_t size, std::uint32_t page) {
  const std::uint64_t end = Size();
  if (offset > end || size > end - offset)
    Corrupt(page, "lies behind the end of the file of " + std::to_string(end) + " bytes");
  return store_.View(file_, offset, size, scratch_);
}

std::uint32_t IndexPages::Load32(std::uint64_t offset, std::uint32_t page) {
  return base::LoadLE32(View(offset, 4, page), 0);
}

void IndexPages::Write32(std::uint64_t offset, std::uint32_t value) {
  std::byte bytes[4];
  base::StoreLE32(bytes, 0, value);
  store_.Write(file_, offset, bytes);
}

void IndexPages::StartNode(std::uint32_t page, std::size_t count, IndexNode& out) const {
  out.page = page;
  out.left = out.right = kNoPage;
  out.entry_bytes = entry_bytes();
  out.entries.resize(count * out.entry_bytes);
  out.children.clear();
}

void IndexPages::PutKey(base::ByteSpan stored, std::uint32_t record, std::byte* entry) const {
  form_.ToSorting(stored, entry);
  base::StoreBE32({entry + key_bytes_, kRecordNumberBytes}, 0, record);
}

void IndexPages::StoredKey(const IndexNode& node, std::size_t i, std::byte* out) const {
  form_.ToStored(node.KeyAt(i), out);
}

std::size_t FixedPages::Fit(const IndexNode& node, std::size_t first, std::size_t most_bytes) {
  // The last page of a branch takes the place of a key: other programs keep one key less there, and
  // do not find what lies behind a further one.
  const std::size_t wanted = std::max<std::size_t>(1, most_bytes / stride_);
  return std::min({most_, wanted, node.count() - first});
}
std::size_t FixedPages::Weight(const IndexNode& node) {
  return (node.count() + 1) * stride_;
}

bool IndexPages::Search(std::uint32_t, base::ByteSpan, Found&, std::byte*) {
  return false;
}
IndexPages::Entered IndexPages::Enter(std::uint32_t, base::ByteSpan) {
  return Entered::kNo;
}
void IndexPages::SetBranchEntry(std::uint32_t, std::size_t, base::ByteSpan) {}
void IndexPages::SetLeft(std::uint32_t page, std::uint32_t left) {
  if (traits_.all_links) Write32(std::uint64_t{page} + fox::kLeftAt, left);
}
void IndexPages::SetRight(std::uint32_t page, std::uint32_t right) {
  if (traits_.all_links) Write32(std::uint64_t{page} + fox::kRightAt, right);
}
std::vector<std::uint32_t> IndexPages::FreePages(std::string&) {
  return {};
}

}  // namespace kelvorin::database::xbase
