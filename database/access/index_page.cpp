#include "database/access/index_page.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kelvorin::database::access {
namespace {

void PutBit(base::MutableByteSpan bits, std::uint32_t at, bool on) noexcept {
  const auto mask = static_cast<std::byte>(1u << (at % 8));
  if (on) {
    bits[at / 8] |= mask;
  } else {
    bits[at / 8] &= ~mask;
  }
}

constexpr std::uint32_t kWordBits = 64;
constexpr std::uint32_t kBlock = 8;  // words looked at together

/// As LoadLE64; compilers here do not make one instruction of its loop inside other loops, and
/// these loads are what most of a search consists of.
std::uint64_t LoadWord(base::ByteSpan bits, std::size_t at) noexcept {
  if constexpr (std::endian::native == std::endian::little) {
    std::uint64_t word;
    std::memcpy(&word, bits.data() + at, sizeof word);
    return word;
  } else {
    return base::LoadLE64(bits, at);
  }
}

/// The same with the first byte as the highest.
std::uint64_t LoadOrdered(const char* bytes) noexcept {
  std::uint64_t w = LoadWord(base::AsBytes(std::string_view(bytes, sizeof w)), 0);
  w = (w & 0x00FF00FF00FF00FFu) << 8 | (w >> 8 & 0x00FF00FF00FF00FFu);
  w = (w & 0x0000FFFF0000FFFFu) << 16 | (w >> 16 & 0x0000FFFF0000FFFFu);
  return w << 32 | w >> 32;
}

/// Word `index` of a bitmap whose last word may be cut off.
std::uint64_t Word(base::ByteSpan bits, std::uint32_t index) noexcept {
  const std::size_t at = std::size_t{8} * index;
  if (at + 8 <= bits.size()) return LoadWord(bits, at);
  std::uint64_t word = 0;
  for (std::size_t i = at; i < bits.size(); ++i)
    word |= static_cast<std::uint64_t>(bits[i]) << (8 * (i - at));
  return word;
}

/// Last set bit at or before `at`, or 0 (the start of the first entry) when there is none.
std::uint32_t LastBit(base::ByteSpan bits, std::uint32_t at) noexcept {
  std::uint32_t index = at / kWordBits;
  std::uint64_t word = Word(bits, index) & (~std::uint64_t{0} >> (kWordBits - 1 - at % kWordBits));
  while (word == 0) {
    if (index == 0) return 0;
    if (index >= kBlock) {  // most of a page's last bits are clear
      std::uint64_t any = 0;
      for (std::uint32_t i = 1; i <= kBlock; ++i) any |= LoadWord(bits, 8 * std::size_t{index - i});
      if (any == 0) {
        index -= kBlock;
        continue;
      }
    }
    word = Word(bits, --index);
  }
  return index * kWordBits + kWordBits - 1 - static_cast<std::uint32_t>(std::countl_zero(word));
}

/// First set bit behind `at`, or the number of bits when there is none.
std::uint32_t NextBit(base::ByteSpan bits, std::uint32_t at) noexcept {
  const auto count = static_cast<std::uint32_t>(bits.size()) * 8;
  if (++at >= count) return count;
  std::uint32_t index = at / kWordBits;
  std::uint64_t word = Word(bits, index) & (~std::uint64_t{0} << (at % kWordBits));
  while (word == 0) {
    if (++index * kWordBits >= count) return count;
    word = Word(bits, index);
  }
  return index * kWordBits + static_cast<std::uint32_t>(std::countr_zero(word));
}

void PutWord(base::MutableByteSpan bits, std::uint32_t index, std::uint64_t word) noexcept {
  const std::size_t at = std::size_t{8} * index;
  if (at + 8 <= bits.size()) return base::StoreLE64(bits, at, word);
  for (std::size_t i = at; i < bits.size(); ++i)
    bits[i] = static_cast<std::byte>(word >> (8 * (i - at)) & 0xFF);
}

/// Moves the bits behind `from` by `by` places; bits that would land at or before `from` go.
void MoveBits(base::MutableByteSpan bits, std::uint32_t from, std::uint32_t by, bool up) noexcept {
  const auto count = static_cast<std::uint32_t>((bits.size() + 7) / 8);
  const std::uint32_t first = from / kWordBits;
  const std::uint64_t low = ~std::uint64_t{0} >> (kWordBits - 1 - from % kWordBits);
  const std::uint64_t first_word = Word(bits, first);
  const std::uint64_t kept = first_word & low;
  const std::uint32_t far = by / kWordBits;
  const std::uint32_t near = by % kWordBits;
  const auto old = [&](std::uint32_t i) {
    return i >= count ? 0 : i == first ? first_word & ~low : Word(bits, i);
  };
  if (up) {  // from the end, so that every word is read before it is written
    for (std::uint32_t i = count; i-- > first + far;) {
      std::uint64_t word = old(i - far) << near;
      if (near != 0 && i > first + far) word |= old(i - far - 1) >> (kWordBits - near);
      PutWord(bits, i, i == first ? (word & ~low) | kept : word);
    }
    for (std::uint32_t i = first; i < std::min(first + far, count); ++i)
      PutWord(bits, i, i == first ? kept : 0);
    return;
  }
  for (std::uint32_t i = first; i < count; ++i) {
    std::uint64_t word = old(i + far) >> near;
    if (near != 0) word |= old(i + far + 1) << (kWordBits - near);
    PutWord(bits, i, i == first ? (word & ~low) | kept : word);
  }
}

}  // namespace

