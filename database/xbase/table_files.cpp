#include "database/xbase/table_files.h"

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/case_map.h"
#include "database/errors.h"

#include <algorithm>

namespace kelvorin::database::xbase {

std::string FindFile(storage::FileSystem& fs, const std::string& folder, std::string_view name) {
  if (name.empty() || name.find_first_of("/\\") != std::string_view::npos) return {};
  std::string found;
  for (const std::string& entry : fs.List(folder)) {
    if (entry == name) return base::JoinPath(folder, entry);
    if (base::EqualAnyCase(entry, name) && (found.empty() || entry < found)) found = entry;
  }
  return found.empty() ? std::string() : base::JoinPath(folder, found);
}

std::string_view WithoutExtension(std::string_view name) noexcept {
  const bool has = base::EqualIgnoreCase(base::ExtensionPart(name), kTableExtension);
  return has ? name.substr(0, name.size() - kTableExtension.size() - 1) : name;
}

std::string FindTableFile(storage::FileSystem& fs, const std::string& folder,
                          std::string_view name) {
  std::string with_extension(WithoutExtension(name));
  // A name typed with its extension finds that very file before one that differs in case.
  with_extension += with_extension.size() == name.size()
                        ? "." + std::string(kTableExtension)
                        : std::string(name.substr(with_extension.size()));
  return FindFile(fs, folder, with_extension);
}

std::vector<std::string> ListTables(storage::FileSystem& fs, const std::string& folder) {
  std::vector<std::string> names;
  for (const std::string& entry : fs.List(folder)) {
    const std::string_view name = WithoutExtension(entry);
    if (name.size() != entry.size() && !name.empty()) names.emplace_back(name);
  }
  std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    const std::string upper_a = base::UpperAscii(a), upper_b = base::UpperAscii(b);
    return upper_a != upper_b ? upper_a < upper_b : a < b;
  });
  return names;
}

std::string FindCompanion(storage::FileSystem& fs, const std::string& table_path,
                          std::string_view extension) {
  const std::string file = storage::NameOf(table_path);
  return FindFile(fs, storage::FolderOf(table_path),
                  std::string(WithoutExtension(file)) + "." + std::string(extension));
}

std::string CompanionPath(const std::string& table_path, std::string_view extension) {
  const std::string_view own = base::ExtensionPart(table_path);
  const bool lower =
      std::any_of(own.begin(), own.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  const std::string stem = table_path.substr(0, table_path.size() - own.size());
  return stem + (lower ? base::LowerAscii(extension) : base::UpperAscii(extension));
}

std::string ReadSmallFile(storage::FileSystem& fs, const std::string& path, std::size_t max_bytes) {
  const std::unique_ptr<storage::File> file = fs.Open(path, os::OpenMode::kRead);
  const std::uint64_t size = file->Size();
  if (size > max_bytes)
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
          "file '" + path + "' has " + std::to_string(size) + " bytes, at most " +
              std::to_string(max_bytes) + " are expected");
  std::string text(static_cast<std::size_t>(size), '\0');
  text.resize(file->Read(0, std::as_writable_bytes(std::span<char>(text.data(), text.size()))));
  return text;
}

}  // namespace kelvorin::database::xbase
