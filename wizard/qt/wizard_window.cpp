#include "wizard/qt/wizard_window.h"

#include "wizard/qt/break_view.h"
#include "wizard/qt/mapping_table.h"
#include "wizard/qt/note_label.h"
#include "wizard/qt/text.h"

#include <QComboBox>
#include <QDragEnterEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QMimeData>
#include <QSplitter>
#include <QTimer>
#include <QVBoxLayout>

#include <optional>

namespace kelvorin::wizard::qt {

using contract::Control;

namespace {

class WizardWindow final : public FormWindow {
 public:
  explicit WizardWindow(frmKelvorin& form) : FormWindow(form), form_(form), c_(form.controls) {
    auto* all = new QVBoxLayout(this);
    splitter_ = new QSplitter(Qt::Vertical, this);
    splitter_->setChildrenCollapsible(false);
    splitter_->addWidget(Steps());
    splitter_->addWidget(Previews());
    splitter_->setStretchFactor(0, 0);
    splitter_->setStretchFactor(1, 1);
    connect(splitter_, &QSplitter::splitterMoved, this, [this] { moved_by_user_ = true; });
    splitter_->widget(0)->installEventFilter(this);
    all->addWidget(splitter_, 1);
    auto* outcome = new QGridLayout;
    outcome->addWidget(Wrapped(c_.LblEmptyTarget), 0, 0, 1, 2);
    outcome->addWidget(Wrapped(c_.LblOutcome), 1, 0);
    outcome->addWidget(Widget(c_.BtnReport), 1, 1, Qt::AlignTop);
    outcome->setColumnStretch(0, 1);
    QFont bold = font();
    bold.setBold(true);
    Widget(c_.LblEmptyTarget)->setFont(bold);
    all->addLayout(outcome);
    all->addLayout(
        ButtonRow({&c_.BtnSettings, &c_.BtnSaveSetting, &c_.BtnAdvanced, &c_.BtnRejected,
                   &c_.BtnHelp, nullptr, &c_.BtnCancel, &c_.BtnPrev, &c_.BtnNext, &c_.BtnFinish}));
    SetOrder({&c_.CBoxTables,       &c_.BtnNewTable,   &c_.CBoxTypeFormat,
              &c_.EdtFileName,      &c_.lstTables,     &c_.BtnBrowseFiles,
              &c_.BtnPaste,         &c_.BtnDetect,     &c_.BtnSuggestion,
              &c_.CBoxComma,        &c_.CBoxSemiColon, &c_.CBoxSpace,
              &c_.CBoxTab,          &c_.CBoxOtherChar, &c_.EdtSpecialSeparator,
              &c_.CBoxDelimiter,    &c_.EdtBreaks,     &c_.BtnUndoBreak,
              &c_.BtnClearBreaks,   &c_.GrdMapping,    &c_.CBoxSourceFields,
              &c_.BtnMapEqualNames, &c_.BtnMapInOrder, &c_.BtnMakeTable,
              &c_.CBoxHeader,       &c_.PreviewText,   &c_.PreviewGrid,
              &c_.PreviewFixed,     &c_.BtnReport,     &c_.BtnSettings,
              &c_.BtnSaveSetting,   &c_.BtnAdvanced,   &c_.BtnRejected,
              &c_.BtnHelp,          &c_.BtnCancel,     &c_.BtnPrev,
              &c_.BtnNext,          &c_.BtnFinish});
    setAcceptDrops(true);
    StartSize(9600, 7200);
    ShowPanes();
  }

 private:
  QWidget* Steps() {
    auto* pane = new QWidget;
    auto* steps = new QVBoxLayout(pane);
    steps->setContentsMargins(0, 0, 0, 0);
    TargetStep();
    SourceStep();
    SeparatorStep();
    BreakStep();
    MappingStep();
    for (Control* frame : {&c_.frameSteps_0, &c_.frameSteps_1, &c_.frameSteps_2, &c_.frameSteps_3})
      steps->addWidget(Widget(*frame));
    steps->addWidget(Widget(c_.frameSteps_4), 1);
    steps->addStretch(0);
    return pane;
  }

  void TargetStep() {
    auto* grid = new QGridLayout(Widget(c_.frameSteps_0));
    grid->addWidget(Label(c_.LblTables, c_.CBoxTables), 0, 0);
    grid->addWidget(Widget(c_.CBoxTables), 0, 1);
    grid->addWidget(Wrapped(c_.LblTableNote), 1, 1);
    grid->addWidget(Widget(c_.BtnNewTable), 0, 2);
    grid->setColumnStretch(1, 1);
  }

