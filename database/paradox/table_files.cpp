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

Companions::Companions(storage::FileSystem& fs, const std::string& table_path) {
  const std::string stem(WithoutExtension(storage::NameOf(table_path)));
  std::vector<std::string> entries = fs.List(storage::FolderOf(table_path));
  // The exact spelling of the table's name wins, then the first in byte order.
  std::sort(entries.begin(), entries.end(), [&](const std::string& a, const std::string& b) {
    const bool left = base::BaseNamePart(a) == stem, right = base::BaseNamePart(b) == stem;
    return left != right ? left : a < b;
  });
  // Files of another table whose name differs in its letters' case are that one's.
  const auto is_another = [&](std::string_view other) {
    return other != stem && std::any_of(entries.begin(), entries.end(), [&](const auto& entry) {
             return WithoutExtension(entry) == other && entry.size() != other.size();
           });
  };
  for (const std::string& entry : entries) {
    const std::string_view name = base::BaseNamePart(entry);
    if (!base::EqualAnyCase(name, stem) || is_another(name)) continue;
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

}  // namespace kelvorin::database::paradox
