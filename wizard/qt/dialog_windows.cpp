#include "wizard/frm_advanced.h"
#include "wizard/frm_new_table.h"
#include "wizard/frm_odbc_logon.h"
#include "wizard/frm_progress.h"
#include "wizard/frm_rejected.h"
#include "wizard/frm_settings.h"
#include "wizard/qt/form_window.h"
#include "wizard/qt/note_label.h"
#include "wizard/qt/text.h"
#include "wizard/qt/wizard_window.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QScreen>
#include <QStackedLayout>
#include <QTabBar>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>

namespace kelvorin::wizard::qt {

using contract::Control;

namespace {

// A wide edit box for small numbers would promise more than it takes.
void Narrow(QWidget* box) {
  const bool button = box->inherits("QAbstractButton");
  box->setMaximumWidth(box->fontMetrics().horizontalAdvance(u'0') * (button ? 5 : 10));
}

void Indent(QGridLayout* layout, int steps = 1) {
  for (int column = 0; column < steps; ++column) layout->setColumnMinimumWidth(column, 24);
}

class AdvancedWindow final : public FormWindow {
 public:
  explicit AdvancedWindow(frmAdvanced& form) : FormWindow(form), f_(form) {
    auto* all = new QVBoxLayout(this);
    all->addWidget(Widget(f_.TabStrip1));
    auto* pages = new QGridLayout;
    General();
    ImportMode();
    ErrorsTrace();
    CleanUp();
    // All pages in one cell: the window is as large as its largest page.
    for (Control* page : {&f_.Frame1_0, &f_.Frame1_1, &f_.Frame1_2, &f_.Frame1_3}) {
      QSizePolicy policy = Widget(*page)->sizePolicy();
      policy.setRetainSizeWhenHidden(true);
      Widget(*page)->setSizePolicy(policy);
      pages->addWidget(Widget(*page), 0, 0);
    }
    all->addLayout(pages, 1);
    all->addLayout(ButtonRow({nullptr, &f_.bntOK, &f_.bntCancel}));
    SetOrder({&f_.TabStrip1,
              &f_.RBtnCRLF,
              &f_.RBtnCR,
              &f_.RBtnLF,
              &f_.RBtnOther,
              &f_.EdtOtherChar,
              &f_.RBtnNoSeparator,
              &f_.EdtRecLength,
              &f_.CBoxQuotedLineEnds,
              &f_.CBoxOem2Ansi,
              &f_.CBoxUpper,
              &f_.CBoxLower,
              &f_.EdtStartLine,
              &f_.CBoxAllImport,
              &f_.EdtNbLineMax,
              &f_.RBtnAppendRecords,
              &f_.RBtnUpdateRecords,
              &f_.RBtnUseIndex,
              &f_.CBoxIndexes,
              &f_.CBoxKeyLookUp,
              &f_.RBtnTableOrder,
              &f_.CBoxAppendFields,
              &f_.CBoxAppendIfEof,
              &f_.CBoxErrors,
              &f_.CBoxStopIfErrors,
              &f_.EdtMaxErrors,
              &f_.RBtnTraceOn,
              &f_.RBtnTraceOff,
              &f_.EdtLogFile,
              &f_.BtnBrowseLog,
              &f_.CBoxLogAppend,
              &f_.CBoxEmptyTarget,
              &f_.CBoxDeleteImportFile,
              &f_.CBoxAnsiPage,
              &f_.CBoxOemPage,
              &f_.CBoxDateOrder,
              &f_.CBoxDecimal,
              &f_.EdtNullText,
              &f_.CBoxTrim,
              &f_.CBoxExact,
              &f_.GrdSample,
              &f_.bntOK,
              &f_.bntCancel});
  }

 private:
  void keyPressEvent(QKeyEvent* event) override {
    const bool control = (event->modifiers() & Qt::ControlModifier) != 0;
    const int step =
        control && (event->key() == Qt::Key_PageDown || event->key() == Qt::Key_Tab)     ? 1
        : control && (event->key() == Qt::Key_PageUp || event->key() == Qt::Key_Backtab) ? -1
                                                                                         : 0;
    if (step == 0) return FormWindow::keyPressEvent(event);
    auto* tabs = qobject_cast<QTabBar*>(Widget(f_.TabStrip1));
    tabs->setCurrentIndex((tabs->currentIndex() + step + tabs->count()) % tabs->count());
  }