void Entries::Clear() noexcept {
  bytes_.clear();
  ends_.clear();
}

void Entries::Add(std::string_view front, std::string_view rest) {
  bytes_.append(front).append(rest);
  ends_.push_back(bytes_.size());
}

void Entries::Insert(std::size_t i, std::string_view entry) {
  const std::size_t at = i == 0 ? 0 : ends_[i - 1];
  bytes_.insert(at, entry);
  ends_.insert(ends_.begin() + static_cast<std::ptrdiff_t>(i), at);
  for (std::size_t k = i; k < ends_.size(); ++k) ends_[k] += entry.size();
}

void Entries::Replace(std::size_t i, std::string_view entry) {
  const std::size_t at = i == 0 ? 0 : ends_[i - 1];
  const std::size_t old = ends_[i] - at;
  bytes_.replace(at, old, entry);
  for (std::size_t k = i; k < ends_.size(); ++k) ends_[k] = ends_[k] - old + entry.size();
}

base::ByteSpan IndexPage::Bitmap() const noexcept {
  return page_.bytes().subspan(layout_.bitmap_at,
                               std::size_t{layout_.entries_at} - layout_.bitmap_at);
}

IndexPage::IndexPage(const PageChannel& channel, Page& page)
    : channel_(channel), layout_(channel.layout()), page_(page) {
  const base::ByteSpan bits = Bitmap();
  used_ = LastBit(bits, static_cast<std::uint32_t>(bits.size()) * 8 - 1);
  prefix_ = layout_.wide ? base::LoadLE16(page_.bytes(), layout_.prefix_at)
                         : base::Load8(page_.bytes(), layout_.prefix_at);
  if (used_ > layout_.entry_area())
    channel_.Corrupt(page_.number(), "its index entries leave the page");
  if (used_ == 0) {
    prefix_ = 0;
  } else if (prefix_ > EndOf(0)) {
    channel_.Corrupt(page_.number(), "its index entries share more bytes than the first one has");
  }
}

std::uint32_t IndexPage::EndOf(std::uint32_t at) const {
  const std::uint32_t end = NextBit(Bitmap(), at);
  const std::size_t bytes = end - at + (at == 0 ? 0 : prefix_);
  if (end > used_ || bytes < kPositionBytes + (leaf() ? 0 : kChildBytes))
    channel_.Corrupt(page_.number(), "the index entry at " + std::to_string(at) + " is too short");
  return end;
}

std::uint32_t IndexPage::Before(std::uint32_t at) const noexcept {
  return at <= 1 ? 0 : LastBit(Bitmap(), at - 1);
}

void IndexPage::Read(std::uint32_t at, std::string& out) const {
  const std::uint32_t end = EndOf(at);
  const std::string_view area = base::AsText(Area());
  out.clear();
  if (at != 0) out.append(area.substr(0, prefix_));
  out.append(area.substr(at, end - at));
}

std::uint32_t IndexPage::Child(std::uint32_t at) const {
  const std::uint32_t end = EndOf(at);
  if (end - at >= kChildBytes) return base::LoadBE32(Area(), end - kChildBytes);
  std::string entry;
  Read(at, entry);
  return base::LoadBE32(base::AsBytes(entry), entry.size() - kChildBytes);
}

