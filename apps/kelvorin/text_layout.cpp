#include "apps/kelvorin/text_layout.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "apps/kelvorin/import_options.h"
#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "engine/source_reader.h"
#include "job/suggestion.h"
#include "textsource/layout_words.h"
#include "textsource/page_guess.h"

namespace kelvorin::app {
namespace {

using textsource::CutRule;
using textsource::DetectedLayout;
namespace separator_code = textsource::separator_code;

// Backslash escapes in a separator: \t \r \n \\ and \xHH.
Status Unescape(std::string_view option, std::string_view text, std::string& out) {
  out.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    const char next = text[++i];
    if (next == 't') {
      out += '\t';
    } else if (next == 'r') {
      out += '\r';
    } else if (next == 'n') {
      out += '\n';
    } else if (next == 'x') {
      unsigned code = 0;
      const char* const digits = text.data() + i + 1;
      if (i + 2 >= text.size() || std::from_chars(digits, digits + 2, code, 16).ptr != digits + 2)
        return WrongValue(option, text, "two hexadecimal digits behind \\x");
      out += static_cast<char>(code);
      i += 2;
    } else {
      out += next;
    }
  }
  return Status();
}

/// The word or the character itself.
bool SeparatorOfWord(std::string_view word, std::string& characters) {
  static constexpr std::pair<std::string_view, char> kWords[] = {
      {"comma", ','}, {"semicolon", ';'}, {"space", ' '}, {"tab", '\t'}};
  for (const auto& [name, character] : kWords) {
    if (!base::EqualIgnoreCase(name, word)) continue;
    characters += character;
    return true;
  }
  return false;
}

// Characters, or the words comma, semicolon, space and tab with commas between them.
Status ParseSeparators(const std::string& text, std::string& characters) {
  characters.clear();
  bool words = true;
  for (std::string_view part : base::SplitAt(text, ','))
    words = words && SeparatorOfWord(part, characters);
  if (!words) KV_TRY(Unescape("--separators", text, characters));
  std::size_t others = 0;
  for (std::string_view rest = characters; !rest.empty();) {
    const std::string_view one = base::CutToCharacters(rest, 1);
    if (one.size() > 1 || std::string_view(",; \t").find(one[0]) == std::string_view::npos)
      ++others;
    rest.remove_prefix(one.size());
  }
  if (characters.empty() || others > 1)
    return WrongValue("--separators", text,
                      "characters, at most one of them other than comma, semicolon, space and tab");
  return Status();
}

Status ParseBreaks(const std::string& text, textsource::BreakList& breaks) {
  breaks.ClearBreakList();
  for (std::string_view part : base::SplitAt(text, ',')) {
    const std::optional<std::int64_t> position = base::ParseWholeInteger(base::Trim(part));
    if (!position || *position < 1 || *position > std::numeric_limits<std::int16_t>::max())
      return WrongValue("--breaks", text, "positions from 1 to 32767 such as 3,7");
    KV_TRY(breaks.AddFixedBreak(static_cast<std::uint16_t>(*position)));
  }
  return Status();
}

// "length:80", or "length:80,0" for records with nothing between them.
Status ParseLength(const std::string& text, textsource::RecordFormat& format) {
  format.code = separator_code::kLength;
  const std::string_view numbers = std::string_view(text).substr(text.find(':') + 1);
  const std::size_t comma = numbers.find(',');
  const auto length = base::ParseWholeInteger(numbers.substr(0, comma));
  const auto gap = comma == numbers.npos ? 1 : base::ParseWholeInteger(numbers.substr(comma + 1));
  constexpr std::int64_t kMost = std::numeric_limits<std::int16_t>::max();
  if (!length || *length < 1 || *length > kMost || !gap || *gap < 0 || *gap > kMost)
    return WrongValue("--record-separator", text,
                      "length:N or length:N,GAP with numbers up to 32767");
  format.length = static_cast<std::int32_t>(*length);
  format.gap = static_cast<std::int32_t>(*gap);
  return Status();
}

Status ParseRecordSeparator(const std::string& text, textsource::RecordFormat& format) {
  if (base::EqualIgnoreCase(text, "crlf")) {
    format.code = separator_code::kCrLf;
  } else if (base::EqualIgnoreCase(text, "cr")) {
    format.code = separator_code::kCr;
  } else if (base::EqualIgnoreCase(text, "lf")) {
    format.code = separator_code::kLf;
  } else if (base::EqualIgnoreCase(text, "any")) {
    format.code = separator_code::kLf;
    format.any_line_end = true;
  } else if (base::StartsWithIgnoreCase(text, "text:") && text.size() > 5) {
    format.code = separator_code::kOther;
    return Unescape("--record-separator", std::string_view(text).substr(5), format.other);
  } else if (base::StartsWithIgnoreCase(text, "length:")) {
    return ParseLength(text, format);
  } else {
    return WrongValue("--record-separator", text, "crlf, cr, lf, any, text:T or length:N");
  }
  return Status();
}

/// Whether the options say how records are cut, so that nothing is left to guess.
bool SaysTheCut(const textsource::GivenLayout& given) {
  if (!given.rule) return false;
  switch (*given.rule) {
    case CutRule::kDelimited:
      return !given.separators.empty();
    case CutRule::kFixed:
      return given.breaks.has_value();
    case CutRule::kHtmlTags:
      return true;
  }
  return false;
}

// A file that is not UTF-8 throughout would lose characters.
Status CheckUtf8(const std::string& file, const TextOptions& options, bool dump, int& page) {
  if (options.ansi != 0 || options.oem || !base::AnsiPage().is_utf8()) return Status();
  const Result<textsource::ForeignText> found = textsource::FindForeignText(file, !dump);
  if (!found.ok()) return found.status();
  if (found->line == 0) return Status();
  if (options.guess) {
    page = found->page;
    return Status();
  }
  const std::string number = base::ToDecimal(found->page);
  return Status(Code::kNotSupported, "line " + base::ToDecimal(found->line) + " of '" + file +
                                         "' is not UTF-8; code page " + number +
                                         " fits best: give --ansi " + number + ", or another page");
}

Status StartLines(const TextOptions& options, const DetectedLayout& layout,
                  settings::ImportSetting& setting) {
  if (options.start_line == "auto") {
    setting.StartingLine = layout.start_line;
    settings::SetHeadingLine(setting, layout.heading_line);
  } else {
    const auto line = base::ParseWholeInteger(options.start_line);
    if (!line || *line < 1 || *line > std::numeric_limits<std::int32_t>::max())
      return WrongValue("--start-line", options.start_line, "a number from 1, or auto");
    setting.StartingLine = static_cast<std::int32_t>(*line);
  }
  if (options.heading_line < 0 || options.heading_line > std::numeric_limits<std::int32_t>::max())
    return WrongValue("--heading-line", base::ToDecimal(options.heading_line), "a number from 1");
  if (options.heading_line > 0)
    setting.HeadingLine = static_cast<std::int32_t>(options.heading_line);
  return Status();
}

void FillSetting(const TextOptions& options, const DetectedLayout& layout,
                 settings::ImportSetting& setting, textsource::BreakList& breaks) {
  job::TakeCut(layout, setting, breaks);
  const bool delimited = layout.rule == CutRule::kDelimited;
  if (options.quotes_anywhere) setting.QuotesAtStart = 0;
  if (delimited && options.merge_separators) setting.MergeSeparators = 1;
  if (options.format == "html-tags") setting.HtmlCells = 0;
  if (options.no_trim) setting.Trim = 0;
  if (options.trim) setting.Trim = 1;
  if (options.skip_blank_lines) setting.SkipBlankLines = 1;
  setting.IgnoreExtraFields = options.ignore_extra_fields ? 1 : 0;
}

}  // namespace

