#include "engine/reject_file.h"

#include <algorithm>
#include <array>
#include <span>

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "engine/csv_line.h"
#include "textsource/text_input.h"

namespace kelvorin::engine {

using base::OutputFile;

namespace {
constexpr std::string_view kReasons = ".reasons";
constexpr std::string_view kNew = ".new";
}  // namespace

Result<std::unique_ptr<RejectFile>> RejectFile::Open(const std::string& path, bool beside,
                                                     base::FileSystem& files) {
  const std::string end(beside ? kNew : std::string_view());
  Result<OutputFile> records = OutputFile::Open(path + end, OutputFile::Mode::kReplace, files);
  if (!records.ok()) return records.status();
  Result<OutputFile> reasons =
      OutputFile::Open(path + std::string(kReasons) + end, OutputFile::Mode::kReplace, files);
  if (!reasons.ok()) return reasons.status();
  return std::unique_ptr<RejectFile>(
      new RejectFile(*std::move(records), *std::move(reasons), files));
}

void RejectFile::SetPreface(std::string source, std::uint64_t size_bytes) {
  preface_source_ = std::move(source);
  preface_bytes_ = size_bytes;
}

Status RejectFile::Begin() {
  begun_ = true;
  KV_TRY(reasons_.Write("Line,Field,Value,Reason\r\n"));
  if (preface_bytes_ == 0) return Status();
  // As the reader gives it: a compressed or UTF-16 file's records are written in UTF-8.
  const Result<textsource::TextInput> source = textsource::TextInput::Open(preface_source_, true);
  if (!source.ok()) return source.status();
  std::array<char, 16 * 1024> block{};
  for (std::uint64_t at = 0; at < preface_bytes_;) {
    const std::size_t wanted = std::min<std::uint64_t>(block.size(), preface_bytes_ - at);
    const Result<std::size_t> got = source->ReadAt(at, std::span(block).first(wanted));
    if (!got.ok()) return got.status();
    if (*got == 0) break;
    KV_TRY(records_.Write({block.data(), *got}));
    at += *got;
  }
  return Status();
}

Status RejectFile::OnReject(const RejectedRecord& record) {
  if (!begun_) KV_TRY(Begin());
  KV_TRY(records_.Write(record.raw));
  line_.clear();
  base::AppendDecimal(record.line_number, line_);
  for (const std::string_view value : {record.field, record.value, record.reason}) {
    line_ += ',';
    AppendCsvValue(value, line_);
  }
  line_ += base::kCrLf;
  return reasons_.Write(line_);
}

Status RejectFile::Close(bool to_disk, bool replace) {
  for (OutputFile* file : {&records_, &reasons_}) {
    if (to_disk || replace) KV_TRY(file->Sync());
    KV_TRY(file->Close());
  }
  if (!replace) return Status();
  for (const std::string* path : {&records_path_, &reasons_path_})
    KV_TRY(base::RenameFile(*path, path->substr(0, path->size() - kNew.size()), files_));
  return Status();
}

}  // namespace kelvorin::engine