/// How an entry's bytes from `at` to `end`, or a part of them, compare with `key`.
int IndexPage::Compare(std::uint32_t at, std::uint32_t end, std::string_view key) const noexcept {
  std::size_t count = end - at;
  if (!leaf()) count = count > kChildBytes ? count - kChildBytes : 0;
  const char* const bytes = base::AsText(page_.bytes()).data() + layout_.entries_at + at;
  const std::size_t both = std::min(count, key.size());
  // Keys differ early; a call for every comparison would cost more than it compares.
  if (both >= sizeof(std::uint64_t)) {
    const std::uint64_t here = LoadOrdered(bytes);
    const std::uint64_t wanted = LoadOrdered(key.data());
    if (here != wanted) return here < wanted ? -1 : 1;
  }
  const int order = both == 0 ? 0 : std::memcmp(bytes, key.data(), both);
  if (order != 0) return order;
  return count < key.size() ? -1 : count > key.size() ? 1 : 0;
}

std::uint32_t IndexPage::LowerBound(std::string_view key) const {
  if (used_ == 0) return 0;
  // The first entry alone is whole. The others begin with what all share: where the key differs
  // there, it lies before or behind all of them.
  const std::uint32_t second = EndOf(0);
  if (Compare(0, second, key) >= 0) return 0;
  const std::string_view shared = base::AsText(Area()).substr(0, prefix_);
  if (const int order = shared.compare(key.substr(0, prefix_)); order != 0)
    return order < 0 ? used_ : second;
  const std::string_view rest = key.substr(prefix_);
  const base::ByteSpan bits = Bitmap();
  std::uint32_t low = second;
  std::uint32_t high = used_;  // entries from here on are not less
  while (low < high) {
    const std::uint32_t middle = std::max(LastBit(bits, low + (high - low) / 2), low);
    const std::uint32_t end = EndOf(middle);
    if (Compare(middle, end, rest) < 0) {
      low = end;
    } else {
      high = middle;
    }
  }
  return low;
}

bool IndexPage::SharesKey(std::uint32_t at, std::string_view entry) const {
  const std::string_view key = entry.substr(0, entry.size() - kPositionBytes);
  const std::string_view area = base::AsText(Area());
  const auto same = [&](std::uint32_t from) {
    const std::uint32_t end = EndOf(from);
    const std::size_t shared = from == 0 ? 0 : prefix_;
    if (end - from + shared != entry.size()) return false;
    const std::size_t front = std::min(shared, key.size());
    return area.substr(0, front) == key.substr(0, front) &&
           area.substr(from, key.size() - front) == key.substr(front);
  };
  return (at != used_ && same(at)) || (at != 0 && same(Before(at)));
}

void IndexPage::SetUsed(std::uint32_t used) {
  used_ = used;
  base::StoreLE16(page_.Change(2, 2), 2, static_cast<std::uint16_t>(layout_.entry_area() - used));
}

/// Makes or closes a gap of `by` bytes at `from`, and moves the bits of the ends behind it.
IndexPage::Opened IndexPage::Shift(std::uint32_t from, std::uint32_t by, bool up) {
  const std::uint32_t used = up ? used_ + by : used_ - by;
  const std::uint32_t high = std::max(used, used_);
  const base::MutableByteSpan area =
      page_.Change(layout_.entries_at + from, high - from).subspan(layout_.entries_at);
  // Whole words, so that the bits can be moved by words.
  const std::uint32_t bits_from = from / kWordBits * 8;
  const auto bits_to =
      static_cast<std::uint32_t>(std::min<std::size_t>(high / kWordBits * 8 + 8, Bitmap().size()));
  const base::MutableByteSpan bits =
      page_.Change(layout_.bitmap_at + bits_from, bits_to - bits_from).subspan(layout_.bitmap_at);
  if (up) {
    std::memmove(area.data() + from + by, area.data() + from, used_ - from);
  } else {
    std::memmove(area.data() + from, area.data() + from + by, used_ - from - by);
    PutBit(bits, from + by, false);  // this end goes with the bytes
  }
  MoveBits(bits.first(bits_to), from, by, up);
  SetUsed(used);
  return {area, bits};
}