  void General() {
    auto* separators = new QGridLayout(Widget(f_.FrameRecSep));
    separators->addWidget(Widget(f_.RBtnCRLF), 0, 0);
    separators->addWidget(Widget(f_.RBtnCR), 0, 1);
    separators->addWidget(Widget(f_.RBtnLF), 0, 2);
    separators->addWidget(Widget(f_.RBtnOther), 1, 0);
    separators->addWidget(Widget(f_.EdtOtherChar), 1, 1, 1, 2);
    separators->addWidget(Widget(f_.RBtnNoSeparator), 2, 0, 1, 2);
    separators->addWidget(Widget(f_.EdtRecLength), 2, 2);
    separators->addWidget(Widget(f_.CBoxQuotedLineEnds), 3, 0, 1, 4);
    separators->setColumnStretch(3, 1);
    for (Control* box : {&f_.EdtOtherChar, &f_.EdtRecLength, &f_.EdtStartLine, &f_.EdtNbLineMax})
      Narrow(Widget(*box));
    auto* page = new QVBoxLayout(Widget(f_.Frame1_0));
    page->addWidget(Widget(f_.FrameRecSep));
    auto* text = new QHBoxLayout;
    for (Control* box : {&f_.CBoxOem2Ansi, &f_.CBoxUpper, &f_.CBoxLower})
      text->addWidget(Widget(*box));
    text->addStretch(1);
    page->addLayout(text);
    auto* lines = new QGridLayout;
    lines->addWidget(Label(f_.LblStartLine, f_.EdtStartLine), 0, 0);
    lines->addWidget(Widget(f_.EdtStartLine), 0, 1);
    lines->addWidget(Widget(f_.CBoxAllImport), 1, 0, 1, 2);
    lines->addWidget(Label(f_.LblNbLinesToImport, f_.EdtNbLineMax), 2, 0);
    lines->addWidget(Widget(f_.EdtNbLineMax), 2, 1);
    lines->setColumnStretch(2, 1);
    page->addLayout(lines);
    page->addStretch(1);
  }

  void ImportMode() {
    auto* page = new QGridLayout(Widget(f_.Frame1_1));
    page->addWidget(Widget(f_.RBtnAppendRecords), 0, 0, 1, 4);
    page->addWidget(Widget(f_.RBtnUpdateRecords), 1, 0, 1, 4);
    page->addWidget(Widget(f_.RBtnUseIndex), 2, 1, 1, 3);
    page->addWidget(Label(f_.LblIndexDescr, f_.CBoxIndexes), 3, 2);
    page->addWidget(Widget(f_.CBoxIndexes), 3, 3);
    page->addWidget(Widget(f_.CBoxKeyLookUp), 4, 2, 1, 2);
    page->addWidget(Widget(f_.RBtnTableOrder), 5, 1, 1, 3);
    page->addWidget(Widget(f_.CBoxAppendFields), 6, 1, 1, 3);
    page->addWidget(Widget(f_.CBoxAppendIfEof), 7, 1, 1, 3);
    Indent(page, 2);
    page->setColumnStretch(3, 1);
    page->setRowStretch(8, 1);
  }

  void ErrorsTrace() {
    auto* page = new QGridLayout(Widget(f_.Frame1_2));
    page->addWidget(Widget(f_.CBoxErrors), 0, 0, 1, 4);
    page->addWidget(Widget(f_.CBoxStopIfErrors), 1, 0, 1, 4);
    page->addWidget(Label(f_.LblMaxErrors, f_.EdtMaxErrors), 2, 1);
    page->addWidget(Widget(f_.EdtMaxErrors), 2, 2);
    Narrow(Widget(f_.EdtMaxErrors));
    Narrow(Widget(f_.BtnBrowseLog));
    auto* trace = new QHBoxLayout;
    for (Control* control : {&f_.LblTrace, &f_.RBtnTraceOn, &f_.RBtnTraceOff})
      trace->addWidget(Widget(*control));
    trace->addStretch(1);
    page->addLayout(trace, 3, 0, 1, 4);
    page->addWidget(Label(f_.LblFilePath, f_.EdtLogFile), 4, 1);
    page->addWidget(Widget(f_.EdtLogFile), 4, 2);
    page->addWidget(Widget(f_.BtnBrowseLog), 4, 3);
    page->addWidget(Widget(f_.CBoxLogAppend), 5, 1, 1, 3);
    Indent(page);
    page->setColumnStretch(2, 1);
    page->setRowStretch(6, 1);
  }

