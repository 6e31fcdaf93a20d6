#include "settings/setting_store.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "base/language.h"
#include "contract/enums.h"

namespace kelvorin::settings {
namespace {

using contract::kOdbc;
constexpr auto kFixedWidth = static_cast<std::int16_t>(contract::FileTypeFormat::TFixed);
constexpr std::int32_t kOtherSeparatorText = 3;
constexpr std::int32_t kFixedLength = 4;
// The other separator where no code stands for it, and a record separator with characters that a
// line of the file cannot hold, written with escapes.
constexpr std::string_view kSeparatorTextKey = "SepOtherText";
constexpr std::string_view kEscapedSeparatorKey = "RecSepOtherEscaped";

/// An additional number: its key and what it is when the key is missing.
struct ExtraNumber {
  std::string_view key;
  std::int32_t ImportSetting::*member;
  std::int32_t otherwise = 0;
};
constexpr ExtraNumber kExtraNumbers[] = {{"AnsiPage", &ImportSetting::AnsiPage},
                                         {"OemPage", &ImportSetting::OemPage},
                                         {"QuotedLineEnds", &ImportSetting::QuotedLineEnds},
                                         {"QuotesAtStart", &ImportSetting::QuotesAtStart},
                                         {"MergeSeparators", &ImportSetting::MergeSeparators},
                                         {"AnyLineEnd", &ImportSetting::AnyLineEnd},
                                         {"HtmlCells", &ImportSetting::HtmlCells},
                                         {"Trim", &ImportSetting::Trim},
                                         {"SkipBlankLines", &ImportSetting::SkipBlankLines},
                                         {"HeadingLine", &ImportSetting::HeadingLine},
                                         {"IgnoreExtraFields", &ImportSetting::IgnoreExtraFields},
                                         {"RecGap", &ImportSetting::RecGap, 1},
                                         {"ExactValues", &ImportSetting::ExactValues}};
constexpr std::array<std::pair<std::string_view, std::string ImportSetting::*>, 4> kExtraTexts{
    {{"DateOrder", &ImportSetting::DateOrder},
     {"Decimal", &ImportSetting::Decimal},
     {"NullText", &ImportSetting::NullText},
     {"RejectFile", &ImportSetting::RejectFile}}};

std::string Numbered(std::string_view key, std::int64_t number) {
  std::string name(key);
  base::AppendDecimal(number, name);
  return name;
}

bool NeedsEscape(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != text.npos;
}

std::string Escape(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '\r':
        escaped += "\\r";
        break;
      case '\n':
        escaped += "\\n";
        break;
      case '\0':
        escaped += "\\0";
        break;
      case '\\':
        escaped += "\\\\";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string Unescape(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      plain += text[i];
      continue;
    }
    const char next = text[++i];
    plain += next == 'r' ? '\r' : next == 'n' ? '\n' : next == '0' ? '\0' : next;
  }
  return plain;
}

/// One section by key. A number that does not fit is remembered and reads as 0; the first one is
/// the outcome of the whole load.
class SectionReader {
 public:
  SectionReader(const IniDocument& document, std::string_view section) : section_(section) {
    for (const IniEntry& entry : document.Entries(section))
      values_.emplace(base::LowerAscii(entry.key), entry.value);  // of doubles the first stays
  }

  std::int16_t Int(std::string_view key, std::int16_t otherwise = 0) {
    const std::string_view* value = Find(key);
    return value == nullptr ? otherwise : Parse(key, *value);
  }
  bool Bool(std::string_view key, bool otherwise = false) {
    return Int(key, otherwise ? 1 : 0) != 0;
  }
  std::string Text(std::string_view key) {
    const std::string_view* value = Find(key);
    return value == nullptr ? std::string() : std::string(value->substr(0, kMaxValueBytes));
  }
  /// An additional number: not limited to 16 bits.
  std::int32_t Long(std::string_view key, std::int32_t otherwise) {
    using Limits = std::numeric_limits<std::int32_t>;
    const std::string_view* value = Find(key);
    if (value == nullptr) return otherwise;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(base::ParseInteger(*value), Limits::min(), Limits::max()));
  }

