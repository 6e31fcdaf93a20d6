#include "database/access/sort_keys.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "database/access/field_codec.h"
#include "database/access/sort_key_tables.h"

namespace kelvorin::database::access {
namespace {

constexpr char kNull = 0x00;
constexpr char kValue = 0x7F;
constexpr std::size_t kBinaryGroup = 8;
constexpr char kMoreFollows = 0x09;

// --- Weights

enum class Kind : std::uint8_t {
  kPlain,      // primary weight only
  kAccented,   // primary and secondary weight
  kWordMark,   // no primary weight; noted with its place at the key's end
  kCombining,  // its secondary weight is added to the character before it
  kKana,       // primary weight, sometimes a secondary one, and small or normal
  kLetter97,   // General 97: a letter that counts when a later one has an accent
  kIgnored,
};

struct Weight {
  Kind kind = Kind::kIgnored;
  std::uint8_t primary_bytes = 0;
  std::uint8_t secondary_bytes = 0;
  std::uint8_t flag = 0;
  std::array<char, 8> primary{};
  std::array<char, 3> secondary{};
};

using Weights = std::array<Weight, 0x10000>;

/// Reads one of the streams. A unit that is not listed is ignored.
class Unpacker {
 public:
  Unpacker(const unsigned char* at, std::size_t bytes) : at_(at), end_(at + bytes) {}

  void Into(Weights& weights) {
    std::uint32_t unit = 0;
    while (at_ != end_) {
      const unsigned head = *at_++;
      const unsigned kind = head & 7;
      std::size_t primary_bytes = head >> 5;
      if (primary_bytes == 7) primary_bytes = *at_++;
      if ((head & 8) != 0) unit += Number();
      std::uint32_t count = 1;
      unsigned step = 0;
      if ((head & 16) != 0) {
        count = Number();
        step = *at_++;
      }
      std::uint64_t primary = 0;
      for (std::size_t i = 0; i < primary_bytes; ++i) primary = primary << 8 | *at_++;
      if (kind == kSameAs) {
        for (; count > 0; --count, ++unit, primary += step)
          weights[unit] = weights[primary & 0xFFFF];
        continue;
      }
      Weight weight;
      weight.kind = static_cast<Kind>(kind);
      weight.primary_bytes = static_cast<std::uint8_t>(primary_bytes);
      if (weight.kind != Kind::kPlain && weight.kind != Kind::kLetter97) Secondary(weight);
      if (weight.kind == Kind::kKana) weight.flag = *at_++;
      for (; count > 0; --count, ++unit, primary += step) {
        for (std::size_t i = 0; i < primary_bytes; ++i)
          weight.primary[i] = static_cast<char>(primary >> (8 * (primary_bytes - 1 - i)) & 0xFF);
        weights[unit] = weight;
      }
    }
  }

 private:
  static constexpr unsigned kSameAs = 6;
  std::uint32_t Number() {
    std::uint32_t value = 0;
    for (unsigned shift = 0;; shift += 7) {
      const unsigned byte = *at_++;
      value |= (byte & 0x7F) << shift;
      if (byte < 0x80) return value;
    }
  }
  void Secondary(Weight& weight) {
    unsigned first = *at_++;
    std::size_t count = 1;
    if (first == 0) {
      count = *at_++;
      if (count == 0) return;
      first = *at_++;
    }
    weight.secondary_bytes = static_cast<std::uint8_t>(count);
    weight.secondary[0] = static_cast<char>(first);
    for (std::size_t i = 1; i < count; ++i) weight.secondary[i] = static_cast<char>(*at_++);
  }
  const unsigned char* at_;
  const unsigned char* end_;
};

/// Low surrogates fall into stretches whose primary weights are shifted by different amounts.
void AddSurrogates(Weights& weights) {
  for (unsigned unit = 0xD800; unit < 0xE000; ++unit) {
    unsigned primary = unit - 10238;
    if (unit >= 0xDC00) {
      const unsigned at = unit - 0xDC00;
      primary = unit - (at < 8 ? 9992 : at < 262 ? 9990 : at < 516 ? 9988 : at < 770 ? 9986 : 9984);
    }
    Weight& weight = weights[unit];
    weight.kind = Kind::kAccented;
    weight.primary_bytes = 2;
    weight.primary = {static_cast<char>(primary >> 8), static_cast<char>(primary & 0xFF)};
    weight.secondary_bytes = 1;
    weight.secondary[0] = 0x3F;
  }
}

std::unique_ptr<const Weights> Unpack(const unsigned char* stream, std::size_t bytes,
                                      bool surrogates) {
  auto weights = std::make_unique<Weights>();
  Unpacker(stream, bytes).Into(*weights);
  if (surrogates) AddSurrogates(*weights);
  return weights;
}

const Weights& WeightsOf(TextOrder order) {
  // Unpacked at the first text of an order; read by everybody afterwards.
  if (order == TextOrder::kGeneral97) {
    static const auto kWeights = Unpack(kGeneral97Weights, kGeneral97WeightsBytes, false);
    return *kWeights;
  }
  if (order == TextOrder::kGeneral) {
    static const auto kWeights = Unpack(kGeneralWeights, kGeneralWeightsBytes, true);
    return *kWeights;
  }
  static const auto kWeights = Unpack(kGeneralLegacyWeights, kGeneralLegacyWeightsBytes, true);
  return *kWeights;
}

// --- Keys of texts

/// General 97: primary bytes, then the accents as half bytes, each at its letter's place.
void AppendKey97(const Weights& weights, std::span<const char16_t> units, std::string& out) {
  std::vector<unsigned char> accents;
  std::size_t letters = 0;  // since the last accent
  for (char16_t unit : units) {
    const Weight& weight = weights[unit];
    out.append(weight.primary.data(), weight.primary_bytes);
    if (weight.kind == Kind::kLetter97) {
      letters += weight.primary_bytes;
    } else if (weight.kind == Kind::kAccented) {
      if (accents.empty()) accents.push_back(0);
      accents.insert(accents.end(), letters, 2);
      accents.push_back(static_cast<unsigned char>(weight.secondary[0] & 0x0F));
      letters = 0;
    }
  }
  if (accents.empty()) {
    out += '\0';
    return;
  }
  accents.push_back(0);
  if (accents.size() % 2 != 0) accents.push_back(0);
  for (std::size_t i = 0; i < accents.size(); i += 2)
    out += static_cast<char>(accents[i] << 4 | accents[i + 1]);
}

/// The longer keys of Jet 4: primary bytes, accents, kana sizes, word marks with their places.
class LongKey {
 public:
  explicit LongKey(const Weights& weights) : weights_(weights) {}

