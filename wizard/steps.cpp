#include "contract/enums.h"
#include "settings/import_setting.h"
#include "wizard/frm_kelvorin.h"

namespace kelvorin::wizard {
namespace {

constexpr int kTargetStep = 0;
constexpr int kSourceStep = 1;
constexpr int kSeparatorStep = 2;
constexpr int kBreakStep = 3;
constexpr int kMappingStep = 4;

constexpr std::int32_t kDelimited = 0;
constexpr std::int32_t kFixed = 1;

}  // namespace

bool frmKelvorin::IsText() const noexcept {
  return state_.setting.TypeFormat < 3;
}

void frmKelvorin::GoTo(int step) {
  controls.frame(steps_.current).SetVisible(false);
  steps_.current = step;
  controls.frame(step).SetVisible(true);
  ShowCurrentStep();
}

void frmKelvorin::GoOn() {
  const std::int32_t kind = state_.setting.TypeFormat;
  switch (steps_.current) {
    case kMappingStep:
      return;
    case kSourceStep:
      GoTo(kind == kDelimited ? kSeparatorStep : kind == kFixed ? kBreakStep : kMappingStep);
      return;
    case kSeparatorStep:
      GoTo(kMappingStep);
      return;
    default:
      GoTo(steps_.current + 1);
  }
}

void frmKelvorin::BtnNext_Click() {
  GoOn();
  if (steps_.current == kMappingStep && std::exchange(new_table_wanted_, false))
    BtnNewTable_Click();
}

void frmKelvorin::BtnPrev_Click() {
  if (steps_.current == steps_.first) return;
  const std::int32_t kind = state_.setting.TypeFormat;
  switch (steps_.current) {
    case kMappingStep:
      GoTo(kind == kDelimited ? kSeparatorStep : kind == kFixed ? kBreakStep : kSourceStep);
      return;
    case kBreakStep:
      GoTo(kSourceStep);
      return;
    default:
      GoTo(steps_.current - 1);
  }
}

// Another kind of source came up on a later step: its own layout step, or the source where there is
// nothing to lay out.
void frmKelvorin::GoToStepOfKind() {
  const std::int32_t kind = state_.setting.TypeFormat;
  const int own = kind == kDelimited ? kSeparatorStep : kind == kFixed ? kBreakStep : kSourceStep;
  const bool lays_out = steps_.current == kSeparatorStep || steps_.current == kBreakStep;
  int step = lays_out ? own : steps_.current;
  if (step > kSourceStep && (!state_.source.exists || !(IsText() ? steps_.loaded : true)))
    step = kSourceStep;
  if (step != steps_.current) {
    GoTo(step);
  } else {
    ShowCurrentStep();
  }
}

void frmKelvorin::ShowCurrentStep() {
  WizardControls& c = controls;
  const int step = steps_.current;
  const bool text = IsText();
  c.PreviewText.SetVisible(step == kSourceStep && text);
  c.LblFilePreview.SetVisible(step == kSourceStep && text);
  c.LblTablePreview.SetVisible(step == kSourceStep && !text);
  c.PreviewGrid.SetVisible(step == kSeparatorStep || step == kMappingStep ||
                           (step == kSourceStep && !text));
  c.PreviewFixed.SetVisible(step == kBreakStep);
  c.LblStatus.SetVisible(step != kTargetStep);
  c.CBoxHeader.SetVisible(step != kTargetStep && text && state_.setting.TypeFormat != 2);
  c.CBoxHeader.SetEnabled(steps_.loaded);
  ShowHeader();
  c.CBoxSourceFields.SetVisible(step == kMappingStep);
  if (step == kMappingStep) {
    RefreshPreview();
    DisplayFieldNames();
    FillSourceFields();
  } else if (step != kTargetStep) {
    RefreshPreview();
  }
  UpdateControls();
}

void frmKelvorin::UpdateControls() {
  if (steps_.starting) return;
  WizardControls& c = controls;
  const bool mapped = settings::HasMapping(state_.setting.FieldMap);
  const bool open = state_.target.recordset != nullptr;
  const bool exists = state_.source.exists;
  bool next = true;
  bool finish = mapped && open && exists;
  bool save = mapped;
  switch (steps_.current) {
    case kTargetStep:
      next = open;
      finish = save = false;
      break;
    case kSourceStep:
      next = exists && steps_.loaded;
      finish = finish && steps_.loaded;
      save = exists && mapped;
      c.BtnAdvanced.SetEnabled(exists && open);
      c.LblFilePreview.SetEnabled(exists);
      c.LblDetected.SetCaption(IsText() && steps_.loaded
                                   ? DetectionText(state_.setting, state_.breaks, sample_)
                                   : SourceNote());
      break;
    case kMappingStep:
      next = false;
      save = AnyRowMapped();
      finish = save && open && exists;
      break;
    default:
      break;
  }
  c.LblEmptyTarget.SetVisible(state_.setting.EmptyTarget);
  ShowSuggestion();
  c.BtnPrev.SetEnabled(steps_.current != steps_.first);
  c.BtnNext.SetEnabled(next);
  c.BtnFinish.SetEnabled(finish && !running_);
  // Return must not import once more what has just been imported.
  c.BtnFinish.SetDefaultButton(!running_ && (!last_run_ || *last_run_ != TakeInventory()));
  c.BtnCancel.SetCaption(imported_something_ ? "Close" : "Cancel");
  c.BtnSaveSetting.SetEnabled(save);
  c.BtnDetect.SetEnabled(exists && IsText());
  c.BtnUndoBreak.SetEnabled(break_editor_.CanUndo());
  c.BtnClearBreaks.SetEnabled(!break_editor_.Positions().empty());
}

}  // namespace kelvorin::wizard
