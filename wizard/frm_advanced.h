#pragma once
// The options that the wizard's pages do not show: record separator and conversions, range of
// lines, write mode, error policy, log and clean-up. The wizard fills the form from a setting,
// shows it, and copies it back when it was confirmed. It reads and writes no file.

#include <string>
#include <vector>

#include "base/status.h"
#include "contract/form.h"
#include "contract/platform.h"
#include "contract/properties.h"
#include "settings/import_setting.h"

namespace kelvorin::wizard {

class frmAdvanced final : public contract::Form {
  using Kind = contract::ControlKind;

 public:
  explicit frmAdvanced(contract::Platform& platform);

  /// What the first records look like under a setting: headings and rows.
  struct Sample {
    std::vector<std::string> headings;
    std::vector<contract::Grid::Row> rows;
  };
  /// Shows the sample, and shows it anew whenever an option that changes it is touched.
  void SetSample(std::function<Sample(const settings::ImportSetting&)> sample);

  /// Fills the controls. `indexes` are the names of the target table's indexes in their order.
  void Fill(const settings::ImportSetting& setting, const std::vector<std::string>& indexes,
            const contract::Properties& properties);
  /// Takes the controls over into the setting. A mode's box that is ticked though it cannot be used
  /// does not count. Fails with kOutOfRange when a number of the boxes does not fit; the setting is
  /// then as it was. OK has looked at that before.
  Status CopyBack(settings::ImportSetting& setting) const;

  bool Confirmed() const noexcept { return confirmed_; }

  // --- Named procedures.
  void Form_Load();
  void TabStrip1_Click();
  void RBtnAppendRecords_Click();
  void RBtnUpdateRecords_Click();
  void RBtnUseIndex_Click();
  void RBtnTableOrder_Click();
  void CBoxKeyLookUp_Click();
  void CBoxAllImport_Click();
  void CBoxStopIfErrors_Click();
  void RBtnTrace_Click();
  void BtnBrowseLog_Click();
  void bntOK_Click();
  void bntCancel_Click() { Close(); }

  contract::Control TabStrip1{*this, "TabStrip1", Kind::kTabs};
  contract::Control Frame1_0{*this, "Frame1_0", Kind::kFrame};
  contract::Control Frame1_1{*this, "Frame1_1", Kind::kFrame};
  contract::Control Frame1_2{*this, "Frame1_2", Kind::kFrame};
  contract::Control Frame1_3{*this, "Frame1_3", Kind::kFrame};

  // General
  contract::Control FrameRecSep{*this, "FrameRecSep", Kind::kFrame, "Record separator"};
  contract::Control RBtnCRLF{*this, "RBtnCRLF", Kind::kOption, "CRLF"};
  contract::Control RBtnCR{*this, "RBtnCR", Kind::kOption, "CR"};
  contract::Control RBtnLF{*this, "RBtnLF", Kind::kOption, "LF"};
  contract::Control RBtnOther{*this, "RBtnOther", Kind::kOption, "Othe&r:"};
  contract::Control EdtOtherChar{*this, "EdtOtherChar", Kind::kEdit};
  contract::Control RBtnNoSeparator{*this, "RBtnNoSeparator", Kind::kOption,
                                    "&No separator, record length:"};
  contract::Control EdtRecLength{*this, "EdtRecLength", Kind::kEdit};
  contract::Control CBoxQuotedLineEnds{*this, "CBoxQuotedLineEnds", Kind::kCheck,
                                       "Line ends inside &quotes are data"};
  contract::Control CBoxOem2Ansi{*this, "CBoxOem2Ansi", Kind::kCheck, "Do&s to Windows"};
  contract::Control CBoxUpper{*this, "CBoxUpper", Kind::kCheck, "&Upper case"};
  contract::Control CBoxLower{*this, "CBoxLower", Kind::kCheck, "&Lower case"};
  contract::Control LblStartLine{*this, "LblStartLine", Kind::kLabel, "&First line:"};
  contract::Control EdtStartLine{*this, "EdtStartLine", Kind::kEdit};
  contract::Control CBoxAllImport{*this, "CBoxAllImport", Kind::kCheck, "Import &all lines"};
  contract::Control LblNbLinesToImport{*this, "LblNbLinesToImport", Kind::kLabel,
                                       "Lines &to import:"};
  contract::Control EdtNbLineMax{*this, "EdtNbLineMax", Kind::kEdit};