  void SourceStep() {
    auto* grid = new QGridLayout(Widget(c_.frameSteps_1));
    grid->addWidget(Label(c_.LblTypeFormat, c_.CBoxTypeFormat), 0, 0);
    grid->addWidget(Widget(c_.CBoxTypeFormat), 0, 1, 1, 3);
    grid->addWidget(Label(c_.LblSelectFile, c_.EdtFileName), 1, 0);
    grid->addWidget(Label(c_.LblLstTables, c_.lstTables), 1, 0);
    grid->addWidget(Widget(c_.EdtFileName), 1, 1);
    grid->addWidget(Widget(c_.lstTables), 1, 1);
    grid->addWidget(Widget(c_.BtnBrowseFiles), 1, 2);
    grid->addWidget(Wrapped(c_.LblDetected), 2, 1);
    grid->addWidget(Widget(c_.BtnDetect), 2, 2, 1, 2, Qt::AlignTop);
    grid->addWidget(Widget(c_.BtnPaste), 1, 3);
    grid->addWidget(Wrapped(c_.LblSuggestion), 3, 1);
    grid->addWidget(Widget(c_.BtnSuggestion), 3, 2, 1, 2, Qt::AlignTop);
    grid->setColumnStretch(1, 1);
  }

  void SeparatorStep() {
    auto* grid = new QGridLayout(Widget(c_.frameSteps_2));
    int column = 0;
    for (Control* box : {&c_.CBoxComma, &c_.CBoxSemiColon, &c_.CBoxSpace, &c_.CBoxTab})
      grid->addWidget(Widget(*box), 0, column++);
    auto* other = new QHBoxLayout;
    other->addWidget(Widget(c_.CBoxOtherChar));
    other->addWidget(Widget(c_.EdtSpecialSeparator));
    Widget(c_.EdtSpecialSeparator)->setMaximumWidth(fontMetrics().horizontalAdvance(u'0') * 6);
    grid->addLayout(other, 0, column++);
    auto* delimiter = new QHBoxLayout;
    delimiter->addWidget(Label(c_.LblDelimiter, c_.CBoxDelimiter));
    auto* list = qobject_cast<QComboBox*>(Widget(c_.CBoxDelimiter));
    list->setMinimumContentsLength(7);
    delimiter->addWidget(list);
    delimiter->addStretch(1);
    grid->addLayout(delimiter, 1, 0, 1, column);
    grid->setColumnStretch(column, 1);
  }

  void BreakStep() {
    auto* grid = new QGridLayout(Widget(c_.frameSteps_3));
    grid->addWidget(Label(c_.LblBreaks, c_.EdtBreaks), 0, 0);
    grid->addWidget(Widget(c_.EdtBreaks), 0, 1);
    grid->addWidget(Widget(c_.BtnUndoBreak), 0, 2);
    grid->addWidget(Widget(c_.BtnClearBreaks), 0, 3);
    grid->setColumnStretch(1, 1);
  }

  void MappingStep() {
    auto* box = new QVBoxLayout(Widget(c_.frameSteps_4));
    box->addWidget(Widget(c_.GrdMapping), 1);
    auto* row = new QHBoxLayout;
    row->addWidget(Widget(c_.BtnMapEqualNames));
    row->addWidget(Widget(c_.BtnMapInOrder));
    row->addWidget(Widget(c_.BtnMakeTable));
    row->addStretch(1);
    row->addWidget(Widget(c_.LblMapped));
    box->addLayout(row);
  }

  QWidget* Previews() {
    previews_ = new QWidget;
    auto* box = new QVBoxLayout(previews_);
    box->setContentsMargins(0, 0, 0, 0);
    auto* above = new QHBoxLayout;
    above->addWidget(Label(c_.LblFilePreview, c_.PreviewText));
    above->addWidget(Label(c_.LblTablePreview, c_.PreviewGrid));
    above->addStretch(1);
    above->addWidget(Widget(c_.CBoxHeader));
    box->addLayout(above);
    for (Control* preview :
         {&c_.PreviewText, static_cast<Control*>(&c_.PreviewGrid), &c_.PreviewFixed}) {
      box->addWidget(Widget(*preview), 1);
      Widget(*preview)->setMinimumHeight(Pixels(*this, 1500));
    }
    box->addWidget(Wrapped(c_.LblStatus));
    return previews_;
  }

