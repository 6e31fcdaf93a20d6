#include "database/access/database_file.h"

#include <array>
#include <bit>
#include <cmath>

#include "database/access/table.h"

namespace kelvorin::database::access {
namespace {

constexpr std::size_t kHeaderBytes = 0x98;
constexpr std::string_view kJetName = "Standard Jet DB";
constexpr std::string_view kAceName = "Standard ACE DB";
constexpr std::size_t kNameAt = 4;
constexpr std::size_t kOldLcidAt = 0x3A;
constexpr std::size_t kCodePageAt = 0x3C;
constexpr std::size_t kPageKeyAt = 0x3E;
constexpr std::size_t kPasswordAt = 0x42;
constexpr std::size_t kSortAt = 0x6E;
constexpr std::size_t kDateAt = 0x72;
constexpr int kDefaultCodePage = 1252;

[[noreturn]] void NotAccess(const std::string& path, std::string_view why) {
  Throw(Code::kNotSupported, ErrorNumber::kUnrecognizedFormat,
        "'" + path + "' " + std::string(why));
}

}  // namespace

bool LooksLikeAccess(base::ByteSpan bytes) noexcept {
  if (bytes.size() < kNameAt + kJetName.size()) return false;
  const std::string_view name = base::AsText(bytes).substr(kNameAt, kJetName.size());
  return base::LoadLE32(bytes, 0) == 0x100 && (name == kJetName || name == kAceName);
}

std::uint32_t PasswordMask(double creation_date) noexcept {
  if (!(std::abs(creation_date) < 2147483647.0)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(creation_date));
}

Header ReadHeader(storage::Store& store) {
  const std::string& path = store.Path(storage::kMainFile);
  std::array<std::byte, kHeaderBytes> bytes{};
  if (store.Size(storage::kMainFile) < bytes.size())
    NotAccess(path, "is no Access database: it has only " +
                        std::to_string(store.Size(storage::kMainFile)) + " bytes");
  store.Read(storage::kMainFile, 0, bytes);
  if (!LooksLikeAccess(bytes)) NotAccess(path, "is no Access database");
  Header header;
  const std::uint8_t version = base::Load8(bytes, kVersionAt);
  if (version > 8) NotAccess(path, "has the unknown version " + std::to_string(version));
  header.version = static_cast<Version>(std::min<std::uint8_t>(version, 4));
  const Layout& layout = LayoutOf(header.version);
  Cipher(kHeaderKey, base::MutableByteSpan(bytes).subspan(kMaskedAt, layout.masked_bytes));
  header.code_page = base::LoadLE16(bytes, kCodePageAt);
  if (header.code_page == 0) header.code_page = kDefaultCodePage;
  if (header.version <= Version::kJet4) header.page_key = base::LoadLE32(bytes, kPageKeyAt);
  std::string password(base::AsText(bytes).substr(kPasswordAt, layout.password_bytes));
  if (layout.wide) {
    header.order = {base::LoadLE16(bytes, kSortAt), base::Load8(bytes, kSortAt + 3)};
    header.date_mask = PasswordMask(std::bit_cast<double>(base::LoadLE64(bytes, kDateAt)));
    for (std::size_t i = 0; i < password.size(); ++i)
      password[i] = static_cast<char>(password[i] ^
                                      static_cast<char>(header.date_mask >> (8 * (i % 4)) & 0xFF));
    std::size_t units = 0;
    while (2 * units < password.size() &&
           (password[2 * units] != 0 || password[2 * units + 1] != 0))
      ++units;
    password.resize(2 * units);
  } else {
    header.order = {base::LoadLE16(bytes, kOldLcidAt), 0};
    password.resize(std::min(password.find('\0'), password.size()));
  }
  header.password = std::move(password);
  return header;
}

DatabaseFile::DatabaseFile(std::shared_ptr<storage::Store> store, const Header& header)
    : header_(header),
      channel_(std::move(store), LayoutOf(header.version), header.page_key),
      allocator_(channel_),
      text_(LayoutOf(header.version).wide, header.code_page) {
  if (channel_.Pin(kObjectsTable).type() != kDefinitionPage) {
    if (header.version >= Version::kAce12)
      Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
            "'" + path() + "' is encrypted with its password, which is not supported");
    channel_.Corrupt(kObjectsTable, "is not the definition of the table of objects");
  }
}

bool DatabaseFile::CheckPassword(std::string_view password) {
  if (header_.password.empty()) return true;
  std::string given;
  std::size_t units = 0;
  text_.Encode(password, false, given, units);
  return given == header_.password;
}

std::shared_ptr<Table> DatabaseFile::OpenTable(std::uint32_t page, std::string_view name) {
  std::weak_ptr<Table>& entry = tables_[page];
  std::shared_ptr<Table> table = entry.lock();
  if (table == nullptr) {
    table = std::make_shared<Table>(*this, page, "on page " + std::to_string(page));
    entry = table;
  }
  if (!name.empty()) table->set_name(name);
  return table;
}

bool DatabaseFile::InUse(std::uint32_t page) const {
  const auto found = tables_.find(page);
  return found != tables_.end() && !found->second.expired();
}

}  // namespace kelvorin::database::access