  // Import Mode
  contract::Control RBtnAppendRecords{*this, "RBtnAppendRecords", Kind::kOption, "A&ppend records"};
  contract::Control RBtnUpdateRecords{*this, "RBtnUpdateRecords", Kind::kOption, "&Update records"};
  contract::Control RBtnUseIndex{*this, "RBtnUseIndex", Kind::kOption, "U&se the index"};
  contract::Control RBtnTableOrder{*this, "RBtnTableOrder", Kind::kOption, "In table &order"};
  contract::Control LblIndexDescr{*this, "LblIndexDescr", Kind::kLabel, "&Index:"};
  contract::Control CBoxIndexes{*this, "CBoxIndexes", Kind::kCombo};
  contract::Control CBoxKeyLookUp{*this, "CBoxKeyLookUp", Kind::kCheck, "&Key lookup"};
  contract::Control CBoxAppendFields{*this, "CBoxAppendFields", Kind::kCheck,
                                     "Append to &field contents"};
  contract::Control CBoxAppendIfEof{*this, "CBoxAppendIfEof", Kind::kCheck,
                                    "Append when the &end is reached"};

  // Errors/Trace
  contract::Control CBoxErrors{*this, "CBoxErrors", Kind::kCheck, "&Show errors"};
  contract::Control CBoxStopIfErrors{*this, "CBoxStopIfErrors", Kind::kCheck,
                                     "Stop after too &many errors"};
  contract::Control LblMaxErrors{*this, "LblMaxErrors", Kind::kLabel, "&Number of errors:"};
  contract::Control EdtMaxErrors{*this, "EdtMaxErrors", Kind::kEdit};
  contract::Control LblTrace{*this, "LblTrace", Kind::kLabel, "Trace:"};
  contract::Control RBtnTraceOn{*this, "RBtnTraceOn", Kind::kOption, "&On"};
  contract::Control RBtnTraceOff{*this, "RBtnTraceOff", Kind::kOption, "O&ff"};
  contract::Control LblFilePath{*this, "LblFilePath", Kind::kLabel, "&Log file:"};
  contract::Control EdtLogFile{*this, "EdtLogFile", Kind::kEdit};
  contract::Control BtnBrowseLog{*this, "BtnBrowseLog", Kind::kButton, "..."};
  contract::Control CBoxLogAppend{*this, "CBoxLogAppend", Kind::kCheck, "&Append to the log"};

  // Advanced
  contract::Control CBoxEmptyTarget{*this, "CBoxEmptyTarget", Kind::kCheck,
                                    "&Empty the target table first"};
  contract::Control CBoxDeleteImportFile{*this, "CBoxDeleteImportFile", Kind::kCheck,
                                         "&Delete the file after the import"};

  // How values are written in the source.
  contract::Control LblAnsiPage{*this, "LblAnsiPage", Kind::kLabel, "En&coding:"};
  contract::Control CBoxAnsiPage{*this, "CBoxAnsiPage", Kind::kCombo};
  contract::Control LblOemPage{*this, "LblOemPage", Kind::kLabel, "D&os page:"};
  contract::Control CBoxOemPage{*this, "CBoxOemPage", Kind::kCombo};
  contract::Control LblDateOrder{*this, "LblDateOrder", Kind::kLabel, "Da&tes:"};
  contract::Control CBoxDateOrder{*this, "CBoxDateOrder", Kind::kCombo};
  contract::Control LblDecimal{*this, "LblDecimal", Kind::kLabel, "Decimal &sign:"};
  contract::Control CBoxDecimal{*this, "CBoxDecimal", Kind::kCombo};
  contract::Control LblNullText{*this, "LblNullText", Kind::kLabel, "Text for N&ull:"};
  contract::Control EdtNullText{*this, "EdtNullText", Kind::kEdit};
  contract::Control CBoxTrim{*this, "CBoxTrim", Kind::kCheck, "&Remove blanks around values"};
  contract::Control CBoxExact{*this, "CBoxExact", Kind::kCheck, "Refuse values that would c&hange"};
  contract::Grid GrdSample{*this, "GrdSample"};

  contract::Control bntOK{*this, "bntOK", Kind::kButton, "OK"};
  contract::Control bntCancel{*this, "bntCancel", Kind::kButton, "Cancel"};

 private:
  void Connect();
  void ShowMode();
  /// Tells a number that does not fit, and leads to its box.
  bool NumbersFit();
  void FillIndexes(const settings::ImportSetting& setting, const std::vector<std::string>& indexes);

  void FillValueOptions(const settings::ImportSetting& setting);
  void CopyValueOptions(settings::ImportSetting& setting) const;
  void ShowSample();

  contract::Platform& platform_;
  std::function<Sample(const settings::ImportSetting&)> sample_;
  settings::ImportSetting shown_;  // as it was filled in
  bool has_index_ = false;
  bool confirmed_ = false;
};

}  // namespace kelvorin::wizard
