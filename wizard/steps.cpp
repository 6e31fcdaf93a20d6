#include "base/language.h"
#include "contract/enums.h"
#include "settings/import_setting.h"
#include "wizard/frm_kelvorin.h"

namespace kelvorin::wizard {

using base::Tr;
namespace {

// Where a source of this kind is laid out; the source step itself where there is nothing to lay
// out.
WizardStep LayoutStep(std::int32_t kind) noexcept {
  using enum contract::FileTypeFormat;
  return kind == static_cast<std::int32_t>(TVariable) ? WizardStep::kSeparators
         : kind == static_cast<std::int32_t>(TFixed)  ? WizardStep::kBreaks
                                                      : WizardStep::kSource;
}

}  // namespace

bool frmKelvorin::IsText() const noexcept {
  return contract::IsTextKind(state().setting.TypeFormat);
}

void frmKelvorin::GoTo(WizardStep step) {
  controls.frame(steps_.current).SetVisible(false);
  steps_.current = step;
  controls.frame(step).SetVisible(true);
  ShowCurrentStep();
}

void frmKelvorin::GoOn() {
  const WizardStep layout = LayoutStep(state().setting.TypeFormat);
  switch (steps_.current) {
    case WizardStep::kTarget:
      return GoTo(WizardStep::kSource);
    case WizardStep::kSource:
      return GoTo(layout == WizardStep::kSource ? WizardStep::kMapping : layout);
    case WizardStep::kSeparators:
    case WizardStep::kBreaks:
      return GoTo(WizardStep::kMapping);
    case WizardStep::kMapping:
      return;
  }
}

void frmKelvorin::BtnNext_Click() {
  GoOn();
  if (steps_.current == WizardStep::kMapping && std::exchange(new_table_wanted_, false))
    BtnNewTable_Click();
}

void frmKelvorin::BtnPrev_Click() {
  if (steps_.current == steps_.first) return;
  switch (steps_.current) {
    case WizardStep::kTarget:
      return;
    case WizardStep::kSource:
      return GoTo(WizardStep::kTarget);
    case WizardStep::kSeparators:
    case WizardStep::kBreaks:
      return GoTo(WizardStep::kSource);
    case WizardStep::kMapping:
      return GoTo(LayoutStep(state().setting.TypeFormat));
  }
}

// Another kind of source came up on a later step: its own layout step, or the source where there is
// nothing to lay out.
void frmKelvorin::GoToStepOfKind() {
  const WizardStep own = LayoutStep(state().setting.TypeFormat);
  const bool lays_out =
      steps_.current == WizardStep::kSeparators || steps_.current == WizardStep::kBreaks;
  WizardStep step = lays_out ? own : steps_.current;
  if (step > WizardStep::kSource && (!state().source.exists || !(IsText() ? steps_.loaded : true)))
    step = WizardStep::kSource;
  if (step != steps_.current) {
    GoTo(step);
  } else {
    ShowCurrentStep();
  }
}

void frmKelvorin::ShowCurrentStep() {
  WizardControls& c = controls;
  const WizardStep step = steps_.current;
  const bool text = IsText();
  c.PreviewText.SetVisible(step == WizardStep::kSource && text);
  c.LblFilePreview.SetVisible(step == WizardStep::kSource && text);
  c.LblTablePreview.SetVisible(step == WizardStep::kSource && !text);
  c.PreviewGrid.SetVisible(step == WizardStep::kSeparators || step == WizardStep::kMapping ||
                           (step == WizardStep::kSource && !text));
  c.PreviewFixed.SetVisible(step == WizardStep::kBreaks);
  c.LblStatus.SetVisible(step != WizardStep::kTarget);
  c.CBoxHeader.SetVisible(step != WizardStep::kTarget && text &&
                          state().setting.TypeFormat != contract::kHtmlTags);
  c.CBoxHeader.SetEnabled(steps_.loaded);
  ShowHeader();
  c.CBoxSourceFields.SetVisible(step == WizardStep::kMapping);
  if (step == WizardStep::kMapping) {
    RefreshPreview();
    DisplayFieldNames();
    FillSourceFields();
  } else if (step != WizardStep::kTarget) {
    RefreshPreview();
  }
  UpdateControls();
}

void frmKelvorin::UpdateControls() {
  if (steps_.starting) return;
  WizardControls& c = controls;
  const bool mapped = settings::HasMapping(state().setting.FieldMap);
  const bool open = state().target.recordset != nullptr;
  const bool exists = state().source.exists;
  bool next = true;
  bool finish = mapped && open && exists;
  bool save = mapped;
  switch (steps_.current) {
    case WizardStep::kTarget:
      next = open;
      finish = save = false;
      break;
    case WizardStep::kSource:
      next = exists && steps_.loaded;
      finish = finish && steps_.loaded;
      save = exists && mapped;
      c.BtnAdvanced.SetEnabled(exists && open);
      c.LblFilePreview.SetEnabled(exists);
      c.LblDetected.SetCaption(IsText() && steps_.loaded
                                   ? DetectionText(state().setting, state().breaks, sample_)
                                   : SourceNote());
      break;
    case WizardStep::kMapping:
      next = false;
      save = AnyRowMapped();
      finish = save && open && exists;
      break;
    default:
      break;
  }
  c.LblEmptyTarget.SetVisible(state().setting.EmptyTarget);
  ShowSuggestion();
  c.BtnPrev.SetEnabled(steps_.current != steps_.first);
  c.BtnNext.SetEnabled(next);
  c.BtnFinish.SetEnabled(finish && !running_);
  // Return must not import once more what has just been imported.
  c.BtnFinish.SetDefaultButton(!running_ && (!last_run_ || *last_run_ != TakeInventory()));
  c.BtnCancel.SetCaption(Tr(imported_something_ ? "Close" : "Cancel"));
  c.BtnSaveSetting.SetEnabled(save);
  c.BtnDetect.SetEnabled(exists && IsText());
  c.BtnUndoBreak.SetEnabled(break_editor_.CanUndo());
  c.BtnClearBreaks.SetEnabled(!break_editor_.Positions().empty());
}

}  // namespace kelvorin::wizard
