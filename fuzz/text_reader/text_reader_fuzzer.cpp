// The record reader over small blocks against reading byte by byte, then preview and detection over
// the same file. Input: code, record length, block size, length of the separator text, that text,
// and the file.

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/M_FILE.h"
#include "fuzz/require.h"
#include "tests/textsource/slow_twin.h"
#include "textsource/layout_detection.h"

using namespace kelvorin;
using fuzz::Require;

namespace {

const std::string& Path() {
  static const std::string path = "/tmp/kelvorin-text-reader-" + std::to_string(getpid());
  static const bool registered =
      std::atexit([] { static_cast<void>(base::DeleteFile(Path())); }) == 0;
  static_cast<void>(registered);
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  textsource::RecordFormat format;
  format.code = data[0] % 6;
  format.length = data[1] % 16;
  format.quote = data[1] >= 128 ? '"' : '\0';
  format.separators = ",;";
  format.any_line_end = format.code == 2 && data[0] >= 128;
  const textsource::ReaderLimits limits{.block_bytes = data[2] % 32u + 1};
  const std::size_t separator_bytes = std::min<std::size_t>(data[3] % 8, size - 4);
  format.other = input.substr(4, separator_bytes);
  std::string_view file = input.substr(4 + separator_bytes);
  {
    static_cast<void>(base::DeleteFile(Path()));  // some disks write a file out that is emptied
    auto out = base::OutputFile::Open(Path(), base::OutputFile::Mode::kReplace);
    Require(out.ok() && out->Write(file).ok() && out->Close().ok(), "the input can be written");
  }

  auto fast = textsource::RecordReader::Open(Path(), format, limits);
  // Damage of a compressed file shows as soon as it is looked at, or later.
  if (!fast.ok() || fast->input().compressed() || fast->input().utf16_page() != 0) {
    static_cast<void>(textsource::DetectLayout(Path()).ok());
    return 0;
  }
  const auto mark = static_cast<std::size_t>(fast->position());  // of the byte order
  tests::SlowReader slow{file.substr(mark)};
  for (int failures = 0; !fast->AtEnd() && failures < 3;) {
    std::span<char> record;
    std::string expected;
    const bool ok = fast->ReadRecord(record).ok();
    Require(ok == slow.ReadRecord(format, expected), "both fail or none");
    if (!ok) ++failures;
    Require(!ok || std::string_view(record.data(), record.size()) == expected, "same record");
    Require(fast->AtEnd() == slow.at_end, "same end");
    Require(fast->position() == slow.at + mark, "same position");
    for (char& c : record) c = '"';
  }

  textsource::PreviewLines preview;
  textsource::FileTypeGuess guess;
  textsource::BreakList breaks;
  preview.file_present = true;
  textsource::LoadNewFile(Path(), data[1] % 2 == 0, preview, format, guess, breaks);
  const auto rules = guess.TypeFormat == 1
                         ? textsource::SplitRules::Fixed(breaks)
                         : textsource::SplitRules::Delimited(guess.SepComma ? "," : ";", '"');
  const auto report = textsource::Weigh(preview, format, rules);
  Require(report.certainty_percent >= 0 && report.certainty_percent <= 100, "a percentage");
  Require(report.lines_agreeing <= report.lines, "no more lines than there are");
  const auto layout = textsource::DetectLayout(Path());
  Require(layout.ok(), "a layout is always found");
  Require(layout->report.certainty_percent >= 0 && layout->report.certainty_percent <= 100,
          "a percentage");
  Require(layout->start_line > layout->heading_line, "the heading stands above the data");
  return 0;
}