  void Append(std::span<const char16_t> units, std::string& out) {
    for (char16_t unit : units) Add(weights_[unit], out);
    Finish(out);
  }

 private:
  void Add(const Weight& weight, std::string& out) {
    const std::size_t here = characters_;
    if (weight.primary_bytes != 0) {
      out.append(weight.primary.data(), weight.primary_bytes);
      // A unit that stands for two letters counts once, like every other.
      ++characters_;
    }
    switch (weight.kind) {
      case Kind::kAccented:
        Accent(weight, here);
        return;
      case Kind::kKana:
        if (weight.secondary_bytes != 0) Accent(weight, here);
        kana_.push_back(weight.flag);
        return;
      case Kind::kCombining:
        FillAccents(here);
        if (accents_.empty()) {
          accents_ += weight.secondary[0];
          lead_ = 1;
        } else {
          accents_.back() = static_cast<char>(accents_.back() + weight.secondary[0]);
        }
        return;
      case Kind::kWordMark: {
        const std::size_t place = has_accents_ ? accents_.size() + (here - covered_) - lead_ : here;
        const auto mark = static_cast<unsigned>(7 + 4 * place) | 0x8000u;
        words_ += static_cast<char>(mark >> 8);
        words_ += static_cast<char>(mark & 0xFF);
        words_ += '\x06';
        words_.append(weight.secondary.data(), weight.secondary_bytes);
        return;
      }
      case Kind::kPlain:
      case Kind::kLetter97:
      case Kind::kIgnored:
        return;
    }
  }

  void FillAccents(std::size_t here) {
    has_accents_ = true;
    if (covered_ >= here) return;
    accents_.append(here - covered_, 0x02);
    covered_ = here;
  }
  void Accent(const Weight& weight, std::size_t here) {
    FillAccents(here);
    accents_.append(weight.secondary.data(), weight.secondary_bytes);
    ++covered_;
  }

  void Finish(std::string& out) {
    constexpr std::uint8_t kNormalKana = 3;
    out += '\x01';
    while (!accents_.empty() && static_cast<unsigned char>(accents_.back()) <= 2)
      accents_.pop_back();
    out += accents_;
    if (kana_.empty() && words_.empty()) return;
    out.append("\x01\x01", 2);
    if (!kana_.empty()) {
      std::size_t count = kana_.size();
      while (count > 0 && kana_[count - 1] == kNormalKana) --count;
      for (std::size_t i = 0; i < count; i += 3) {
        unsigned packed = 0x80;
        for (std::size_t k = i; k < std::min(i + 3, count); ++k)
          packed |= static_cast<unsigned>(kana_[k]) << (4 - 2 * (k - i));
        out += static_cast<char>(packed);
      }
      out.append("\xFF\x02\x80\xFF\x80", 5);
      if (!words_.empty()) out += '\xFF';
    }
    if (!words_.empty()) {
      out += '\x01';
      out += words_;
    }
  }

