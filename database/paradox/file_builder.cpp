#include "database/paradox/file_builder.h"

#include <algorithm>

#include "base/M_Misc.h"

namespace kelvorin::database::paradox {
namespace {

constexpr std::size_t kHeaderStep = 2048;
constexpr std::uint16_t kHandle = 8;
constexpr std::uint8_t kNewMark = 0x20;
constexpr std::uint16_t kWord6C = 0x0101;

class Builder {
 public:
  Builder(const Header& header, const std::vector<std::string>& names, std::string_view file_name)
      : header_(header), names_(names), file_name_(file_name) {}

  std::string Build() {
    extended_ = !header_.is_tree() && header_.is_new();
    out_.assign(extended_ ? kNewFixedBytes : kFixedBytes, '\0');
    AddFields();
    const std::size_t real_bytes = AddNames();
    Fixed(real_bytes);
    const std::size_t bytes = header_.version <= kVersion30
                                  ? out_.size()
                                  : (out_.size() + kHeaderStep - 1) / kHeaderStep * kHeaderStep;
    out_.resize(bytes);
    Put16(kHeaderBytesAt, bytes);
    return std::move(out_);
  }

 private:
  base::MutableByteSpan Bytes() noexcept {
    return std::as_writable_bytes(std::span<char>(out_.data(), out_.size()));
  }
  void Put8(std::size_t at, std::size_t value) {
    base::Store8(Bytes(), at, static_cast<std::uint8_t>(value));
  }
  void Put16(std::size_t at, std::size_t value) {
    base::StoreLE16(Bytes(), at, static_cast<std::uint16_t>(value));
  }
  void Put32(std::size_t at, std::uint32_t value) { base::StoreLE32(Bytes(), at, value); }
  void AddText(std::string_view text) {
    out_ += text;
    out_ += '\0';
  }

  void AddFields() {
    for (const Column& column : header_.columns) {
      out_ += static_cast<char>(column.kind);
      out_ += static_cast<char>(column.kind == FieldKind::kBcd ? column.decimals : column.bytes);
    }
    out_.append(4 + (header_.is_tree() ? 0 : 4 * header_.columns.size()), '\0');  // pointers
    const std::size_t room = header_.version >= kVersion7 ? kNameBytes7 : kNameBytes;
    std::string name(file_name_.substr(0, room - 1));
    name.resize(room);
    out_ += name;
  }

  /// Returns where the last text ends, as the header is to tell.
  std::size_t AddNames() {
    if (header_.is_tree()) return header_.version <= kVersion30 ? 0 : out_.size();
    for (const std::string& name : names_) AddText(name);
    if (!extended_)  // counts the name of the sort order, though it is not written
      return header_.version <= kVersion30 ? 0 : out_.size() + header_.sort_name.size() + 1;
    Put16(kNumbersAt, out_.size() - kFixedBytes);
    for (const std::uint16_t number : header_.numbers) {
      out_ += static_cast<char>(number & 0xFF);
      out_ += static_cast<char>(number >> 8);
    }
    Put16(kSortNameAt, out_.size() - kFixedBytes);
    AddText(header_.sort_name);
    if (!header_.label.empty()) {
      Put16(kLabelAt, out_.size() - kFixedBytes);
      AddText(header_.label);
    }
    return out_.size();
  }

  void Fixed(std::size_t real_bytes) {
    const bool tree = header_.is_tree();
    Put16(kRecordBytesAt, header_.record_bytes);
    Put8(kTypeAt, static_cast<std::size_t>(header_.type));
    Put8(kBlockKiBAt, header_.block_bytes >> 10);
    Put16(kHandleAt, kHandle);
    Put8(kIndexedFieldAt, header_.indexed_field);
    if (tree) Put16(kRootAt, 1);
    Put16(kFieldsAt, header_.columns.size());
    Put16(kKeyFieldsAt, header_.key_fields);
    Put32(kOldKeyAt, extended_ ? kSeeNewKey : header_.key);
    Put8(kSortOrderAt, header_.sort_order);
    Put8(kStampAt, header_.stamp);
    Put8(kChangesAt, header_.changes);
    Put8(kStructureAt, header_.structure);
    Put8(kVersionAt, header_.version);
    if (!tree && header_.key == 0) Put16(kPlainMarkAt, kPlainMark);
    if (tree) Put32(kCounterAt, 1);
    Put16(kRealBytesAt, real_bytes);
    Put8(kFlagsAt, header_.flags);
    if (!extended_) return;
    Put8(kNewMarkAt, kNewMark);
    Put16(kVersionTwiceAt, 0x100u + header_.version);
    Put16(kVersionTwiceAt + 2, 0x100u + header_.version);
    Put32(kNewKeyAt, header_.key);
    Put32(kChangedWhenAt, static_cast<std::uint32_t>(base::UnixSeconds()));
    Put16(kNextFieldAt, header_.columns.size() + 1);
    Put16(kCodePageAt, static_cast<std::size_t>(header_.page));
    Put16(kWord6CAt, kWord6C);
    Put16(0x70, 1);
  }

  const Header& header_;
  const std::vector<std::string>& names_;
  std::string_view file_name_;
  bool extended_ = false;
  std::string out_;
};

}  // namespace

std::string BuildEmptyFile(const Header& header, const std::vector<std::string>& names,
                           std::string_view file_name) {
  return Builder(header, names, file_name).Build();
}

}  // namespace kelvorin::database::paradox