Result<textsource::GivenLayout> GivenBy(const TextOptions& options) {
  textsource::GivenLayout given;
  if (!options.record_separator.empty()) {
    given.records.emplace();
    KV_TRY(ParseRecordSeparator(options.record_separator, *given.records));
  }
  if (!options.separators.empty()) KV_TRY(ParseSeparators(options.separators, given.separators));
  if (!options.breaks.empty()) KV_TRY(ParseBreaks(options.breaks, given.breaks.emplace()));
  if (!options.delimiter.empty())
    given.delimiter = options.delimiter == "single" ? '\''
                      : options.delimiter == "none" ? '\0'
                                                    : '"';
  if (options.format == "fixed" || (options.format.empty() && given.breaks)) {
    given.rule = CutRule::kFixed;
  } else if (options.format.starts_with("html")) {
    given.rule = CutRule::kHtmlTags;
  } else if (!options.format.empty() || !given.separators.empty() || given.delimiter) {
    given.rule = CutRule::kDelimited;
  }
  if (!options.quoted_line_ends.empty()) given.quoted_line_ends = options.quoted_line_ends == "yes";
  given.page = options.ansi;
  return given;
}

Status TakeTextLayout(const TextOptions& options, const std::string& file,
                      settings::ImportSetting& setting, textsource::BreakList& breaks,
                      DetectedLayout& layout, std::string& said) {
  if (!base::FileExists(file)) return Status(Code::kNotFound, "there is no file '" + file + "'");
  Result<textsource::GivenLayout> given = GivenBy(options);
  if (!given.ok()) return given.status();
  const bool dump = given->records && given->records->code == separator_code::kLength;
  int foreign_page = 0;
  KV_TRY(CheckUtf8(file, options, dump, foreign_page));
  Result<DetectedLayout> detected = textsource::DetectLayout(file, *given);
  if (!detected.ok()) return detected.status();
  layout = *std::move(detected);
  if (layout.page_is_guessed && foreign_page == 0) layout.page_is_guessed = false;
  if (!layout.page_is_guessed && foreign_page != 0) {  // the sample alone did not show it
    layout.page = foreign_page;
    layout.page_is_guessed = true;
  }
  FillSetting(options, layout, setting, breaks);
  KV_TRY(StartLines(options, layout, setting));

  const textsource::DetectionReport& report = layout.report;
  bool nothing_there = false;
  if (report.lines == 0) {  // or the first record is too long to be one
    const Result<bool> blank = engine::IsBlankText(file, setting);
    if (!blank.ok()) return blank.status();
    nothing_there = *blank;
  }
  const bool say = !SaysTheCut(*given);
  said = say ? "detected: " : "layout: ";
  said += textsource::LayoutWords(layout);
  if (nothing_there) {
    said = "'" + file + "' holds no record";
  } else if (say) {
    said += "; certainty " + textsource::CertaintyWords(report);
    if (!report.hint.empty()) said += "; " + report.hint;
  }
  const bool more_start = layout.start_line > setting.StartingLine;
  if (more_start)
    said += "; line " + base::ToDecimal(setting.StartingLine) +
            " is imported as data: --start-line " + base::ToDecimal(layout.start_line) +
            " or auto begins behind it";
  if (nothing_there || !say || options.guess || report.certainty_percent >= textsource::kSureFrom)
    return Status();
  return Status(Code::kNotSupported,
                said + (said.ends_with('.') ? "" : ".") +
                    " That is not certain enough to import without asking: give the layout "
                    "(--separators, --breaks or --format), or --guess to take this one");
}