bool IndexPage::Insert(std::uint32_t at, std::string_view entry) {
  std::string_view rest = entry;
  std::uint32_t from = at;
  if (prefix_ != 0) {
    const std::string_view shared = base::AsText(Area()).substr(0, prefix_);
    if (entry.substr(0, prefix_) != shared || entry.size() <= prefix_ + (leaf() ? 0 : kChildBytes))
      return false;
    rest.remove_prefix(prefix_);
    if (at == 0) from = static_cast<std::uint32_t>(prefix_);
  }
  const auto bytes = static_cast<std::uint32_t>(rest.size());
  if (used_ + bytes > layout_.entry_area()) return false;
  const Opened opened = Shift(from, bytes, true);
  std::memcpy(opened.area.data() + from, rest.data(), bytes);
  PutBit(opened.bits, from + bytes, true);
  return true;
}

void IndexPage::Remove(std::uint32_t at) {
  const std::uint32_t end = EndOf(at);
  // The first entry leaves the bytes that the others share with it to its follower.
  const bool hand_on = at == 0 && end != used_;
  const auto from = hand_on ? static_cast<std::uint32_t>(prefix_) : at;
  Shift(from, end - from, false);
  if (used_ != 0) return;
  prefix_ = 0;
  base::Store8(page_.Change(layout_.prefix_at, 1), layout_.prefix_at, 0);
  if (layout_.wide)
    base::Store8(page_.Change(layout_.prefix_at + 1u, 1), layout_.prefix_at + 1u, 0);
}

void IndexPage::SetChild(std::uint32_t at, std::uint32_t child) {
  const std::uint32_t end = EndOf(at);
  if (end - at < kChildBytes)
    channel_.Corrupt(page_.number(), "a child page is half in the shared bytes");
  const std::size_t place = layout_.entries_at + std::size_t{end} - kChildBytes;
  base::StoreBE32(page_.Change(place, kChildBytes), place, child);
}

void IndexPage::ReadAll(Entries& out) const {
  out.Clear();
  const std::string_view area = base::AsText(Area());
  for (std::uint32_t at = 0, end = 0; at < used_; at = end) {
    end = EndOf(at);
    out.Add(area.substr(0, at == 0 ? 0 : prefix_), area.substr(at, end - at));
  }
}

bool IndexPage::WriteAll(const Entries& entries, std::size_t from, std::size_t to) {
  // The prefix stops before the slot of the position, so that no entry becomes empty.
  const std::size_t kept = leaf() ? 1 : 1 + kChildBytes;
  std::size_t prefix = 0;
  if (to - from > 1) {
    const std::string_view first = entries[from];
    prefix = first.size() - kept;
    for (std::size_t i = from; i < to; ++i) {
      const std::string_view entry = entries[i];
      prefix = std::min(prefix, entry.size() - kept);
      std::size_t same = 0;
      while (same < prefix && entry[same] == first[same]) ++same;
      prefix = same;
    }
    if (!layout_.wide) prefix = std::min<std::size_t>(prefix, 255);
  }
  std::size_t bytes = prefix;
  for (std::size_t i = from; i < to; ++i) bytes += entries[i].size() - prefix;
  if (bytes > layout_.entry_area()) return false;
  const base::MutableByteSpan page = page_.Change(0, layout_.page_bytes);
  const base::MutableByteSpan bits = page.subspan(layout_.bitmap_at);
  std::fill_n(bits.begin(), layout_.entries_at - layout_.bitmap_at, std::byte{0});
  std::size_t at = 0;
  for (std::size_t i = from; i < to; ++i) {
    const std::string_view rest = entries[i].substr(at == 0 ? 0 : prefix);
    std::memcpy(page.data() + layout_.entries_at + at, rest.data(), rest.size());
    at += rest.size();
    PutBit(bits, static_cast<std::uint32_t>(at), true);
  }
  prefix_ = prefix;
  base::Store8(page, layout_.prefix_at, static_cast<std::uint8_t>(prefix));
  if (layout_.wide) base::StoreLE16(page, layout_.prefix_at, static_cast<std::uint16_t>(prefix));
  SetUsed(static_cast<std::uint32_t>(at));
  return true;
}

void IndexPage::Format(const Layout& layout, Page& page, std::uint8_t type, std::uint8_t level,
                       std::uint32_t table) {
  const base::MutableByteSpan bytes = page.Change(0, layout.page_bytes);
  std::fill(bytes.begin(), bytes.end(), std::byte{0});
  base::Store8(bytes, 0, type);
  base::Store8(bytes, 1, 1);
  base::StoreLE16(bytes, 2, static_cast<std::uint16_t>(layout.entry_area()));
  base::StoreLE32(bytes, 4, table);
  base::Store8(bytes, layout.level_at, level);
}

}  // namespace kelvorin::database::access
