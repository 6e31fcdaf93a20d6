#include "database/paradox/table_files.h"

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/case_map.h"

#include <algorithm>
#include <array>

namespace kelvorin::database::paradox {
namespace {

/// What else goes with a table: view settings and the list of its family.
constexpr std::array<std::string_view, 5> kNamed = {"PX", "MB", "VAL", "TV", "FAM"};

bool IsHex(char c) noexcept {
  return base::IsDigit(c) || (c >= 'A' && c <= 'F');
}

bool IsIndexFile(std::string_view extension, char letter) noexcept {
  return extension.size() == 3 && extension[0] == letter &&
         (extension[1] == 'G' || IsHex(extension[1])) && IsHex(extension[2]);
}

}  // namespace

bool IsSecondary(std::string_view extension) noexcept {
  return IsIndexFile(extension, 'X');
}

std::string_view WithoutExtension(std::string_view name) noexcept {
  const bool has = base::EqualIgnoreCase(base::ExtensionPart(name), kTableExtension);
  return has ? name.substr(0, name.size() - kTableExtension.size() - 1) : name;
}

std::string FindTableFile(storage::FileSystem& fs, const std::string& folder,
                          std::string_view name) {
  std::string wanted(name);
  if (WithoutExtension(name).size() == name.size()) wanted += "." + std::string(kTableExtension);
  if (name.empty() || name.find_first_of("/\\") != std::string_view::npos) return {};
  std::vector<std::string> same;
  for (std::string& entry : fs.List(folder))
    if (base::EqualAnyCase(entry, wanted)) same.push_back(std::move(entry));
  if (same.empty()) return {};
  // "CUST" and "CUST.DB" both mean CUST.DB before Cust.db.
  const auto exactness = [&](const std::string& entry) {
    if (entry == wanted) return 0;
    return WithoutExtension(entry) == WithoutExtension(wanted) ? 1 : 2;
  };
  std::sort(same.begin(), same.end(), [&](const std::string& a, const std::string& b) {
    const int left = exactness(a), right = exactness(b);
    return left != right ? left < right : a < b;
  });
  return base::JoinPath(folder, same.front());
}

std::vector<std::string> ListTables(storage::FileSystem& fs, const std::string& folder) {
  std::vector<std::pair<std::string, std::string>> names;  // in capitals, and as they are
  for (const std::string& entry : fs.List(folder)) {
    const std::string_view name = WithoutExtension(entry);
    if (name.empty() || name.size() == entry.size()) continue;
    names.emplace_back(base::UpperAscii(name), name);
  }
  std::sort(names.begin(), names.end());
  std::vector<std::string> listed;
  for (auto& [upper, name] : names) listed.push_back(std::move(name));
  return listed;
}

Companions::Companions(storage::FileSystem& fs, const std::string& table_path) {
  const std::string stem(WithoutExtension(storage::NameOf(table_path)));
  std::vector<std::string> entries = fs.List(storage::FolderOf(table_path));
  // The exact spelling of the table's name wins, then the first in byte order.
  std::sort(entries.begin(), entries.end(), [&](const std::string& a, const std::string& b) {
    const bool left = base::BaseNamePart(a) == stem, right = base::BaseNamePart(b) == stem;
    return left != right ? left : a < b;
  });
  for (const std::string& entry : entries) {
    if (!base::EqualAnyCase(base::BaseNamePart(entry), stem)) continue;
    std::string extension = base::UpperAscii(base::ExtensionPart(entry));
    const bool named = std::find(kNamed.begin(), kNamed.end(), extension) != kNamed.end();
    if (!named && !IsIndexFile(extension, 'X') && !IsIndexFile(extension, 'Y')) continue;
    if (!Find(extension).empty()) continue;
    files_.push_back({std::move(extension), storage::Beside(table_path, entry)});
  }
}

const std::string& Companions::Find(std::string_view extension) const noexcept {
  static const std::string none;
  for (const Companion& file : files_)
    if (file.extension == extension) return file.path;
  return none;
}

std::string CompanionPath(const std::string& table_path, std::string_view extension) {
  const std::string_view own = base::ExtensionPart(table_path);
  const bool lower =
      std::any_of(own.begin(), own.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  return table_path.substr(0, table_path.size() - own.size()) +
         (lower ? base::LowerAscii(extension) : base::UpperAscii(extension));
}

}  // namespace kelvorin::database::paradox
