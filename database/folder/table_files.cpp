#include "database/folder/table_files.h"

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/case_map.h"
#include "database/errors.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace kelvorin::database::folder {
namespace {

/// The entry that bears `name` in any case: the one spelled so, then the one that begins with
/// `front` as it is spelled, then the first in byte order.
std::string Preferred(storage::FileSystem& fs, const std::string& folder, std::string_view name,
                      std::string_view front) {
  if (name.empty() || name.find_first_of("/\\") != std::string_view::npos) return {};
  const std::vector<std::string> spellings = base::SpellingsOf(fs.List(folder), name);
  if (spellings.empty()) return {};
  const auto first = [&](auto is_it) {
    return std::find_if(spellings.begin(), spellings.end(), is_it);
  };
  auto best = first([&](const std::string& entry) { return entry == name; });
  if (best == spellings.end())
    best = first([&](const std::string& entry) { return entry.starts_with(front); });
  return base::JoinPath(folder, best == spellings.end() ? spellings.front() : *best);
}

bool InSmallLetters(std::string_view text) noexcept {
  return std::any_of(text.begin(), text.end(), [](char c) { return c >= 'a' && c <= 'z'; });
}

}  // namespace

std::string FindFile(storage::FileSystem& fs, const std::string& folder, std::string_view name) {
  return Preferred(fs, folder, name, name);
}

std::string_view WithoutExtension(std::string_view name, std::string_view extension) noexcept {
  const bool has = base::EqualIgnoreCase(base::ExtensionPart(name), extension);
  return has ? name.substr(0, name.size() - extension.size() - 1) : name;
}

std::string FindTableFile(storage::FileSystem& fs, const std::string& folder, std::string_view name,
                          std::string_view extension) {
  const std::string_view stem = WithoutExtension(name, extension);
  if (stem.empty()) return {};
  std::string file(name);
  if (stem.size() == name.size()) file.append(".").append(extension);
  // "CUST" means CUST.DBF before Cust.dbf.
  return Preferred(fs, folder, file, stem);
}

std::vector<std::string> ListTables(storage::FileSystem& fs, const std::string& folder,
                                    std::string_view extension) {
  std::vector<std::pair<std::string, std::string>> names;  // in capitals, and as they are
  for (const std::string& entry : fs.List(folder)) {
    const std::string_view name = WithoutExtension(entry, extension);
    if (!name.empty() && name.size() != entry.size())
      names.emplace_back(base::UpperAscii(name), name);
  }
  std::sort(names.begin(), names.end());
  std::vector<std::string> listed;
  listed.reserve(names.size());
  for (auto& [upper, name] : names) listed.push_back(std::move(name));
  return listed;
}

std::string NewFileName(std::string_view name, std::string_view extension) {
  std::string file(name);
  if (WithoutExtension(name, extension).size() != name.size()) return file;
  file += '.';
  return file += InSmallLetters(name) ? std::string(extension) : base::UpperAscii(extension);
}

std::string CompanionPath(const std::string& table_path, std::string_view extension) {
  const std::string_view own = base::ExtensionPart(table_path);
  return table_path.substr(0, table_path.size() - own.size()) +
         (InSmallLetters(own) ? base::LowerAscii(extension) : base::UpperAscii(extension));
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

std::unique_ptr<storage::File> MakeOwnFile(storage::FileSystem& fs, const std::string& path) {
  const os::FileFacts there = fs.Look(path);
  if (there.kind == os::FileKind::kLink || there.links > 1) fs.Remove(path);
  return fs.Open(path, os::OpenMode::kCreateOrTruncate);
}

void WriteWholeFile(storage::FileSystem& fs, const std::string& path, std::string_view contents) {
  const std::unique_ptr<storage::File> file = MakeOwnFile(fs, path);
  file->Write(0, base::AsBytes(contents));
  file->Sync();
}

void RemoveQuietly(storage::FileSystem& fs, const std::vector<std::string>& files) noexcept {
  try {
    for (const std::string& file : files)
      if (!file.empty() && fs.Exists(file)) fs.Remove(file);
  } catch (const Error&) {
  }
}

}  // namespace kelvorin::database::folder
