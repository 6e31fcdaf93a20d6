#include "catalog/source.h"
#include "catalog/tables.h"
#include "contract/enums.h"
#include "engine/messages.h"
#include "settings/import_setting.h"
#include "wizard/frm_kelvorin.h"

namespace kelvorin::wizard {

using contract::Control;

// Reads the text file once; all redrawing works on what was read here.
void frmKelvorin::TakeSample() {
  sample_ = {};
  if (!IsText()) return;
  std::vector<std::string> lines;
  if (state_.source.exists) {
    const Status read = ReadSample(state_.source.file_name, state_.setting, sample_);
    steps_.loaded = read.ok() && state_.preview.valid;
    const textsource::PreviewLines& preview = state_.preview;
    for (int i = 1; i <= static_cast<int>(base::kPreviewLines); ++i)
      lines.push_back(ShownLine(preview.Line(i), state_.setting));
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    if (!read.ok()) controls.LblDetected.SetCaption(read.message());
  } else {
    steps_.loaded = false;
    controls.LblDetected.SetCaption(state_.source.file_name.empty() ? "Choose the file to import."
                                                                    : "There is no such file.");
  }
  controls.PreviewText.SetItems(std::move(lines));
  break_editor_.SetLines(sample_.records);
  if (steps_.loaded)
    controls.LblDetected.SetCaption(DetectionText(state_.setting, state_.breaks, sample_));
}

void frmKelvorin::RefreshPreview() {
  if (!IsText()) {
    UpdateSrcTablePreview();
  } else if (state_.setting.TypeFormat == 1) {
    UpdateFixedPreview();
  } else {
    UpdateVarPreview();
  }
}

void frmKelvorin::UpdateVarPreview() {
  PreviewTable table = CutSample(sample_, state_.setting, state_.breaks);
  ShowStatus(table);
  controls.PreviewGrid.Fill(std::move(table.headings), std::move(table.rows));
  if (steps_.loaded)
    controls.LblDetected.SetCaption(DetectionText(state_.setting, state_.breaks, sample_));
}

void frmKelvorin::UpdateFixedPreview() {
  PreviewTable table = CutSample(sample_, state_.setting, state_.breaks);
  ShowStatus(table);
  controls.PreviewGrid.Fill(std::move(table.headings), std::move(table.rows),
                            break_editor_.UpdateColWidthsFromBreaks());
  const std::string breaks = break_editor_.Text();
  controls.EdtBreaks.ShowText(breaks);
  controls.PreviewFixed.ShowText(breaks);
  controls.PreviewFixed.tool_tip = breaks.empty() ? "No breaks" : "Breaks at " + breaks;
}

void frmKelvorin::UpdateSrcTablePreview() {
  EmptyAllGrid();
  steps_.loaded = false;
  if (!state_.source.exists || state_.source.file_name.empty()) return;
  const std::int32_t kind = state_.setting.TypeFormat;
  engine::SourceNames names;
  names.is_table = true;
  names.import_file = state_.source.file_name;
  names.database = state_.source.SourceDBName;

  std::unique_ptr<database::Database> own;
  database::Database* database = kind == contract::kAccess ? state_.source.kept.get() : nullptr;
  if (database == nullptr) {
    auto opened = catalog::OpenSourceDatabase(engine_, kind, state_.source);
    if (!opened.ok()) {
      ReportError(engine::FatalMessage(engine::Step::kOpenDatabase, names), opened.status());
      return;
    }
    own = *std::move(opened);
    database = own.get();
  }
  const auto type = kind == contract::kOdbc ? database::RecordsetType::kSnapshot
                                            : database::RecordsetType::kTable;
  Result<PreviewTable> table =
      ReadTable(*database, state_.source.file_name, type, state_.setting.StartingLine);
  if (own) static_cast<void>(own->Close().ok());  // it was only read
  if (!table.ok()) {
    ReportError(engine::FatalMessage(engine::Step::kOpenTable, names), table.status());
    return;
  }
  controls.LblStatus.SetCaption({});
  controls.PreviewGrid.Fill(std::move(table->headings), std::move(table->rows));
  steps_.loaded = true;
}

void frmKelvorin::ShowStatus(const PreviewTable& table) {
  std::string text;
  const auto add = [&](int count, const char* what) {
    if (count == 0) return;
    if (!text.empty()) text += " ";
    text += std::to_string(count) + (count == 1 ? " record " : " records ") + what;
  };
  add(table.ragged, "with another number of fields than most (in bold).");
  add(table.unclosed, "with a text delimiter that is not closed.");
  if (text.empty() && !table.rows.empty())
    text = "All records shown have " + std::to_string(table.headings.size()) +
           (table.headings.size() == 1 ? " field." : " fields.");
  if (table.rows.empty() && steps_.loaded) text = "No records to show.";
  controls.LblStatus.SetCaption(text);
}

void frmKelvorin::EmptyAllGrid() {
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
  const settings::ImportSetting& setting = state_.setting;
  WizardControls& c = controls;
  const int step = std::exchange(steps_.current, 0);  // no handler redraws while they are set
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
  if (steps_.current != 2) return;
  settings::ImportSetting& setting = state_.setting;
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
  if (setting.SepOther && !setting.SepOtherText.empty()) set += setting.SepOtherText.front();
  setting.nbSeparators = static_cast<std::int16_t>(set.size());
  UpdateVarPreview();
}

void frmKelvorin::CBoxOtherChar_Click() {
  CBoxComma_Click();
  if (steps_.current == 2) controls.EdtSpecialSeparator.SetFocus();
}

void frmKelvorin::CBoxDelimiter_Click() {
  if (controls.CBoxDelimiter.list_index() < 0) return;
  state_.setting.Delimiter = controls.CBoxDelimiter.list_index();
  settings::RebuildDelimiter(state_.setting);
  if (steps_.current == 2) UpdateVarPreview();
}

// --- Breaks

void frmKelvorin::EdtBreaks_Change() {
  break_editor_.SetFromText(controls.EdtBreaks.text());
}

}  // namespace kelvorin::wizard
