#include "engine/same_files.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/case_map.h"
#include "contract/enums.h"
#include "database/row_poster.h"
#include "database/table_identity.h"
#include "engine/reject_file.h"
#include "engine/trace_log.h"

namespace kelvorin::engine {
namespace {

/// A file of the job, with what to call it in a message.
struct JobFile {
  std::string path;
  std::string words;
};

/// Extensions of tables, memos and indexes; those of Paradox indexes are X or Y and two digits.
bool IsTablePart(std::string_view path) {
  static constexpr std::array<std::string_view, 12> kExtensions{
      "DBF", "DBT", "FPT", "MDX", "CDX", "NDX", "IDX", "INF", "DB", "MB", "PX", "VAL"};
  const std::string extension = base::UpperAscii(base::ExtensionPart(path));
  if (extension.size() == 3 && (extension[0] == 'X' || extension[0] == 'Y')) return true;
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

// Everything in the folder of a table that a table driver may write; or the one file of a database
// with its lock file.
void AddDatabase(const std::string& name, std::string_view words, std::vector<JobFile>& files) {
  if (name.empty()) return;
  if (!base::FolderExists(name)) {
    files.push_back({name, std::string(words)});
    const std::string_view folder = base::FolderPart(name);
    for (const char* lock : {".ldb", ".laccdb"})
      files.push_back({base::JoinPath(folder, std::string(base::BaseNamePart(name)) + lock),
                       "the lock file of " + std::string(words)});
    return;
  }
  const Result<std::vector<std::string>> entries = base::ListFolder(name);
  if (!entries.ok()) return;  // said when the table is opened
  for (const std::string& entry : *entries)
    if (IsTablePart(entry))
      files.push_back(
          {base::JoinPath(name, entry), "a file of tables in the folder of " + std::string(words)});
}

// The file of a table that has one of its own: those of a database that is a folder.
std::string FileOf(const database::Recordset& set) {
  const std::string& name = set.Home().Name();
  const std::string folder = name.empty() ? "." : name;
  if (!base::FolderExists(folder)) return {};
  for (const char* extension : {".DBF", ".DB"})
    if (const auto found = base::FindIgnoringCase(folder, set.Def().Name + extension))
      return *found;
  return {};
}

std::vector<JobFile> FilesRead(const RunInputs& inputs) {
  std::vector<JobFile> files;
  const bool text = contract::IsTextKind(inputs.setting.TypeFormat);
  if (text) {
    files.push_back({inputs.source.file_name, "the import file"});
  } else if (inputs.setting.TypeFormat != contract::kOdbc) {
    const std::string& name = inputs.source.SourceDBName;
    AddDatabase(name.empty() ? "." : name, "the source", files);
  }
  return files;
}

std::vector<JobFile> FilesWritten(const RunInputs& inputs) {
  std::vector<JobFile> files;
  if (inputs.options.dry_run) return files;
  const settings::ImportSetting& setting = inputs.setting;
  if (setting.Trace)
    files.push_back(
        {setting.LogFileName.empty() ? std::string(kDefaultLogName) : setting.LogFileName,
         "the log"});
  if (!setting.RejectFile.empty()) {
    files.push_back({setting.RejectFile, "the reject file"});
    files.push_back({setting.RejectFile + ".reasons", "the reject file's reasons"});
    if (inputs.target.database != nullptr &&
        database::AsRowDatabase(*inputs.target.database) != nullptr)
      for (const char* end : {"", ".reasons"})
        files.push_back({setting.RejectFile + std::string(kDoubtfulEnd) + end,
                         "the file of the records that may be stored"});
  }
  return files;
}

// Whether a file to be written holds a database, which the job may use in a way that does not show
// its files: a link, a data source.
bool IsDatabase(const std::string& path, base::FileSystem& files) {
  if (!base::RegularFileExists(path, files)) return false;
  Result<base::InputFile> file = base::InputFile::Open(path, files);
  if (!file.ok()) return false;
  std::array<char, 20> begin{};
  const Result<std::size_t> got = file->ReadAt(0, begin);
  const std::string_view text(begin.data(), got.ok() ? *got : 0);
  return text.starts_with("SQLite format 3") || text.find("Standard Jet DB") == 4 ||
         text.find("Standard ACE DB") == 4;
}

Status SameFile(const JobFile& a, const JobFile& b) {
  std::string text(a.words);
  text[0] = base::ToUpperAscii(text[0]);
  return Status(Code::kInvalidArgument, text + " '" + a.path + "' is " + b.words + " '" + b.path +
                                            "': the import would destroy it; name another file");
}

}  // namespace

bool IsSameTable(const database::Recordset& source, const database::Recordset& target) {
  const auto* rows = dynamic_cast<const database::TableIdentity*>(&source);
  const auto* table = dynamic_cast<const database::TableIdentity*>(&target);
  if (rows != nullptr && table != nullptr && rows->Shows(*table)) return true;
  if (!source.Home().Traits().in_files || !target.Home().Traits().in_files) return false;
  const std::string file_a = FileOf(source), file_b = FileOf(target);
  if (!file_a.empty() || !file_b.empty()) return base::IsSameFile(file_a, file_b);
  return base::IsSameFile(source.Home().Name(), target.Home().Name()) &&
         base::EqualAnyCase(source.Def().Name, target.Def().Name);
}

Status CheckFiles(const RunInputs& inputs, bool& reads_rejects) {
  base::FileSystem& files = *inputs.options.files;
  reads_rejects = false;
  const std::vector<JobFile> written = FilesWritten(inputs);
  std::vector<JobFile> kept = FilesRead(inputs);
  const bool text = contract::IsTextKind(inputs.setting.TypeFormat);
  const std::size_t sources = kept.size();
  if (inputs.target.database != nullptr && inputs.target.database->Traits().in_files)
    AddDatabase(std::string(inputs.target.database->Name()), "the target", kept);
  for (std::size_t i = sources; text && i < kept.size(); ++i)
    if (base::IsSameFile(kept[0].path, kept[i].path, files)) return SameFile(kept[0], kept[i]);
  if (!inputs.options.settings_file.empty()) {
    kept.push_back({inputs.options.settings_file, "the settings file"});
    if (text && base::IsSameFile(kept[0].path, kept.back().path, files))
      return SameFile(kept[0], kept.back());
  }
  for (std::size_t i = 0; i < written.size(); ++i) {
    if (IsDatabase(written[i].path, files))
      return Status(Code::kInvalidArgument, "'" + written[i].path + "' is a database: " +
                                                written[i].words + " must be another file");
    for (std::size_t j = i + 1; j < written.size(); ++j)
      if (base::IsSameFile(written[i].path, written[j].path, files))
        return SameFile(written[i], written[j]);
    for (std::size_t j = 0; j < kept.size(); ++j) {
      if (!base::IsSameFile(written[i].path, kept[j].path, files)) continue;
      // A file with reasons beside it was rejected by an earlier run, and is no original.
      if (!text || j != 0 || written[i].path != inputs.setting.RejectFile ||
          !base::FileExists(inputs.setting.RejectFile + ".reasons", files))
        return SameFile(written[i], kept[j]);
      reads_rejects = true;
    }
  }
  return Status();
}

}  // namespace kelvorin::engine