  void CleanUp() {
    auto* page = new QVBoxLayout(Widget(f_.Frame1_3));
    page->addWidget(Widget(f_.CBoxEmptyTarget));
    page->addWidget(Widget(f_.CBoxDeleteImportFile));
    auto* values = new QGridLayout;
    values->addWidget(Label(f_.LblAnsiPage, f_.CBoxAnsiPage), 0, 0);
    values->addWidget(Widget(f_.CBoxAnsiPage), 0, 1);
    values->addWidget(Label(f_.LblOemPage, f_.CBoxOemPage), 0, 2);
    values->addWidget(Widget(f_.CBoxOemPage), 0, 3);
    values->addWidget(Label(f_.LblDateOrder, f_.CBoxDateOrder), 1, 0);
    values->addWidget(Widget(f_.CBoxDateOrder), 1, 1);
    values->addWidget(Label(f_.LblDecimal, f_.CBoxDecimal), 1, 2);
    values->addWidget(Widget(f_.CBoxDecimal), 1, 3);
    values->addWidget(Label(f_.LblNullText, f_.EdtNullText), 2, 0);
    values->addWidget(Widget(f_.EdtNullText), 2, 1);
    values->addWidget(Widget(f_.CBoxTrim), 2, 2, 1, 2);
    values->addWidget(Widget(f_.CBoxExact), 3, 0, 1, 4);
    values->setColumnStretch(1, 1);
    values->setColumnStretch(3, 1);
    page->addLayout(values);
    page->addWidget(Widget(f_.GrdSample), 1);
    Widget(f_.GrdSample)->setMinimumHeight(Pixels(*this, 1500));
  }

  frmAdvanced& f_;
};

class SettingsWindow final : public FormWindow {
 public:
  explicit SettingsWindow(frmSettings& form) : FormWindow(form), f_(form) {
    auto* all = new QGridLayout(this);
    all->addWidget(Label(f_.Label1, f_.LBoxSettings), 0, 0);
    all->addWidget(Widget(f_.LBoxSettings), 1, 0, 6, 1);
    int row = 1;
    for (Control* button : {&f_.BtnOpen, &f_.BtnDelete, &f_.BtnRename, &f_.BtnCopy, &f_.BtnCancel})
      all->addWidget(Widget(*button), row++, 1);
    all->setRowStretch(row, 1);
    all->setColumnStretch(0, 1);
    SetOrder(
        {&f_.LBoxSettings, &f_.BtnOpen, &f_.BtnDelete, &f_.BtnRename, &f_.BtnCopy, &f_.BtnCancel});
    StartSize(5400, 3900);
    move(screen()->availableGeometry().center() - rect().center());
  }

 private:
  void keyPressEvent(QKeyEvent* event) override {
    if (event->key() != Qt::Key_Delete) return FormWindow::keyPressEvent(event);
    ByUser([this] { f_.BtnDelete.UserClick(); });
  }
  frmSettings& f_;
};

// A record that moves from a sheet to a drum, in the colours of the palette.
class Animation final : public QWidget {
 public:
  Animation(QWidget* parent, frmProgress& form) : QWidget(parent), form_(form) {
    setFixedSize(Pixels(*this, 4200), Pixels(*this, 780));
  }