  /// The keys `<prefix><number>` with numbers from `first` to `last` that are there, ascending.
  /// Costs as much as the section has keys, however large `last` is.
  std::vector<std::pair<std::int16_t, std::int16_t>> List(std::string_view prefix,
                                                          std::int16_t first, std::int16_t last) {
    std::vector<std::pair<std::int16_t, std::string_view>> found;
    for (const auto& [key, value] : values_) {
      if (!base::StartsWithIgnoreCase(key, prefix)) continue;
      const auto number = base::ParseWholeInteger(std::string_view(key).substr(prefix.size()));
      if (!number || *number < first || *number > last) continue;
      if (key.size() != Numbered(prefix, *number).size()) continue;  // a zero or sign in front
      found.emplace_back(static_cast<std::int16_t>(*number), value);
    }
    std::sort(found.begin(), found.end());
    std::vector<std::pair<std::int16_t, std::int16_t>> list;
    list.reserve(found.size());
    for (const auto& [number, value] : found)
      list.emplace_back(number, Parse(Numbered(prefix, number), value));
    return list;
  }

  /// Remembers that a code is none.
  void Refuse(std::string_view key, std::int64_t value) {
    if (!status_.ok()) return;
    status_ = Status(Code::kOutOfRange, "Setting '" + std::string(section_) + "': the value " +
                                            base::ToDecimal(value) + " of " + std::string(key) +
                                            " is no character: codes are 0 to 255");
  }

  const Status& status() const noexcept { return status_; }

 private:
  const std::string_view* Find(std::string_view key) const {
    const auto found = values_.find(base::LowerAscii(key));
    return found == values_.end() ? nullptr : &found->second;
  }
  std::int16_t Parse(std::string_view key, std::string_view value) {
    Result<std::int16_t> number = NarrowValue(base::ParseInteger(value), section_, key);
    if (number.ok()) return *number;
    if (status_.ok()) status_ = number.status();
    return 0;
  }

  std::string_view section_;
  std::unordered_map<std::string, std::string_view> values_;
  Status status_;
};

/// The separator with a code: a byte of the ANSI page. Under UTF-8 the codes above 127 are those of
/// page 1252, which most settings were saved under. Empty for a code that no character has.
std::string OtherSeparator(std::int16_t code) {
  if (code < 0 || code > 255) return {};
  const auto byte = static_cast<unsigned char>(code);
  std::string text;
  if (byte < 0x80 || !base::AnsiPage().is_utf8()) {
    text.assign(1, static_cast<char>(byte));
  } else {
    base::AppendUtf8(base::FindCodePage(1252)->ToUnicode(byte), text);
  }
  return text;
}

/// The code of a separator's first character, or 0 for one that needs a key of its own: the code
/// stored beside that is its first byte.
int SeparatorCode(std::string_view text) {
  if (!base::AnsiPage().is_utf8()) return static_cast<unsigned char>(text.front());
  std::size_t at = 0;
  const char32_t character = base::DecodeUtf8(text, at);
  return base::FindCodePage(1252)->FromUnicode(character).value_or('\0');
}

void ReadSeparators(SectionReader& in, ImportSetting& setting) {
  setting.SepComma = setting.SepSemicolon = setting.SepSpace = setting.SepTab = false;
  setting.SepOther = false;
  setting.nbSeparators = in.Int("nbSeparators", 1);
  const auto codes = in.List("Separator", 1, setting.nbSeparators);
  // A missing key reads as 0, the comma.
  if (static_cast<std::int64_t>(codes.size()) < setting.nbSeparators) setting.SepComma = true;
  for (const auto& [number, code] : codes) {
    switch (code) {
      case 0:
        setting.SepComma = true;
        break;
      case 1:
        setting.SepSemicolon = true;
        break;
      case 2:
        setting.SepSpace = true;
        break;
      case 3:
        setting.SepTab = true;
        break;
      default:
        setting.SepOther = true;
        setting.SepOtherText = OtherSeparator(code);
        if (setting.SepOtherText.empty()) in.Refuse(Numbered("Separator", number), code);
    }
  }
  // A character that has no code of its own.
  if (const std::string text = in.Text(kSeparatorTextKey); setting.SepOther && !text.empty())
    setting.SepOtherText = text;
  if (!setting.SepOtherText.empty()) setting.SepOtherChar = setting.SepOtherText.front();
  RebuildSeparatorSet(setting);
}