  QWidget* Wrapped(Control& label) {
    auto* widget = dynamic_cast<NoteLabel*>(Widget(label));
    widget->Wrap();
    return widget;
  }

  QWidget* MakeSpecial(Control& control) override {
    if (&control == &c_.GrdMapping) {
      table_ = new MappingTable(this, c_.GrdMapping);
      table_->on_row = [this](int row) { ByUser([&] { c_.GrdMapping.UserRow(row); }); };
      table_->on_ignore = [this] { ByUser([this] { form_.IgnoreCurrentRow(); }); };
      return table_;
    }
    if (&control == &c_.PreviewFixed) {
      auto* view = new BreakView(this, form_.break_editor());
      view->by_user = [this](const std::function<void()>& act) { ByUser(act); };
      return view;
    }
    return nullptr;
  }

  bool CopySpecial(Control& control, QWidget* widget) override {
    if (&control == &c_.CBoxSourceFields && table_ != nullptr) {
      table_->SetChooser(qobject_cast<QComboBox*>(widget));
      table_->SetApart(control.apart);
      return false;
    }
    if (&control == &c_.PreviewFixed) {
      static_cast<BreakView*>(widget)->Refresh();
      return true;
    }
    return false;
  }

  // Return opens the list of source fields from the grid, and closes it from there.
  bool TakesReturn(Control& control) override {
    return &control == &c_.GrdMapping || &control == &c_.CBoxSourceFields;
  }

  void Copied() override {
    if (table_ != nullptr) table_->ShowRow(c_.GrdMapping.row(), c_.CBoxSourceFields.visible());
    ShowPanes();
  }

  // A note that came or went leaves its room to the preview.
  bool eventFilter(QObject* object, QEvent* event) override {
    if (object == splitter_->widget(0) && event->type() == QEvent::LayoutRequest &&
        !moved_by_user_ && shown_step_ != WizardStep::kMapping)
      QTimer::singleShot(0, this, [this] {
        if (!moved_by_user_ && shown_step_ != WizardStep::kMapping)
          splitter_->setSizes({1, splitter_->height()});
      });
    return FormWindow::eventFilter(object, event);
  }

  // The mapping shares the window with the preview; the other steps leave it nearly all.
  void ShowPanes() {
    const WizardStep step = form_.steps().current;
    if (step == shown_step_) return;
    shown_step_ = step;
    moved_by_user_ = false;
    previews_->setVisible(step != WizardStep::kTarget);
    const int all = splitter_->height();
    if (step == WizardStep::kMapping) {
      splitter_->setSizes({all * 6 / 10, all * 4 / 10});
    } else {
      splitter_->setSizes({1, all});
    }
    for (Control* first : {&c_.CBoxTables, &c_.EdtFileName, &c_.CBoxComma, &c_.PreviewFixed,
                           static_cast<Control*>(&c_.GrdMapping)})
      if (Widget(*first)->isVisibleTo(this) && c_.frame(step).visible()) Widget(*first)->setFocus();
  }

  // --- A file dropped on the source step counts as typed.
  static QString LocalFile(const QMimeData& data) {
    return data.urls().size() == 1 ? data.urls().constFirst().toLocalFile() : QString();
  }
  void dragEnterEvent(QDragEnterEvent* event) override {
    if (form_.steps().current == WizardStep::kSource && c_.EdtFileName.visible() &&
        !LocalFile(*event->mimeData()).isEmpty())
      event->acceptProposedAction();
  }
  void dropEvent(QDropEvent* event) override {
    const QString file = LocalFile(*event->mimeData());
    ByUser([&] { c_.EdtFileName.UserText(FromFileName(file)); });
  }

  frmKelvorin& form_;
  WizardControls& c_;
  QSplitter* splitter_ = nullptr;
  QWidget* previews_ = nullptr;
  MappingTable* table_ = nullptr;
  std::optional<WizardStep> shown_step_;
  bool moved_by_user_ = false;  // the line between a step and its preview
};

}  // namespace

std::unique_ptr<FormWindow> MakeWizardWindow(frmKelvorin& form) {
  return std::make_unique<WizardWindow>(form);
}

}  // namespace kelvorin::wizard::qt