 private:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double unit = height() / 10.0;
    painter.setPen(QPen(palette().color(QPalette::WindowText), unit / 3));
    painter.setBrush(palette().base());
    const QRectF sheet(unit, unit, unit * 6.5, unit * 8);
    painter.drawRect(sheet);
    for (int line = 1; line < 5; ++line)
      painter.drawLine(QPointF(sheet.left() + unit, sheet.top() + line * unit * 1.6),
                       QPointF(sheet.right() - unit, sheet.top() + line * unit * 1.6));
    const QRectF drum(width() - unit * 9, unit, unit * 8, unit * 8);
    painter.drawRect(drum.adjusted(0, unit, 0, -unit));
    painter.drawEllipse(QRectF(drum.left(), drum.bottom() - unit * 2, drum.width(), unit * 2));
    painter.drawEllipse(QRectF(drum.left(), drum.top(), drum.width(), unit * 2));
    const double way = (drum.left() - sheet.right() - unit * 5) / (frmProgress::kFrames - 1);
    painter.setBrush(palette().highlight());
    painter.drawRect(QRectF(sheet.right() + unit + way * (std::max(form_.shown_frame(), 1) - 1),
                            unit * 4, unit * 3, unit * 2));
  }
  frmProgress& form_;
};

class ProgressWindow final : public FormWindow {
 public:
  explicit ProgressWindow(frmProgress& form) : FormWindow(form), f_(form) {
    auto* all = new QVBoxLayout(this);
    auto* animation = new Animation(this, f_);
    animation->setObjectName(QStringLiteral("Image1"));
    all->addWidget(animation, 0, Qt::AlignHCenter);
    all->addWidget(Widget(f_.ProgressBar));
    all->addWidget(Widget(f_.LblRecords));
    all->addWidget(Widget(f_.LblRate));
    all->addLayout(ButtonRow({nullptr, &f_.Command1, nullptr}));
    all->setSizeConstraint(QLayout::SetFixedSize);
    Widget(f_.ProgressBar)->setFixedWidth(Pixels(*this, 6000));
    auto* timer = new QTimer(this);
    timer->setObjectName(QStringLiteral("Timer1"));
    connect(timer, &QTimer::timeout, this, [this, animation] {
      f_.Timer1_Timer();
      animation->update();
    });
    timer->start(frmProgress::kTimerMilliseconds);
  }