void ReadMapping(SectionReader& in, ImportSetting& setting) {
  for (std::size_t i = 0; i < setting.FieldMap.size(); ++i) {
    FieldMapEntry& entry = setting.FieldMap[i];
    const auto number = static_cast<std::int64_t>(i);
    entry.Unmap();
    entry.Field = in.Int(Numbered("Field", number), -1);
    if (entry.Field != -1) {
      entry.FieldInfo = in.Int(Numbered("FieldInfo", number), -1);
      entry.Mapped = true;
    }
    if (setting.TypeFormat == kFixedWidth) {
      entry.Offset = in.Int(Numbered("Offset", number));
      entry.Length = in.Int(Numbered("Length", number));
    }
  }
}

void AddBreak(textsource::BreakList& breaks, std::int16_t position) {
  if (position < 0) return;  // no position of a record
  // A list that is full keeps what it has.
  (void)breaks.AddFixedBreak(static_cast<std::uint16_t>(position));
}

void ReadBreaks(SectionReader& in, textsource::BreakList& breaks) {
  breaks.ClearBreakList();
  const std::int16_t count = in.Int("nbBreaks");
  std::int32_t next = 0;
  for (const auto& [number, position] :
       in.List("Break", 0, static_cast<std::int16_t>(std::max<int>(count, 0) - 1))) {
    if (number > next) AddBreak(breaks, 0);  // a missing key reads as 0
    AddBreak(breaks, position);
    next = number + 1;
  }
  if (next < count) AddBreak(breaks, 0);
}

/// The lines of one section in the order in which they are written.
class SectionWriter {
 public:
  explicit SectionWriter(std::string_view section) : section_(section) {}

  void Text(std::string_view key, std::string_view value) {
    if (value.size() > kMaxValueBytes && status_.ok())
      status_ = Status(Code::kOutOfRange,
                       "Setting '" + std::string(section_) + "': " + std::string(key) + " has " +
                           base::ToDecimal(static_cast<std::int64_t>(value.size())) +
                           " bytes, and no more than " +
                           base::ToDecimal(static_cast<std::int64_t>(kMaxValueBytes)) +
                           " would be read back");
    lines_.emplace_back(key, value);
  }
  void Int(std::string_view key, std::int64_t value) {
    const Result<std::int16_t> number = NarrowValue(value, section_, key);
    if (!number.ok() && status_.ok()) status_ = number.status();
    Text(key, base::ToDecimal(value));
  }
  void Bool(std::string_view key, bool value) { Text(key, value ? "1" : "0"); }

  const Status& status() const noexcept { return status_; }
  std::vector<IniEntry> Entries() const {
    std::vector<IniEntry> entries;
    entries.reserve(lines_.size());
    for (const auto& [key, value] : lines_) entries.push_back({key, value});
    return entries;
  }

 private:
  std::string_view section_;
  std::vector<std::pair<std::string, std::string>> lines_;
  Status status_;
};

void WriteSeparators(SectionWriter& out, const ImportSetting& setting) {
  std::int16_t number = 0;
  const auto write = [&](bool chosen, std::int64_t code) {
    if (chosen) out.Int(Numbered("Separator", ++number), code);
  };
  write(setting.SepComma, 0);
  write(setting.SepSemicolon, 1);
  write(setting.SepSpace, 2);
  write(setting.SepTab, 3);
  if (!setting.SepOtherText.empty()) {
    const int code = SeparatorCode(setting.SepOtherText);
    const auto first_byte = static_cast<unsigned char>(setting.SepOtherText.front());
    write(setting.SepOther, code != 0 ? code : first_byte);
  }
  // The size of the set, not the number of keys: the other flag without a text counts without
  // having a key. Kept as it is.
  out.Int("nbSeparators", static_cast<std::int64_t>(base::CountCharacters(setting.SeparatorSet)));
}

template <typename Write>
void ForMappedFields(const ImportSetting& setting, Write write) {
  for (std::size_t i = 0; i < setting.FieldMap.size(); ++i) {
    const FieldMapEntry& entry = setting.FieldMap[i];
    if (!entry.Name.empty() && entry.Mapped) write(static_cast<std::int64_t>(i), entry);
  }
}

