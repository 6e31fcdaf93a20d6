#include "database/odbc/side_table.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "base/M_STRING.h"
#include "database/errors.h"

// The file format (sqlite.org/fileformat2.html), as far as one table of short rows needs it.
// Numbers are big-endian. Page 1 is 100 bytes of file header and the leaf of the schema; page 2 is
// the root of the table, the pages behind it its leaves.
//
//   page header   type, first free block u16, cells u16, content start u16, fragments u8,
//                 inner pages: right-most child u32; then a u16 for each cell, in key order
//   leaf cell     payload size varint, row number varint, payload
//   inner cell    child page u32, largest row number in it varint
//   payload       size of the header varint, a serial type varint for each column, the values
//   serial types  0 Null, 1 2 4 6 an integer of 1 2 4 8 bytes, 8 and 9 the numbers 0 and 1,
//                 12 + 2n bytes, 13 + 2n text
namespace kelvorin::database::odbc {
namespace {

constexpr std::size_t kPageBytes = 65536;
constexpr std::size_t kFileHeaderBytes = 100;
constexpr std::size_t kLeafHeaderBytes = 8;
constexpr std::size_t kInnerHeaderBytes = 12;
constexpr std::size_t kMostPayloadBytes = kPageBytes - 35;  // longer ones go on in other pages
constexpr std::byte kLeaf{0x0D};
constexpr std::byte kInner{0x05};
constexpr std::size_t kRoot = 2;
constexpr std::uint64_t kTextType = 13;
constexpr std::uint64_t kBytesType = 12;

template <typename T>
void StoreBig(std::byte* at, T value) noexcept {
  for (std::size_t i = sizeof(T); i-- > 0; value = static_cast<T>(value >> 7 >> 1))
    at[i] = static_cast<std::byte>(value & 0xFF);
}

/// Values here stay below 2^35, which takes at most five bytes.
std::size_t PutVarint(std::uint64_t value, char* to) noexcept {
  char reversed[10];
  std::size_t size = 0;
  do {
    reversed[size] = static_cast<char>((value & 0x7F) | (size == 0 ? 0 : 0x80));
    ++size;
    value >>= 7;
  } while (value != 0);
  std::reverse_copy(reversed, reversed + size, to);
  return size;
}

void AppendVarint(std::uint64_t value, std::string& out) {
  if (value < 0x80) {
    out += static_cast<char>(value);
    return;
  }
  if (value < 0x4000) {
    out += static_cast<char>(value >> 7 | 0x80);
    out += static_cast<char>(value & 0x7F);
    return;
  }
  char bytes[10];
  out.append(bytes, PutVarint(value, bytes));
}

void PutPageHeader(std::byte* page, std::byte type, std::size_t cells, std::size_t content) {
  page[0] = type;
  StoreBig(page + 3, static_cast<std::uint16_t>(cells));
  StoreBig(page + 5, static_cast<std::uint16_t>(content));  // 0 stands for 65,536
}

[[noreturn]] void Fail(const std::string& path, const std::error_code& error) {
  database::Throw(Code::kIo, database::ErrorNumber::kIo,
                  "a temporary file cannot be written at '" + path + "': " + error.message());
}

}  // namespace

SideTable::SideTable(std::size_t columns) : columns_(columns), numbers_(columns) {
  std::error_code error;
  const std::string start = os::TemporaryFolder(error) + "/kelvorin-";
  if (!error) folder_ = os::MakePrivateFolder(start, error);
  if (error) Fail(start, error);
  path_ = folder_ + "/records";
  try {
    file_ = os::FileHandle::Open(path_, os::OpenMode::kCreateNew, error, true);
    if (error) Fail(path_, error);
    Clear();
    Write();
  } catch (...) {
    Remove();
    throw;
  }
}

SideTable::~SideTable() {
  Remove();
}

void SideTable::Unname() noexcept {
  std::error_code error;
  if (!path_.empty()) os::Remove(path_, error);
  path_.clear();
}

void SideTable::Remove() noexcept {
  std::error_code error;
  file_.Close(error);
  Unname();
  os::RemoveFolder(folder_, error);
}

std::byte* SideTable::Page(std::size_t number) noexcept {
  return pages_.data() + (number - 1) * kPageBytes;
}

void SideTable::Clear() {
  rows_ = 0;
  page_count_ = kRoot;
  leaf_cells_ = 0;
  last_rows_.clear();
  ClearRow();
}

void SideTable::ClearRow() noexcept {
  header_.clear();
  pieces_.clear();
  numbers_used_ = body_bytes_ = 0;
}

void SideTable::AddNull() {
  header_ += '\0';
}

void SideTable::AddInteger(std::int64_t value) {
  if (value == 0 || value == 1) {
    header_ += value == 0 ? '\x08' : '\x09';
    return;
  }
  const auto fits = [value](auto narrow) {
    return value >= std::numeric_limits<decltype(narrow)>::min() &&
           value <= std::numeric_limits<decltype(narrow)>::max();
  };
  const std::size_t size = fits(std::int8_t{})    ? 1
                           : fits(std::int16_t{}) ? 2
                           : fits(std::int32_t{}) ? 4
                                                  : 8;
  header_ += static_cast<char>(size == 8 ? 6 : size);
  std::array<char, 8>& bytes = numbers_[numbers_used_++];
  StoreBig(reinterpret_cast<std::byte*>(bytes.data()), static_cast<std::uint64_t>(value));
  AddPiece({bytes.data() + 8 - size, size});
}

void SideTable::AddPiece(std::string_view piece) {
  body_bytes_ += piece.size();
  if (!pieces_.empty() && pieces_.back().data() + pieces_.back().size() == piece.data()) {
    pieces_.back() = {pieces_.back().data(), pieces_.back().size() + piece.size()};
  } else if (!piece.empty()) {
    pieces_.push_back(piece);
  }
}

void SideTable::AddSized(std::string_view bytes, std::uint64_t kind) {
  AppendVarint(kind + 2 * bytes.size(), header_);
  AddPiece(bytes);
}

void SideTable::AddText(std::string_view text) {
  AddSized(text, kTextType);
}

void SideTable::AddBytes(std::string_view bytes) {
  AddSized(bytes, kBytesType);
}

bool SideTable::EndRow() {
  // The header counts its own size, which takes a second byte from 127 bytes on.
  std::size_t header_bytes = header_.size() + 1;
  if (header_bytes > 127) ++header_bytes;
  std::size_t payload = header_bytes + body_bytes_;
  const bool fits = payload <= kMostPayloadBytes && header_bytes < 16000;
  if (!fits) {
    ClearRow();
    header_.assign(columns_, '\0');
    header_bytes = columns_ + (columns_ > 126 ? 2 : 1);
    payload = header_bytes;
  }
  ++rows_;
  char start[24];
  std::size_t start_bytes = PutVarint(payload, start);
  start_bytes += PutVarint(rows_, start + start_bytes);
  start_bytes += PutVarint(header_bytes, start + start_bytes);
  const std::size_t cell = start_bytes + header_.size() + body_bytes_;
  if (leaf_cells_ != 0 && kLeafHeaderBytes + 2 * (leaf_cells_ + 1) + cell > leaf_content_)
    FinishLeaf();
  if (leaf_cells_ == 0) {
    ++page_count_;
    if (pages_.size() < page_count_ * kPageBytes) pages_.resize(page_count_ * kPageBytes);
    leaf_content_ = kPageBytes;
  }
  std::byte* const page = Page(page_count_);
  leaf_content_ -= cell;
  std::byte* at = page + leaf_content_;
  const auto put = [&](const char* from, std::size_t size) {
    std::memcpy(at, from, size);
    at += size;
  };
  put(start, start_bytes);
  put(header_.data(), header_.size());
  for (const std::string_view piece : pieces_) put(piece.data(), piece.size());
  StoreBig(page + kLeafHeaderBytes + 2 * leaf_cells_, static_cast<std::uint16_t>(leaf_content_));
  ++leaf_cells_;
  ClearRow();
  return fits;
}

void SideTable::FinishLeaf() {
  PutPageHeader(Page(page_count_), kLeaf, leaf_cells_, leaf_content_);
  last_rows_.push_back(rows_ - 1);  // the row being added goes to the next one
  leaf_cells_ = 0;
}

// An inner page needs two children, so a single leaf is the root itself.
void SideTable::FinishRoot() {
  if (pages_.size() < page_count_ * kPageBytes) pages_.resize(page_count_ * kPageBytes);
  if (leaf_cells_ != 0) PutPageHeader(Page(page_count_), kLeaf, leaf_cells_, leaf_content_);
  std::byte* const root = Page(kRoot);
  if (page_count_ == kRoot) {
    std::fill_n(root, kLeafHeaderBytes, std::byte{0});
    PutPageHeader(root, kLeaf, 0, kPageBytes);
    return;
  }
  if (page_count_ == kRoot + 1) {
    std::memcpy(root, Page(page_count_--), kPageBytes);
    return;
  }
  std::fill_n(root, kInnerHeaderBytes, std::byte{0});
  std::size_t content = kPageBytes;
  for (std::size_t i = 0; i < last_rows_.size(); ++i) {
    char key[10];
    const std::size_t key_bytes = PutVarint(last_rows_[i], key);
    content -= 4 + key_bytes;
    StoreBig(root + content, static_cast<std::uint32_t>(kRoot + 1 + i));
    std::memcpy(root + content + 4, key, key_bytes);
    StoreBig(root + kInnerHeaderBytes + 2 * i, static_cast<std::uint16_t>(content));
  }
  PutPageHeader(root, kInner, last_rows_.size(), content);
  StoreBig(root + 8, static_cast<std::uint32_t>(page_count_));
}

void SideTable::Write() {
  FinishRoot();
  std::byte* const file = Page(1);
  std::fill_n(file, kPageBytes, std::byte{0});
  std::memcpy(file, "SQLite format 3", 16);
  StoreBig(file + 16, std::uint16_t{1});  // a page of 65,536 bytes
  file[18] = file[19] = std::byte{1};     // written and read with a rollback journal
  file[21] = std::byte{64};
  file[22] = file[23] = std::byte{32};
  StoreBig(file + 24, ++change_);
  StoreBig(file + 28, static_cast<std::uint32_t>(page_count_));
  StoreBig(file + 40, std::uint32_t{1});  // of the schema, which never changes
  StoreBig(file + 44, std::uint32_t{4});  // schema format
  StoreBig(file + 56, std::uint32_t{1});  // UTF-8
  StoreBig(file + 92, change_);
  StoreBig(file + 96, std::uint32_t{3040000});

  std::string sql = "CREATE TABLE r(";
  for (std::size_t i = 0; i < columns_; ++i)
    sql += (i == 0 ? "c" : ",c") + base::ToDecimal(static_cast<std::int64_t>(i));
  sql += ')';
  std::string types, values = "tablerr";  // type, name, table; root page and statement follow
  for (const std::size_t size : {5u, 1u, 1u}) AppendVarint(kTextType + 2 * size, types);
  types += '\1';
  AppendVarint(kTextType + 2 * sql.size(), types);
  values += static_cast<char>(kRoot);
  values += sql;
  std::string cell;
  AppendVarint(types.size() + 1 + values.size(), cell);
  cell += '\1';
  AppendVarint(types.size() + 1, cell);
  cell += types + values;
  const std::size_t at = kPageBytes - cell.size();
  std::memcpy(file + at, cell.data(), cell.size());
  PutPageHeader(file + kFileHeaderBytes, kLeaf, 1, at);
  StoreBig(file + kFileHeaderBytes + kLeafHeaderBytes, static_cast<std::uint16_t>(at));

  std::error_code error;
  file_.WriteAt(0, std::span(pages_).first(page_count_ * kPageBytes), error);
  if (error) Fail(folder_, error);
}

}  // namespace kelvorin::database::odbc
