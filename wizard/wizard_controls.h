#pragma once
// The control records of the wizard's form, by name. The form sets them, windows bind to them;
// nothing here has a rule.

#include <cstddef>
#include <cstdint>

#include "contract/form.h"

namespace kelvorin::wizard {

/// The steps in the order of their frames.
enum class WizardStep : std::uint8_t { kTarget, kSource, kSeparators, kBreaks, kMapping };

struct WizardControls {
  using Kind = contract::ControlKind;
  using Control = contract::Control;

  explicit WizardControls(contract::Form& owner) : form(owner) {}
  contract::Form& form;

  Control frameSteps_0{form, "frameSteps_0", Kind::kFrame, "Target table"};
  Control frameSteps_1{form, "frameSteps_1", Kind::kFrame, "Source"};
  Control frameSteps_2{form, "frameSteps_2", Kind::kFrame, "Separators"};
  Control frameSteps_3{form, "frameSteps_3", Kind::kFrame, "Columns"};
  Control frameSteps_4{form, "frameSteps_4", Kind::kFrame, "Fields"};
  Control& frame(WizardStep step) {
    Control* const frames[] = {&frameSteps_0, &frameSteps_1, &frameSteps_2, &frameSteps_3,
                               &frameSteps_4};
    return *frames[static_cast<std::size_t>(step)];
  }

  Control LblTables{form, "LblTables", Kind::kLabel, "&Target table:"};
  Control CBoxTables{form, "CBoxTables", Kind::kCombo};
  Control BtnNewTable{form, "BtnNewTable", Kind::kButton, "Ne&w table..."};
  Control LblTableNote{form, "LblTableNote", Kind::kLabel};

  Control LblTypeFormat{form, "LblTypeFormat", Kind::kLabel, "Source &type:"};
  Control CBoxTypeFormat{form, "CBoxTypeFormat", Kind::kCombo};
  Control LblSelectFile{form, "LblSelectFile", Kind::kLabel, "Fi&le name:"};
  Control EdtFileName{form, "EdtFileName", Kind::kEdit};
  Control LblLstTables{form, "LblLstTables", Kind::kLabel, "Tabl&e:"};
  Control lstTables{form, "lstTables", Kind::kCombo};
  Control BtnBrowseFiles{form, "BtnBrowseFiles", Kind::kButton, "Browse..."};
  Control BtnPaste{form, "BtnPaste", Kind::kButton, "&Paste"};
  Control LblDetected{form, "LblDetected", Kind::kLabel};
  Control BtnDetect{form, "BtnDetect", Kind::kButton, "Detect a&gain"};
  Control LblSuggestion{form, "LblSuggestion", Kind::kLabel};
  Control BtnSuggestion{form, "BtnSuggestion", Kind::kButton, "&Use suggestion"};

  Control CBoxComma{form, "CBoxComma", Kind::kCheck, "&Comma"};
  Control CBoxSemiColon{form, "CBoxSemiColon", Kind::kCheck, "Se&micolon"};
  Control CBoxSpace{form, "CBoxSpace", Kind::kCheck, "S&pace"};
  Control CBoxTab{form, "CBoxTab", Kind::kCheck, "&Tab"};
  Control CBoxOtherChar{form, "CBoxOtherChar", Kind::kCheck, "&Other:"};
  Control EdtSpecialSeparator{form, "EdtSpecialSeparator", Kind::kEdit};
  Control LblDelimiter{form, "LblDelimiter", Kind::kLabel, "Text &delimiter:"};
  Control CBoxDelimiter{form, "CBoxDelimiter", Kind::kCombo};

  Control LblBreaks{form, "LblBreaks", Kind::kLabel, "Brea&ks:"};
  Control EdtBreaks{form, "EdtBreaks", Kind::kEdit};
  Control BtnUndoBreak{form, "BtnUndoBreak", Kind::kButton, "&Undo"};
  Control BtnClearBreaks{form, "BtnClearBreaks", Kind::kButton, "&Remove all"};

  contract::Grid GrdMapping{form, "GrdMapping"};
  Control CBoxSourceFields{form, "CBoxSourceFields", Kind::kCombo};
  Control BtnMapEqualNames{form, "BtnMapEqualNames", Kind::kButton, "&Map equal names"};
  Control BtnMakeTable{form, "BtnMakeTable", Kind::kButton, "Ne&w table..."};
  Control BtnMapInOrder{form, "BtnMapInOrder", Kind::kButton, "Map in &order"};
  Control LblMapped{form, "LblMapped", Kind::kLabel};

  Control LblFilePreview{form, "LblFilePreview", Kind::kLabel, "File preview:"};
  Control LblTablePreview{form, "LblTablePreview", Kind::kLabel, "Table preview:"};
  Control CBoxHeader{form, "CBoxHeader", Kind::kCheck, "First l&ine holds the names"};
  Control PreviewText{form, "PreviewText", Kind::kLines};
  contract::Grid PreviewGrid{form, "PreviewGrid"};
  Control PreviewFixed{form, "PreviewFixed", Kind::kBreaks};
  Control LblStatus{form, "LblStatus", Kind::kLabel};
  Control LblEmptyTarget{form, "LblEmptyTarget", Kind::kLabel,
                         "The import empties the target table first."};
  Control LblOutcome{form, "LblOutcome", Kind::kLabel};
  Control BtnReport{form, "BtnReport", Kind::kButton, "Save report..."};

  Control BtnSettings{form, "BtnSettings", Kind::kButton, "&Settings..."};
  Control BtnSaveSetting{form, "BtnSaveSetting", Kind::kButton, "Sa&ve setting..."};
  Control BtnAdvanced{form, "BtnAdvanced", Kind::kButton, "&Advanced..."};
  Control BtnRejected{form, "BtnRejected", Kind::kButton, "Re&jected records..."};
  Control BtnHelp{form, "BtnHelp", Kind::kButton, "&Help"};
  Control BtnCancel{form, "BtnCancel", Kind::kButton, "Cancel"};
  Control BtnPrev{form, "BtnPrev", Kind::kButton, "< &Back"};
  Control BtnNext{form, "BtnNext", Kind::kButton, "&Next >"};
  Control BtnFinish{form, "BtnFinish", Kind::kButton, "&Finish"};
};

}  // namespace kelvorin::wizard