void WriteMapping(SectionWriter& out, const ImportSetting& setting) {
  std::int64_t count = 0;
  ForMappedFields(setting, [&](std::int64_t i, const FieldMapEntry& entry) {
    out.Int(Numbered("Field", i), entry.Field);
    if (entry.FieldInfo != -1) out.Int(Numbered("FieldInfo", i), entry.FieldInfo);
    ++count;
  });
  out.Int("nbFields", count);
  if (setting.TypeFormat != kFixedWidth) return;
  ForMappedFields(setting, [&](std::int64_t i, const FieldMapEntry& entry) {
    out.Int(Numbered("Offset", i), entry.Offset);
    out.Int(Numbered("Length", i), entry.Length);
  });
}

void WriteBreaks(SectionWriter& out, textsource::BreakList& breaks) {
  breaks.SetCount(breaks.CompactArray());
  out.Int("nbBreaks", breaks.count());
  for (std::uint16_t i = 0; i < breaks.count(); ++i) out.Int(Numbered("Break", i), breaks[i]);
}

void WriteOptions(SectionWriter& out, const ImportSetting& setting) {
  out.Int("RecSeparator", setting.RecSeparator);
  out.Text("RecSepOther", setting.RecSeparator == kOtherSeparatorText
                              ? std::string_view(setting.RecSepOther)
                              : std::string_view());
  out.Int("RecLength", setting.RecSeparator == kFixedLength ? setting.RecLength : 0);
  out.Int("MaxLines", setting.AllLines ? 0 : setting.MaxLines);
  out.Bool("OemConvert", setting.OemConvert);
  out.Bool("Upper", setting.Upper);
  out.Bool("Lower", setting.Lower);
  out.Int("StartingLine", setting.StartingLine);
  out.Bool("AppendRecords", setting.AppendRecords);
  out.Bool("UpdateIndex", setting.UpdateIndex);
  out.Text("IndexName", setting.IndexName);
  out.Bool("KeyLookUp", setting.KeyLookUp);
  out.Bool("AppendFields", setting.AppendFields);
  out.Bool("AppendIfEof", setting.AppendIfEof);
  out.Bool("ShowErrors", setting.ShowErrors);
  out.Bool("LimitErrors", setting.LimitErrors);
  if (setting.LimitErrors) out.Int("nErrorStop", setting.nErrorStop);
  out.Bool("Trace", setting.Trace);
  out.Text("LogFileName", setting.LogFileName);
  out.Bool("LogAppend", setting.LogAppend);
  out.Bool("EmptyTarget", setting.EmptyTarget);
  out.Bool("DeleteImportFile", setting.DeleteImportFile);
}

}  // namespace

Status ReadSetting(const IniFile& ini, ImportSetting& setting, textsource::BreakList& breaks) {
  const Result<IniDocument> document = ini.TryLoad();
  return document.ok() ? ReadSetting(*document, setting, breaks) : document.status();
}

Status ReadSetting(const IniDocument& document, ImportSetting& setting,
                   textsource::BreakList& breaks) {
  SectionReader in(document, setting.SettingName);
  ImportSetting read = setting;
  textsource::BreakList read_breaks;

  read.TypeFormat = in.Int("TypeFormat");
  ReadSeparators(in, read);
  read.Delimiter = in.Int("Delimiter");
  RebuildDelimiter(read);
  read.RecSeparator = in.Int("RecSeparator");
  read.RecSepOther = in.Text("RecSepOther");
  if (const std::string escaped = in.Text(kEscapedSeparatorKey);
      read.RecSeparator == kOtherSeparatorText && !escaped.empty())
    read.RecSepOther = Unescape(escaped);
  read.RecLength = in.Int("RecLength");
  if (read.RecSeparator != kFixedLength) read.RecLength = 0;
  read.OemConvert = in.Bool("OemConvert");
  read.Upper = in.Bool("Upper");
  read.Lower = in.Bool("Lower");
  read.StartingLine = in.Int("StartingLine", 1);
  read.MaxLines = in.Int("MaxLines");
  read.AllLines = read.MaxLines == 0;
  read.AppendRecords = in.Bool("AppendRecords", true);
  read.UpdateIndex = in.Bool("UpdateIndex");
  read.IndexName = in.Text("IndexName");
  read.KeyLookUp = in.Bool("KeyLookUp");
  read.AppendFields = in.Bool("AppendFields");
  read.AppendIfEof = in.Bool("AppendIfEof");
  read.ShowErrors = in.Bool("ShowErrors", true);
  read.LimitErrors = in.Bool("LimitErrors");
  read.nErrorStop = in.Int("nErrorStop");
  read.Trace = in.Bool("Trace");
  read.LogFileName = in.Text("LogFileName");
  read.LogAppend = in.Bool("LogAppend");
  read.EmptyTarget = in.Bool("EmptyTarget");
  read.DeleteImportFile = in.Bool("DeleteImportFile");
  read.nbFields = in.Int("nbFields");
  ReadMapping(in, read);
  ReadBreaks(in, read_breaks);
  read.SourceDBName = in.Text("SourceDBName");
  read.SourceTableName = in.Text("SourceTableName");
  if (read.TypeFormat == kOdbc) read.SourceConnectString = in.Text("SourceConnectString");
  for (const ExtraNumber& extra : kExtraNumbers)
    read.*extra.member = in.Long(extra.key, extra.otherwise);
  for (const auto& [key, member] : kExtraTexts) read.*member = in.Text(key);

  KV_TRY(in.status());
  setting = std::move(read);
  breaks = read_breaks;
  return Status();
}

