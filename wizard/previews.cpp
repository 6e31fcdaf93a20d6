#include <algorithm>

#include "base/language.h"

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "catalog/source.h"
#include "catalog/tables.h"
#include "contract/enums.h"
#include "engine/messages.h"
#include "settings/import_setting.h"
#include "wizard/frm_kelvorin.h"

namespace kelvorin::wizard {

using base::Tr;

using contract::Control;

// --- The heading and the suggestion

void frmKelvorin::ShowHeader() {
  WizardControls& c = controls;
  const std::int32_t names_in = settings::HeadingLineOf(state().setting);
  const std::int32_t suggested = suggestion_.layout ? suggestion_.layout->heading_line : 0;
  const std::int32_t line = names_in >= 1 ? names_in : suggested;
  c.CBoxHeader.SetCaption(line > 1 ? Tr("L&ine %1 holds the names", {base::ToDecimal(line)})
                                   : Tr("First l&ine holds the names"));
  c.CBoxHeader.ShowValue(names_in >= 1);
  c.CBoxHeader.tool_tip =
      suggested >= 1 && names_in < 1
          ? Tr("The detection takes this line for the names of the columns.")
          : Tr("Takes the names of the columns from that line and begins the import behind it.");
}

void frmKelvorin::CBoxHeader_Click() {
  settings::ImportSetting& setting = state().setting;
  setting.HeadingLine = 0;
  setting.StartingLine = controls.CBoxHeader.value() ? 2 : 1;
  if (suggestion_.layout && suggestion_.layout->heading_line >= 1) {
    if (controls.CBoxHeader.value()) job::TakeHeading(*suggestion_.layout, setting);
  } else if (suggestion_.layout && !controls.CBoxHeader.value()) {
    job::TakeHeading(*suggestion_.layout, setting);  // what stands above the data is stepped over
  }
  TakeSample();
  ShowCurrentStep();
}

void frmKelvorin::ShowSuggestion() {
  WizardControls& c = controls;
  const std::string& file = state().source.file_name;
  if (!IsText() || !state().source.exists) {
    suggestion_ = {};
  } else if (suggestion_.file != file) {
    suggestion_ = {file, {}};
    platform_.SetWaitCursor(true);
    Result<textsource::DetectedLayout> found = textsource::DetectLayout(file);
    platform_.SetWaitCursor(false);
    if (found.ok()) suggestion_.layout = *std::move(found);
  }
  const bool differs = suggestion_.layout &&
                       job::Differs(file, *suggestion_.layout, state().setting, state().breaks);
  c.BtnSuggestion.SetVisible(differs);
  c.LblSuggestion.SetVisible(differs);
  if (differs) c.LblSuggestion.SetCaption(job::SuggestionText(*suggestion_.layout));
}

void frmKelvorin::BtnSuggestion_Click() {
  if (!suggestion_.layout) return;
  job::Take(*suggestion_.layout, state().setting, state().breaks);
  TakeLocale();
  ReadAgain();
}

void frmKelvorin::ReadAgain() {
  job_.TakeFile(std::string(state().source.file_name), job::Layout::kOfSetting);
  ShowSourceControls();
  ShowSeparators();
  TakeSample();
  GoToStepOfKind();
}

// Reads the text file once; all redrawing works on what was read here.
void frmKelvorin::TakeSample() {
  sample_ = {};
  if (!IsText()) return;
  std::vector<std::string> lines;
  if (state().source.exists) {
    const Status read = ReadSample(state().source.file_name, state().setting, sample_);
    steps_.loaded = read.ok() && state().preview.valid;
    const textsource::PreviewLines& preview = state().preview;
    for (int i = 1; i <= static_cast<int>(base::kPreviewLines); ++i)
      lines.push_back(ShownLine(preview.Line(i), state().setting));
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    if (!read.ok()) sample_.problem = read.message();
  } else {
    steps_.loaded = false;
  }
  controls.PreviewText.SetItems(std::move(lines));
  break_editor_.SetLines(sample_.records);
  ShowSuggestion();
}

void frmKelvorin::RefreshPreview() {
  if (!IsText()) {
    UpdateSrcTablePreview();
  } else if (state().setting.TypeFormat == contract::kFixedWidthText) {
    UpdateFixedPreview();
  } else {
    UpdateVarPreview();
  }
}

void frmKelvorin::UpdateVarPreview() {
  PreviewTable table = CutSample(sample_, state().setting, state().breaks);
  ShowStatus(table);
  shown_values_ = std::move(table.values);
  controls.PreviewGrid.Fill(std::move(table.headings), std::move(table.rows));
}

void frmKelvorin::UpdateFixedPreview() {
  PreviewTable table = CutSample(sample_, state().setting, state().breaks);
  ShowStatus(table);
  shown_values_ = std::move(table.values);
  controls.PreviewGrid.Fill(std::move(table.headings), std::move(table.rows),
                            break_editor_.UpdateColWidthsFromBreaks());
  const std::string breaks = break_editor_.Text();
  if (!in_breaks_box_) {
    controls.EdtBreaks.ShowText(breaks);
    typing_breaks_ = false;
  }
  controls.PreviewFixed.ShowText(breaks);
  controls.PreviewFixed.tool_tip = breaks.empty() ? Tr("No breaks") : Tr("Breaks at %1", {breaks});
}

void frmKelvorin::UpdateSrcTablePreview() {
  EmptyAllGrid();
  steps_.loaded = false;
  if (!state().source.exists || state().source.file_name.empty()) return;
  const std::int32_t kind = state().setting.TypeFormat;
  engine::SourceNames names;
  names.is_table = true;
  names.import_file = state().source.file_name;
  names.database = state().source.SourceDBName;

  std::unique_ptr<database::Database> own;
  database::Database* database = kind == contract::kAccess ? state().source.kept.get() : nullptr;
  if (database == nullptr) {
    auto opened = catalog::OpenSourceDatabase(engine_, kind, state().source);
    if (!opened.ok()) {
      ReportError(engine::FatalMessage(engine::Step::kOpenDatabase, names), opened.status());
      return;
    }
    own = *std::move(opened);
    database = own.get();
  }
  Result<PreviewTable> table =
      ReadTable(*database, state().source.file_name, database->Traits().table_type,
                state().setting.StartingLine);
  if (own) static_cast<void>(own->Close().ok());  // it was only read
  if (!table.ok()) {
    ReportError(engine::FatalMessage(engine::Step::kOpenTable, names), table.status());
    return;
  }
  shape_note_.clear();
  controls.LblStatus.SetCaption({});
  shown_values_ = std::move(table->values);
  controls.PreviewGrid.Fill(std::move(table->headings), std::move(table->rows));
  steps_.loaded = true;
}

void frmKelvorin::ShowStatus(const PreviewTable& table) {
  std::string text;
  const auto add = [&](int count, const char* one, const char* many) {
    if (count == 0) return;
    if (!text.empty()) text += " ";
    text += base::TrCount(count, one, many);
  };
  add(table.ragged, "%1 record with another number of fields than most (in bold).",
      "%1 records with another number of fields than most (in bold).");
  add(table.unclosed, "%1 record with a text delimiter that is not closed.",
      "%1 records with a text delimiter that is not closed.");
  add(table.behind, "%1 record with text behind the last break, which is not imported.",
      "%1 records with text behind the last break, which is not imported.");
  add(table.wide, "%1 record with characters of several bytes; breaks count characters.",
      "%1 records with characters of several bytes; breaks count characters.");
  add(table.crowded, "%1 record with more than 251 fields, which cannot be imported.",
      "%1 records with more than 251 fields, which cannot be imported.");
  if (text.empty() && !table.rows.empty())
    text = base::TrCount(static_cast<std::int64_t>(table.headings.size()),
                         "All records shown have %1 field.", "All records shown have %1 fields.");
  if (table.rows.empty() && steps_.loaded) text = Tr("No records to show.");
  shape_note_ = text;
  controls.LblStatus.SetCaption(text);
}

void frmKelvorin::EmptyAllGrid() {
  shown_values_.clear();
  shape_note_.clear();
  controls.PreviewGrid.Fill({}, {});
  controls.LblStatus.SetCaption({});
}

void frmKelvorin::EmptyVisibleGrid() {
  if (controls.PreviewGrid.visible()) EmptyAllGrid();
}

void frmKelvorin::EmptyFixedVisibleGrid() {
  if (controls.PreviewFixed.visible()) break_editor_.SetLines({});
}

// --- Separators

void frmKelvorin::ShowSeparators() {
  const settings::ImportSetting& setting = state().setting;
  WizardControls& c = controls;
  const WizardStep step =
      std::exchange(steps_.current, WizardStep::kTarget);  // no handler redraws while they are set
  c.CBoxComma.SetValue(setting.SepComma);
  c.CBoxSemiColon.SetValue(setting.SepSemicolon);
  c.CBoxSpace.SetValue(setting.SepSpace);
  c.CBoxTab.SetValue(setting.SepTab);
  c.CBoxOtherChar.SetValue(setting.SepOther);
  c.EdtSpecialSeparator.SetText(setting.SepOtherText);
  c.CBoxDelimiter.SelectItem(setting.Delimiter >= 0 && setting.Delimiter <= 2 ? setting.Delimiter
                                                                              : 2);
  steps_.current = step;
}

void frmKelvorin::CBoxComma_Click() {
  if (steps_.current != WizardStep::kSeparators) return;
  settings::ImportSetting& setting = state().setting;
  const WizardControls& c = controls;
  setting.SepComma = c.CBoxComma.value();
  setting.SepSemicolon = c.CBoxSemiColon.value();
  setting.SepSpace = c.CBoxSpace.value();
  setting.SepTab = c.CBoxTab.value();
  setting.SepOther = c.CBoxOtherChar.value();
  setting.SepOtherText = c.EdtSpecialSeparator.text();
  if (!setting.SepOtherText.empty()) setting.SepOtherChar = setting.SepOtherText.front();
  std::string& set = setting.SeparatorSet;
  set.clear();
  if (setting.SepComma) set += ',';
  if (setting.SepSpace) set += ' ';
  if (setting.SepTab) set += '\t';
  if (setting.SepSemicolon) set += ';';
  // All the bytes of one character.
  if (setting.SepOther) set += base::CutToCharacters(setting.SepOtherText, 1);
  setting.nbSeparators = static_cast<std::int16_t>(base::CountCharacters(set));
  UpdateVarPreview();
}

void frmKelvorin::CBoxOtherChar_Click() {
  CBoxComma_Click();
  if (steps_.current == WizardStep::kSeparators) controls.EdtSpecialSeparator.SetFocus();
}

void frmKelvorin::CBoxDelimiter_Click() {
  if (controls.CBoxDelimiter.list_index() < 0) return;
  state().setting.Delimiter = controls.CBoxDelimiter.list_index();
  settings::RebuildDelimiter(state().setting);
  if (steps_.current == WizardStep::kSeparators) UpdateVarPreview();
}

// --- Breaks

void frmKelvorin::EdtBreaks_Change() {
  // What is being typed stands as it is until it is done: "4, 1" on the way to "4, 14".
  const bool goes_on = std::exchange(typing_breaks_, true);
  in_breaks_box_ = true;
  break_editor_.SetFromText(controls.EdtBreaks.text(), goes_on);
  in_breaks_box_ = false;
}

void frmKelvorin::EdtBreaks_Commit() {
  typing_breaks_ = false;
  controls.EdtBreaks.ShowText(break_editor_.Text());
}

}  // namespace kelvorin::wizard