 private:
  frmProgress& f_;
};

class LogonWindow final : public FormWindow {
 public:
  explicit LogonWindow(frmODBCLogon& form) : FormWindow(form) {
    frmODBCLogon& f = form;
    auto* box = new QGridLayout(Widget(f.fraConnection));
    box->addWidget(Label(f.LblDataBase, f.EdtDBName), 0, 0);
    box->addWidget(Widget(f.EdtDBName), 0, 1);
    box->addWidget(Widget(f.BtnBrowseDB), 0, 2);
    box->addWidget(Label(f.LblDatasource, f.CBoxDataSources), 1, 0);
    box->addWidget(Widget(f.CBoxDataSources), 1, 1, 1, 2);
    box->addWidget(Label(f.lblLabels_0, f.EdtUserId), 2, 0);
    box->addWidget(Widget(f.EdtUserId), 2, 1, 1, 2);
    box->addWidget(Label(f.lblLabels_1, f.EdtPassword), 3, 0);
    box->addWidget(Widget(f.EdtPassword), 3, 1, 1, 2);
    box->setColumnMinimumWidth(1, Pixels(*this, 3900));
    Narrow(Widget(f.BtnBrowseDB));
    auto* all = new QVBoxLayout(this);
    all->addWidget(Widget(f.fraConnection));
    all->addLayout(ButtonRow({nullptr, &f.BtnOk, &f.cmdCancel}));
    all->setSizeConstraint(QLayout::SetFixedSize);
    SetOrder({&f.EdtDBName, &f.BtnBrowseDB, &f.CBoxDataSources, &f.EdtUserId, &f.EdtPassword,
              &f.BtnOk, &f.cmdCancel});
  }
};

class PasswordWindow final : public FormWindow {
 public:
  explicit PasswordWindow(frmDBPWD& form) : FormWindow(form) {
    auto* all = new QVBoxLayout(this);
    all->addWidget(Label(form.lblLabels, form.txtPassword));
    all->addWidget(Widget(form.txtPassword));
    all->addLayout(ButtonRow({nullptr, &form.cmdOK, &form.cmdCancel}));
    all->setSizeConstraint(QLayout::SetFixedSize);
    Widget(form.txtPassword)->setMinimumWidth(Pixels(*this, 3900));
    SetOrder({&form.txtPassword, &form.cmdOK, &form.cmdCancel});
  }
};

class RejectedWindow final : public FormWindow {
 public:
  explicit RejectedWindow(frmRejected& form) : FormWindow(form) {
    auto* all = new QVBoxLayout(this);
    auto* outcome = dynamic_cast<NoteLabel*>(Widget(form.LblOutcome));
    outcome->Wrap();
    all->addWidget(outcome);
    all->addWidget(Widget(form.LblRejected));
    all->addWidget(Widget(form.GrdRejected), 1);
    all->addLayout(ButtonRow({&form.BtnSaveRejected, nullptr, &form.BtnClose}));
    qobject_cast<QTableWidget*>(Widget(form.GrdRejected))
        ->horizontalHeader()
        ->setStretchLastSection(true);
    SetOrder({&form.GrdRejected, &form.BtnSaveRejected, &form.BtnClose});
    StartSize(9600, 5400);
  }
};

class NewTableWindow final : public FormWindow {
 public:
  explicit NewTableWindow(frmNewTable& form) : FormWindow(form), f_(form) {
    auto* all = new QVBoxLayout(this);
    auto* name = new QHBoxLayout;
    name->addWidget(Label(f_.LblTableName, f_.EdtTableName));
    name->addWidget(Widget(f_.EdtTableName), 1);
    all->addLayout(name);
    auto* table = qobject_cast<QTableWidget*>(Widget(f_.GrdFields));
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->horizontalHeader()->setStretchLastSection(true);
    connect(table, &QTableWidget::currentCellChanged, this,
            [this](int row) { ByUser([&] { f_.GrdFields.UserRow(row); }); });
    all->addWidget(table, 1);
    auto* field = new QHBoxLayout;
    field->addWidget(Label(f_.LblFieldName, f_.EdtFieldName));
    field->addWidget(Widget(f_.EdtFieldName), 1);
    field->addWidget(Label(f_.LblFieldType, f_.CBoxFieldType));
    field->addWidget(Widget(f_.CBoxFieldType));
    field->addWidget(Label(f_.LblFieldSize, f_.EdtFieldSize));
    field->addWidget(Widget(f_.EdtFieldSize));
    Narrow(Widget(f_.EdtFieldSize));
    Widget(f_.EdtFieldName)->setMinimumWidth(Pixels(*this, 1800));
    Widget(f_.EdtFieldSize)->setMinimumWidth(Pixels(*this, 700));
    all->addLayout(field);
    all->addWidget(Widget(f_.CBoxFieldWanted));
    all->addLayout(ButtonRow({nullptr, &f_.BtnMake, &f_.BtnNewTableCancel}));
    SetOrder({&f_.EdtTableName, &f_.GrdFields, &f_.EdtFieldName, &f_.CBoxFieldType,
              &f_.EdtFieldSize, &f_.CBoxFieldWanted, &f_.BtnMake, &f_.BtnNewTableCancel});
    StartSize(9000, 6000);
  }

 private:
  frmNewTable& f_;
};

}  // namespace

std::unique_ptr<FormWindow> MakeWindow(contract::Form& form) {
  if (auto* wizard = dynamic_cast<frmKelvorin*>(&form)) return MakeWizardWindow(*wizard);
  if (auto* options = dynamic_cast<frmAdvanced*>(&form))
    return std::make_unique<AdvancedWindow>(*options);
  if (auto* list = dynamic_cast<frmSettings*>(&form))
    return std::make_unique<SettingsWindow>(*list);
  if (auto* progress = dynamic_cast<frmProgress*>(&form))
    return std::make_unique<ProgressWindow>(*progress);
  if (auto* logon = dynamic_cast<frmODBCLogon*>(&form))
    return std::make_unique<LogonWindow>(*logon);
  if (auto* password = dynamic_cast<frmDBPWD*>(&form))
    return std::make_unique<PasswordWindow>(*password);
  if (auto* table = dynamic_cast<frmNewTable*>(&form))
    return std::make_unique<NewTableWindow>(*table);
  return std::make_unique<RejectedWindow>(dynamic_cast<frmRejected&>(form));
}

}  // namespace kelvorin::wizard::qt