Status SaveSetting(IniFile& ini, const ImportSetting& setting, textsource::BreakList& breaks) {
  return ini.Change([&](IniDocument& document) { return SaveSetting(document, setting, breaks); });
}

Status SaveSetting(IniDocument& document, const ImportSetting& setting,
                   textsource::BreakList& breaks) {
  const std::string_view name = setting.SettingName;
  KV_TRY(CheckSettingName(name));
  SectionWriter out(name);
  out.Int("TypeFormat", setting.TypeFormat);
  out.Int("Delimiter", setting.Delimiter);
  WriteSeparators(out, setting);
  WriteOptions(out, setting);
  WriteMapping(out, setting);
  WriteBreaks(out, breaks);
  out.Text("SourceDBName", setting.SourceDBName);
  out.Text("SourceTableName", setting.SourceTableName);
  if (setting.TypeFormat == kOdbc) out.Text("SourceConnectString", setting.SourceConnectString);
  if (setting.SepOther && !setting.SepOtherText.empty() && SeparatorCode(setting.SepOtherText) == 0)
    out.Text(kSeparatorTextKey, base::CutToCharacters(setting.SepOtherText, 1));
  if (setting.RecSeparator == kOtherSeparatorText && NeedsEscape(setting.RecSepOther))
    out.Text(kEscapedSeparatorKey, Escape(setting.RecSepOther));
  for (const ExtraNumber& extra : kExtraNumbers) {
    if (setting.*extra.member != extra.otherwise)
      out.Text(extra.key, base::ToDecimal(setting.*extra.member));
  }
  for (const auto& [key, member] : kExtraTexts) {
    if (!(setting.*member).empty()) out.Text(key, setting.*member);
  }
  KV_TRY(out.status());
  document.ReplaceSection(name, out.Entries());
  document.SetValue(kIndexSection, name, {});
  return Status();
}

Status DeleteSetting(IniFile& ini, std::string_view name) {
  if (base::EqualIgnoreCase(base::Trim(name, base::kBlankOrTab), kIndexSection))
    return CheckSettingName(name);
  return ini.Change([&](IniDocument& document) {
    document.DeleteSection(name);
    document.DeleteKey(kIndexSection, name);
    return Status();
  });
}

Status CopySetting(IniFile& ini, std::string_view name, std::string_view other, bool rename) {
  KV_TRY(CheckSettingName(other));
  return ini.Change([&](IniDocument& document) {
    const IniDocument before = document;  // what entries are parts of
    const std::vector<IniEntry> entries = before.Entries(name);
    if (entries.empty())
      return Status(Code::kNotFound, "There is no setting '" + std::string(name) + "'.");
    // Names are told apart without regard to case; a name may change its case.
    const bool same = base::EqualIgnoreCase(name, other);
    if ((!same || !rename) && !document.Entries(other).empty())
      return Status(Code::kAlreadyExists, base::Tr("There is a setting '%1' already.", {other}));
    if (rename) {
      document.DeleteSection(name);
      document.DeleteKey(kIndexSection, name);
    }
    document.ReplaceSection(other, entries);
    document.SetValue(kIndexSection, other, "");
    return Status();
  });
}

}  // namespace kelvorin::settings