void AddTextOptions(Command command, TextOptions& o, bool detection) {
  const std::string layout = "Text layout (detected where not given)";
  const auto add = [&](const char* name, auto& value, const char* help) {
    return command.Add(name, value, help).Group(layout);
  };
  add("--format", o.format, "delimited, fixed, html (cells of rows) or html-tags (plain rule)")
      .OneOf({"delimited", "fixed", "html", "html-tags"});
  add("--separators", o.separators,
      "Field separators: characters (\\t is Tab), or words: comma,tab");
  add("--delimiter", o.delimiter, "Text delimiter: double, single or none")
      .OneOf({"double", "single", "none"});
  add("--record-separator", o.record_separator, "crlf, cr, lf, any, text:T or length:N[,GAP]");
  add("--quoted-line-ends", o.quoted_line_ends,
      "Whether line ends between text delimiters are data: yes or no")
      .OneOf({"yes", "no"});
  add("--breaks", o.breaks, "Ends of fixed-width columns in characters, e.g. 3,7");
  add("--ansi", o.ansi, "Code page of text: 65001, 1250 ... 1258, 437, 850, 28591, ...");
  if (detection) return;
  add("--start-line", o.start_line,
      "First line to import, or auto; from 2 on the line before it names the columns");
  add("--heading-line", o.heading_line, "Line that names the columns");
  const auto flag = [&](const char* name, auto& value, const char* help) {
    command.AddFlag(name, value, help).Group(layout);
  };
  flag("--merge-separators", o.merge_separators, "Runs of separators count as one");
  flag("--quotes-anywhere", o.quotes_anywhere,
       "Text delimiters open inside a field too, as the wizard reads them");
  flag("--skip-blank-lines", o.skip_blank_lines, "Lines of blanks only are no records");
  flag("--trim", o.trim, "Take blanks around values away (fixed columns: without being told)");
  flag("--no-trim", o.no_trim, "Keep the blanks of fixed columns");
  flag("--ignore-extra-fields", o.ignore_extra_fields,
       "Import the first 251 fields of records that have more");
  flag("--guess", o.guess, "Take the layout that fits best, however uncertain");
}

}  // namespace kelvorin::app