  const Weights& weights_;
  std::size_t characters_ = 0;
  std::string accents_;
  std::size_t covered_ = 0;  // characters that `accents_` speaks of
  std::size_t lead_ = 0;
  bool has_accents_ = false;
  std::string words_;
  std::vector<std::uint8_t> kana_;
};

void Complement(std::string& out, std::size_t from) noexcept {
  for (std::size_t i = from; i < out.size(); ++i) out[i] = static_cast<char>(~out[i]);
}

/// Bytes in groups of eight, each telling whether more follow; the marks between groups are the
/// same in both directions.
void AppendBinaryKey(base::ByteSpan bytes, bool ascending, std::string& out) {
  out += ascending ? kValue : static_cast<char>(~kValue);
  const auto code = [&](char c) { return ascending ? c : static_cast<char>(~c); };
  while (bytes.size() > kBinaryGroup) {
    for (std::size_t i = 0; i < kBinaryGroup; ++i) out += code(static_cast<char>(bytes[i]));
    out += kMoreFollows;
    bytes = bytes.subspan(kBinaryGroup);
  }
  if (bytes.empty()) return;
  for (std::size_t i = 0; i < kBinaryGroup; ++i)
    out += code(i < bytes.size() ? static_cast<char>(bytes[i]) : '\0');
  out += code(static_cast<char>(bytes.size()));
}

/// Kept as it is: in Jet 4 files the sign byte is the same in both directions, so that descending
/// decimals do not sort by sign.
void AppendDecimalKey(Version version, base::ByteSpan stored, bool ascending, std::string& out) {
  const bool negative = (base::Load8(stored, 0) & 0x80) != 0;
  out += ascending ? kValue : static_cast<char>(~kValue);
  const std::size_t start = out.size();
  const bool jet = version <= Version::kJet4;
  out += jet && negative ? '\0' : '\xFF';
  for (std::size_t part = 0; part < 4; ++part)
    for (std::size_t i = 4; i-- > 0;) out += static_cast<char>(stored[1 + 4 * part + i]);
  if (negative == ascending) Complement(out, jet ? start + 1 : start);
}

/// Numbers of the given width: the highest byte first, with the sign turned so that they sort.
void AppendNumberKey(base::ByteSpan stored, std::size_t bytes, bool floating, std::string& out) {
  const std::size_t start = out.size();
  for (std::size_t i = bytes; i-- > 0;) out += static_cast<char>(stored[i]);
  if (floating && (out[start] & '\x80') != 0) return Complement(out, start);
  out[start] = static_cast<char>(out[start] ^ '\x80');
}

}  // namespace

bool HasKeys(const Column& column) noexcept {
  if (column.calculated()) return false;
  switch (column.type) {
    case ColumnType::kText:
    case ColumnType::kMemo:
      return column.order != TextOrder::kUnknown;
    case ColumnType::kBoolean:
    case ColumnType::kByte:
    case ColumnType::kInteger:
    case ColumnType::kLong:
    case ColumnType::kCurrency:
    case ColumnType::kSingle:
    case ColumnType::kDouble:
    case ColumnType::kDate:
    case ColumnType::kBinary:
    case ColumnType::kGuid:
    case ColumnType::kDecimal:
    case ColumnType::kComplex:
    case ColumnType::kBigInt:
      return true;
    case ColumnType::kOle:
    case ColumnType::kRaw:
    case ColumnType::kExtendedDate:
      return false;
  }
  return false;
}

void AppendTextKey(TextOrder order, bool ascending, std::span<const char16_t> units,
                   std::string& out) {
  units = units.first(std::min(units.size(), kKeyUnits));
  while (!units.empty() && units.back() == u' ') units = units.first(units.size() - 1);
  const std::size_t start = out.size();
  out += kValue;
  if (order == TextOrder::kGeneral97) {
    AppendKey97(WeightsOf(order), units, out);
    if (!ascending) Complement(out, start);
    return;
  }
  LongKey(WeightsOf(order)).Append(units, out);
  out += '\0';
  if (ascending) return;
  Complement(out, start);
  out += '\0';
}

void AppendKey(Version version, const Column& column, bool ascending,
               std::optional<base::ByteSpan> stored, const TextCodec& text, std::string& out) {
  const std::size_t start = out.size();
  if (!stored) {
    out += ascending ? kNull : static_cast<char>(~kNull);
    return;
  }
  switch (column.type) {
    case ColumnType::kText:
    case ColumnType::kMemo: {
      thread_local std::vector<char16_t> units;
      text.Units(*stored, kKeyUnits, units);
      return AppendTextKey(column.order, ascending, units, out);
    }
    case ColumnType::kBinary:
      return AppendBinaryKey(*stored, ascending, out);
    case ColumnType::kGuid: {
      std::array<std::byte, 16> shown{};
      SwapGuid(*stored, shown);
      return AppendBinaryKey(shown, ascending, out);
    }
    case ColumnType::kDecimal:
      return AppendDecimalKey(version, *stored, ascending, out);
    case ColumnType::kBoolean:
      out += kValue;
      out += base::Load8(*stored, 0) != 0 ? '\0' : '\xFF';
      break;
    case ColumnType::kByte:
      out += kValue;
      out += static_cast<char>((*stored)[0]);
      break;
    case ColumnType::kSingle:
    case ColumnType::kDouble:
    case ColumnType::kDate:
      out += kValue;
      AppendNumberKey(*stored, StorageBytes(column.type), true, out);
      break;
    default:
      out += kValue;
      AppendNumberKey(*stored, StorageBytes(column.type), false, out);
      break;
  }
  if (!ascending) Complement(out, start);
}

}  // namespace kelvorin::database::access
