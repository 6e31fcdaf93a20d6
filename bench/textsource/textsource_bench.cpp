// Reading and cutting text against the bare cutters, as ratios of CPU time on the same file in the
// same run; what line ends in quotes and finding a layout cost. Prints one line per kind of file;
// the best of several interleaved passes counts, because a busy machine only ever adds time.
//     textsource_bench [MEGABYTES]

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "bench/textsource/bare_cutters.h"
#include "bench/textsource/text_files.h"
#include "textsource/field_splitter.h"
#include "textsource/layout_detection.h"
#include "textsource/record_reader.h"

namespace kelvorin::bench {
namespace {

using textsource::FieldValues;
using textsource::RecordFormat;
using textsource::RecordReader;
using textsource::SplitRules;

constexpr int kPasses = 7;

Tally ReadAndSplit(const std::string& path, const SplitRules& rules, char quote = 0) {
  Tally tally;
  RecordFormat format{textsource::separator_code::kCrLf, "", 0};
  format.quote = quote;
  format.separators = ",";
  auto reader = RecordReader::Open(path, format);
  if (!reader.ok()) return tally;
  FieldValues fields;
  while (!reader->AtEnd()) {
    std::span<char> record;
    if (!reader->ReadRecord(record).ok()) break;
    if (record.empty()) continue;
    if (!rules.Split(record, fields).ok()) break;
    ++tally.records;
    tally.fields += fields.count();
    tally.bytes += fields[fields.count() / 2].size();
  }
  return tally;
}

struct Job {
  const char* name;
  std::string text;
  SplitRules rules;
  std::function<Tally(const std::string&)> bare;
  double limit;  // of the ratio
};

double Seconds(const std::function<Tally(const std::string&)>& pass, const std::string& path,
               Tally& tally) {
  const std::int64_t start = base::CpuNanoseconds();
  tally = pass(path);
  return static_cast<double>(base::CpuNanoseconds() - start) * 1e-9;
}

bool Run(const Job& job, const std::string& path) {
  if (const Status written = base::WriteFileAtomically(path, job.text); !written.ok()) {
    std::fprintf(stderr, "%s\n", std::string(written.message()).c_str());
    return false;
  }
  const auto ours = [&](const std::string& file) { return ReadAndSplit(file, job.rules); };
  double best_bare = 1e9;
  double best_ours = 1e9;
  Tally bare_tally;
  Tally our_tally;
  for (int pass = 0; pass < kPasses; ++pass) {
    best_bare = std::min(best_bare, Seconds(job.bare, path, bare_tally));
    best_ours = std::min(best_ours, Seconds(ours, path, our_tally));
  }
  const double megabytes = static_cast<double>(job.text.size()) * 1e-6;
  const double ratio = best_ours / best_bare;
  std::printf(
      "%-34s bare %6.0f MB/s  ours %6.0f MB/s  %5.0f ns/record  ratio %.2f (at most %.1f)%s\n",
      job.name, megabytes / best_bare, megabytes / best_ours,
      best_ours * 1e9 / static_cast<double>(std::max<std::uint64_t>(our_tally.records, 1)), ratio,
      job.limit, ratio > job.limit ? "  MISSED" : "");
  if (our_tally.records != bare_tally.records) std::printf("  records differ\n");
  return ratio <= job.limit && our_tally.records == bare_tally.records;
}

// What line ends in quotes cost, against the same text read without them.
bool RunQuoted(const char* name, const std::string& text, const std::string& path) {
  if (!base::WriteFileAtomically(path, text).ok()) return false;
  const auto comma = SplitRules::Delimited(",", '"');
  double best[2] = {1e9, 1e9};
  Tally tallies[2];
  for (int pass = 0; pass < 2 * kPasses; ++pass) {
    const int quoted = pass % 2;
    const auto read = [&](const std::string& file) {
      return ReadAndSplit(file, comma, quoted != 0 ? '"' : '\0');
    };
    best[quoted] = std::min(best[quoted], Seconds(read, path, tallies[quoted]));
  }
  constexpr double kLimit = 1.1;
  const double ratio = best[1] / best[0];
  std::printf("%-34s ratio to without %.2f (at most %.1f)%s\n", name, ratio, kLimit,
              ratio > kLimit ? "  MISSED" : "");
  return ratio <= kLimit && tallies[0].records == tallies[1].records;
}

// What it costs to find a file's layout.
bool RunDetection(const char* name, const std::string& text, const std::string& path) {
  if (!base::WriteFileAtomically(path, text).ok()) return false;
  double best = 1e9;
  int certainty = 0;
  for (int pass = 0; pass < kPasses; ++pass) {
    const std::int64_t start = base::CpuNanoseconds();
    const auto found = textsource::DetectLayout(path);
    best = std::min(best, static_cast<double>(base::CpuNanoseconds() - start) * 1e-6);
    if (!found.ok()) return false;
    certainty = found->report.certainty_percent;
  }
  constexpr double kLimit = 30;
  std::printf("%-34s %.1f ms, certainty %d %% (at most %.0f ms)%s\n", name, best, certainty, kLimit,
              best > kLimit ? "  MISSED" : "");
  return best <= kLimit;
}

int Main(int argc, char** argv) {
  const std::size_t bytes = (argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100) * 1000000;
  static constexpr std::uint16_t kEnds[] = {6, 14, 20, 29, 36, 44, 52, 60, 71, 80};
  textsource::BreakList breaks;
  for (const std::uint16_t end : kEnds) static_cast<void>(breaks.AddFixedBreak(end));
  const auto comma = SplitRules::Delimited(",", '"');
  const auto fixed = [](const std::string& path) {
    return BareFixed(path, kEnds, std::size(kEnds));
  };
  const std::string path =
      base::JoinPath(base::Environment("TMPDIR").value_or("/tmp"), "kelvorin-textsource-bench.txt");
  // One text at a time is held.
  const std::pair<const char*, Shape> kShapes[] = {
      {"10 fields, 1 % quoted", {}},
      {"10 fields, all quoted", {.quoted_in_hundred = 100, .doubled_in_hundred = 5}},
      {"10 long fields, 10 % quoted", {.quoted_in_hundred = 10, .field_bytes = 40}},
      {"200 fields, 1 % quoted", {.fields = 200}},
      {"200 short fields, no quotes", {.fields = 200, .quoted_in_hundred = 0, .field_bytes = 2}},
  };
  bool held = true;
  for (const auto& [name, shape] : kShapes) {
    held &= Run({name, DelimitedText(bytes, shape), comma, BareDelimited, 2.0}, path);
  }
  held &= Run({"fixed width, 10 columns", FixedText(bytes), SplitRules::Fixed(breaks), fixed, 3.0},
              path);
  held &=
      Run({"HTML rows, 10 cells", HtmlText(bytes), SplitRules::HtmlTags(), BareHtml, 3.0}, path);
  const std::size_t some = std::min<std::size_t>(bytes, 20'000'000);
  const std::string plain = DelimitedText(some, {});
  held &= RunQuoted("quoted line ends, 1 % quoted", plain, path);
  held &= RunQuoted("quoted line ends, all quoted",
                    DelimitedText(some, {.quoted_in_hundred = 100, .doubled_in_hundred = 5}), path);
  held &= RunDetection("detection, 10 fields", plain, path);
  held &= RunDetection("detection, 200 fields", DelimitedText(some, {.fields = 200}), path);
  held &= RunDetection("detection, fixed width", FixedText(some), path);
  held &= RunDetection("detection, HTML rows", HtmlText(some), path);
  held &= RunDetection("detection, no line end", std::string(some, 'x'), path);
  held &= RunDetection("detection, no line end in 1 MB", std::string(1'000'000, ','), path);
  static_cast<void>(base::DeleteFile(path));
  return held ? 0 : 1;
}

}  // namespace
}  // namespace kelvorin::bench

int main(int argc, char** argv) {
  return kelvorin::bench::Main(argc, argv);
}
