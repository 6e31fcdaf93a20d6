// A settings file of any bytes: unchanged text stays as it is, the setting "j" loads or fails with
// an overflow, and what was loaded, saved and loaded again is the same job. Foreign sections keep
// their keys.

#include <algorithm>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "settings/setting_store.h"

using namespace kelvorin;
using fuzz::Require;
using settings::ImportSetting;
using settings::IniDocument;

namespace {

std::string Join(const IniDocument& document, std::string_view section) {
  std::string text;
  for (const settings::IniEntry& entry : document.Entries(section))
    text += std::string(entry.key) + '\n' + std::string(entry.value) + '\n';
  return text;
}

bool HasLoneCr(std::string_view text) {
  for (std::size_t at = text.find('\r'); at != text.npos; at = text.find('\r', at + 1)) {
    if (text.substr(at, 2) != "\r\n") return true;
  }
  return false;
}

ImportSetting Blank() {
  ImportSetting setting;
  setting.SettingName = "j";
  for (settings::FieldMapEntry& entry : setting.FieldMap) entry.Name = "F";
  return setting;
}

/// Takes away what a save leaves out.
void KeepStored(ImportSetting& setting) {
  if (setting.RecSeparator != 3) setting.RecSepOther.clear();
  if (setting.RecSeparator != 4) setting.RecLength = 0;
  if (!setting.LimitErrors) setting.nErrorStop = 0;
  setting.nbSeparators = static_cast<std::int16_t>(setting.SeparatorSet.size());
  setting.nbFields = 0;
  for (settings::FieldMapEntry& entry : setting.FieldMap) {
    if (entry.Mapped) {
      ++setting.nbFields;
    } else {
      entry.Unmap();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  IniDocument document(text);
  Require(document.Text() == text, "unchanged text stays");
  const std::string foreign = Join(document, "other");

  ImportSetting first = Blank();
  textsource::BreakList breaks;
  const Status loaded = ReadSetting(document, first, breaks);
  Require(loaded.ok() || loaded.code() == Code::kOutOfRange, "only an overflow fails a load");
  if (!loaded.ok()) {
    Require(first == Blank() && breaks.count() == 0, "a failed load changes nothing");
    return 0;
  }
  // The characters 0 to 3 would come back as the separators that have these codes.
  if (first.SepOther && static_cast<unsigned char>(first.SepOtherChar) < 4) return 0;

  Require(SaveSetting(document, first, breaks).ok(), "what was loaded can be saved");
  const IniDocument saved(document.Text());
  Require(Join(saved, "other") == foreign, "foreign sections stay");
  Require(saved.Value("settings", "j").has_value(), "the setting is listed");
  ImportSetting second = Blank();
  textsource::BreakList second_breaks;
  Require(ReadSetting(saved, second, second_breaks).ok(), "what was saved can be loaded");
  KeepStored(first);
  Require(first == second, "the job is the same");
  Require(breaks == second_breaks, "the breaks are the same");

  IniDocument again = saved;
  Require(SaveSetting(again, second, second_breaks).ok(), "saved twice");
  // Where lines end with a CR alone, one of them and a blank line with a LF can become one.
  Require(HasLoneCr(text) || again.Text() == saved.Text(), "a second save changes nothing");
  again.DeleteSection("j");
  Require(again.Entries("j").empty(), "a deleted setting is gone");
  return 0;
}
