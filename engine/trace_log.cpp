#include "engine/trace_log.h"

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "engine/messages.h"
#include "values/value.h"

namespace kelvorin::engine {

Status TraceLog::Open(std::string_view file_name, bool append, base::FileSystem& files) {
  using Mode = base::OutputFile::Mode;
  Result<base::OutputFile> opened =
      base::OutputFile::Open(std::string(file_name.empty() ? kDefaultLogName : file_name),
                             append ? Mode::kAppend : Mode::kReplace, files);
  if (!opened.ok()) return opened.status();
  file_ = *std::move(opened);
  append_ = append;
  return Status();
}

Status TraceLog::Write(std::string_view entry) {
  if (!file_) return Status();
  KV_TRY(file_->Write(entry));
  return append_ ? file_->Write(base::kCrLf) : Status();
}

Status TraceLog::Header(std::string_view import_file, std::string_view table,
                        std::string_view date_time) {
  if (!file_) return Status();
  std::string entry;
  if (append_) entry += base::kCrLf;
  entry += "**********";
  entry += base::kCrLf;
  entry += "Start importing file: ";
  entry += import_file;
  entry += " in table \"";
  entry += table;
  entry += "\" at ";
  entry += date_time;
  entry += base::kCrLf;
  KV_TRY(Write(entry));
  return file_->Flush();  // a log that cannot be written is known before the first record
}

Status TraceLog::Footer(std::string_view date_time, std::int64_t imported) {
  std::string entry(kEndOfImport);
  entry += " at ";
  entry += date_time;
  entry += base::kCrLf;
  entry += kImportedRecords;
  base::AppendDecimal(imported, entry);
  entry += base::kCrLf;
  return Write(entry);
}

Status TraceLog::Close(bool to_disk) {
  if (!file_) return Status();
  Status synced = to_disk ? file_->Sync() : Status();
  Status closed = file_->Close();
  file_.reset();
  return synced.ok() ? std::move(closed) : std::move(synced);
}

std::string GeneralDate(const base::LocalTime& time, const values::ValueFormat& format) {
  const std::int32_t seconds = (time.hour * 60 + time.minute) * 60 + time.second;
  const values::DateTime moment{values::ToDay({time.year, time.month, time.day}), seconds * 1000};
  std::string text;
  format.Append(values::Value::Date(moment), text);
  return text;
}

}  // namespace kelvorin::engine
