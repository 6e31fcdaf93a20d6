#include "wizard/qt/form_window.h"

#include "wizard/qt/key_guard.h"
#include "wizard/qt/note_label.h"
#include "wizard/qt/seen_combo.h"
#include "wizard/qt/text.h"
#include "wizard/qt/window_memory.h"

#include <QAccessible>
#include <QButtonGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QShortcut>
#include <QStyle>
#include <QTabBar>
#include <QTableWidget>
#include <QTimer>
#include <QWindow>

#include <algorithm>

namespace kelvorin::wizard::qt {

using contract::Control;
using contract::ControlKind;

FormWindow::FormWindow(contract::Form& form) : form_(form) {
  setObjectName(ToText(form.name()));
  setWindowTitle(ToText(form.caption()));
  setWindowFlag(Qt::WindowContextHelpButtonHint, false);
  form.SetView(this);
}

FormWindow::~FormWindow() {
  if (form_.view() == this) form_.SetView(nullptr);
}

void FormWindow::OpenOver(QWidget& owner) {
  owner_ = &owner;
  windowHandle()->setTransientParent(owner.windowHandle());
}

void FormWindow::Run() {
  form_.SetShown(true);
  Flush();
  if (owner_ != nullptr && !testAttribute(Qt::WA_Moved)) {
    if (layout() != nullptr) layout()->activate();
    const QSize size = start_size_.isEmpty() ? sizeHint() : start_size_;
    QRect place(QPoint(), size);
    place.moveCenter(owner_->frameGeometry().center());
    const QRect room = screen()->availableGeometry();
    move(std::clamp(place.left(), room.left(), std::max(room.right() - size.width(), room.left())),
         std::clamp(place.top(), room.top(), std::max(room.bottom() - size.height(), room.top())));
  }
  setModal(true);
  exec();
  form_.SetShown(false);
}

// --- Widgets

QWidget* FormWindow::Widget(Control& control) {
  QWidget*& widget = widgets_[&control];
  if (widget != nullptr) return widget;
  QWidget* made = MakeSpecial(control);
  if (made == nullptr) made = Make(control);
  made->setObjectName(ToText(control.name()));
  made->installEventFilter(this);
  if (control.shortcut != 0) {
    // Of the widget, not of the window: while it is hidden the letter is another control's.
    auto* shortcut = new QShortcut(
        QKeySequence(QStringLiteral("Alt+") + QChar::fromLatin1(control.shortcut)), made);
    connect(shortcut, &QShortcut::activated, made, [made] {
      if (auto* button = qobject_cast<QAbstractButton*>(made)) {
        button->click();
      } else {
        made->setFocus(Qt::ShortcutFocusReason);
      }
    });
  }
  widgets_[&control] = made;
  Copy(control, made);
  return made;
}

QWidget* FormWindow::Make(Control& control) {
  Control* const at = &control;
  switch (control.kind()) {
    case ControlKind::kLabel: {
      auto* label = new NoteLabel(this);
      return label;
    }
    case ControlKind::kButton: {
      auto* button = new QPushButton(this);
      button->setAutoDefault(false);
      connect(button, &QPushButton::clicked, this,
              [this, at] { ByUser([at] { at->UserClick(); }); });
      return button;
    }
    case ControlKind::kEdit: {
      auto* edit = new QLineEdit(this);
      if (control.password) edit->setEchoMode(QLineEdit::Password);
      edit->setAcceptDrops(!control.file_name);  // the window takes files
      connect(edit, &QLineEdit::textEdited, this, [this, at](const QString& text) {
        ByUser([&] { at->UserText(at->file_name ? FromFileName(text) : FromText(text)); });
      });
      return edit;
    }
    case ControlKind::kCheck: {
      auto* box = new QCheckBox(this);
      connect(box, &QCheckBox::clicked, this, [this, at] { ByUser([at] { at->UserClick(); }); });
      return box;
    }
    case ControlKind::kOption: {
      auto* option = new QRadioButton(this);
      QButtonGroup*& group = groups_[control.group];
      if (group == nullptr) group = new QButtonGroup(this);
      group->addButton(option);
      connect(option, &QRadioButton::clicked, this,
              [this, at] { ByUser([at] { at->UserClick(); }); });
      return option;
    }
    case ControlKind::kCombo: {
      auto* combo = new QComboBox(this);
      combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
      combo->setMinimumContentsLength(12);
      SeeComboNames();
      connect(combo, &QComboBox::activated, this,
              [this, at](int index) { ByUser([=] { at->UserSelect(index); }); });
      return combo;
    }
    case ControlKind::kList: {
      auto* list = new QListWidget(this);
      connect(list, &QListWidget::currentRowChanged, this,
              [this, at](int row) { ByUser([=] { at->UserSelect(row); }); });
      connect(list, &QListWidget::itemDoubleClicked, this,
              [this, at] { ByUser([at] { at->UserDoubleClick(); }); });
      return list;
    }
    case ControlKind::kFrame: {
      if (control.caption().empty()) return new QWidget(this);
      return new QGroupBox(this);
    }
    case ControlKind::kTabs: {
      auto* tabs = new QTabBar(this);
      tabs->setExpanding(false);
      tabs->setUsesScrollButtons(false);
      tabs->setElideMode(Qt::ElideNone);
      connect(tabs, &QTabBar::currentChanged, this,
              [this, at](int index) { ByUser([=] { at->UserSelect(index); }); });
      return tabs;
    }
    case ControlKind::kProgress: {
      auto* bar = new QProgressBar(this);
      bar->setTextVisible(false);
      return bar;
    }
    case ControlKind::kGrid: {
      auto* table = new QTableWidget(this);
      table->setEditTriggers(QAbstractItemView::NoEditTriggers);
      table->setTabKeyNavigation(false);
      table->setSelectionMode(QAbstractItemView::ContiguousSelection);
      table->setWordWrap(false);
      table->verticalHeader()->hide();
      table->horizontalHeader()->setMinimumSectionSize(Pixels(*this, 150));
      table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
      table->horizontalHeader()->setHighlightSections(false);
      return table;
    }
    case ControlKind::kLines:
    case ControlKind::kBreaks: {
      auto* lines = new QPlainTextEdit(this);
      lines->setReadOnly(true);
      lines->setTabChangesFocus(true);
      lines->setLineWrapMode(QPlainTextEdit::NoWrap);
      lines->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
      return lines;
    }
  }
  return nullptr;
}

QWidget* FormWindow::Label(Control& label, Control& buddy) {
  auto* widget = qobject_cast<QLabel*>(Widget(label));
  widget->setBuddy(Widget(buddy));
  return widget;
}

QBoxLayout* FormWindow::ButtonRow(std::initializer_list<Control*> buttons) {
  auto* row = new QHBoxLayout;
  for (Control* button : buttons) {
    if (button == nullptr) {
      row->addStretch(1);
    } else {
      row->addWidget(Widget(*button));
    }
  }
  return row;
}

void FormWindow::StartSize(int width_twips, int height_twips) {
  const QSize remembered = RememberedSize(objectName());
  const QSize twips = remembered.isEmpty() ? QSize(width_twips, height_twips) : remembered;
  resize(QSize(Pixels(*this, twips.width()), Pixels(*this, twips.height()))
             .boundedTo(screen()->availableSize()));
  start_size_ = size();
}

void FormWindow::SetOrder(std::initializer_list<Control*> order) {
  QWidget* before = nullptr;
  for (Control* control : order) {
    QWidget* widget = Widget(*control);
    if (before != nullptr) setTabOrder(before, widget);
    before = widget;
  }
}

// --- From records to widgets

void FormWindow::ControlChanged(Control& control) {
  changed_.insert(&control);
  if (flush_posted_) return;
  flush_posted_ = true;
  QMetaObject::invokeMethod(
      this, [this] { Flush(); }, Qt::QueuedConnection);
}

void FormWindow::Flush() {
  flush_posted_ = false;
  if (changed_.isEmpty()) return;
  const QSet<Control*> changed = std::exchange(changed_, {});
  for (Control* control : changed) {
    const auto found = widgets_.constFind(control);
    if (found != widgets_.constEnd()) Copy(*control, *found);
  }
  UpdateDefaultButton();
  Copied();
}

void FormWindow::ByUser(const std::function<void()>& act) {
  act();
  if (!closed_) Flush();
}

void FormWindow::CopyButton(Control& control, QWidget* widget) {
  auto* button = qobject_cast<QAbstractButton*>(widget);
  if (button == nullptr) return;
  const QString caption = ToText(control.caption());
  if (button->text() != caption) button->setText(caption);
  if (control.kind() == ControlKind::kCheck || control.value()) button->setChecked(control.value());
}

void FormWindow::CopyNames(Control& control, QWidget* widget) {
  const bool named = !control.accessible_name.empty();
  // Buttons and labels without a name of their own are called what they say; frames too.
  const QString name = named ? ToText(control.accessible_name) : PlainCaption(control.caption());
  if (widget->accessibleName() != name) widget->setAccessibleName(name);
  if (control.tool_tip.empty()) return;
  widget->setToolTip(ToText(control.tool_tip));
  widget->setAccessibleDescription(ToText(control.tool_tip));
}

void FormWindow::Copy(Control& control, QWidget* widget) {
  widget->setEnabled(control.enabled());
  if (widget->isVisibleTo(widget->parentWidget()) != control.visible())
    widget->setVisible(control.visible());
  CopyNames(control, widget);
  const QSignalBlocker quiet(widget);
  if (CopySpecial(control, widget)) return;
  switch (control.kind()) {
    case ControlKind::kLabel: {
      dynamic_cast<NoteLabel&>(*widget).Show(ToText(control.caption()));
      return;
    }
    case ControlKind::kButton:
    case ControlKind::kCheck:
    case ControlKind::kOption:
      CopyButton(control, widget);
      return;
    case ControlKind::kEdit: {
      auto* edit = qobject_cast<QLineEdit*>(widget);
      const QString text = control.file_name ? ToFileName(control.text()) : ToText(control.text());
      if (edit->text() != text) edit->setText(text);
      return;
    }
    case ControlKind::kCombo: {
      auto* combo = qobject_cast<QComboBox*>(widget);
      QStringList items;
      for (const std::string& item : control.items()) items += ToText(item);
      bool same = combo->count() == items.size();
      for (int i = 0; same && i < combo->count(); ++i) same = combo->itemText(i) == items[i];
      if (!same) {
        combo->clear();
        combo->addItems(items);
      }
      combo->setCurrentIndex(control.list_index());
      return;
    }
    case ControlKind::kList: {
      auto* list = qobject_cast<QListWidget*>(widget);
      QStringList items;
      for (const std::string& item : control.items()) items += ToText(item);
      bool same = list->count() == items.size();
      for (int i = 0; same && i < list->count(); ++i) same = list->item(i)->text() == items[i];
      // A double click's second half must find the entry of its first.
      if (!same) {
        list->clear();
        list->addItems(items);
      }
      list->setCurrentRow(control.list_index());
      return;
    }
    case ControlKind::kFrame:
      if (auto* box = qobject_cast<QGroupBox*>(widget)) box->setTitle(ToText(control.caption()));
      return;
    case ControlKind::kTabs: {
      auto* tabs = qobject_cast<QTabBar*>(widget);
      while (tabs->count() > 0) tabs->removeTab(0);
      for (const std::string& item : control.items()) tabs->addTab(ToText(item));
      tabs->setCurrentIndex(control.list_index());
      return;
    }
    case ControlKind::kProgress: {
      auto* bar = qobject_cast<QProgressBar*>(widget);
      // The records keep exact numbers; a bar takes only sensible ones.
      bar->setMaximum(std::max(control.maximum(), 0));
      bar->setValue(std::clamp(control.number(), 0, std::max(control.maximum(), 0)));
      return;
    }
    case ControlKind::kGrid:
      CopyGrid(dynamic_cast<contract::Grid&>(control), qobject_cast<QTableWidget*>(widget));
      return;
    case ControlKind::kLines: {
      QString text;
      for (const std::string& item : control.items()) text += ToText(item) + u'\n';
      text.chop(1);
      auto* lines = qobject_cast<QPlainTextEdit*>(widget);
      if (lines->toPlainText() != text) lines->setPlainText(text);
      return;
    }
    case ControlKind::kBreaks:
      return;
  }
}

void FormWindow::CopyGrid(contract::Grid& grid, QTableWidget* table) {
  const int columns = static_cast<int>(grid.headings().size());
  const int rows = static_cast<int>(grid.rows().size());
  table->setUpdatesEnabled(false);
  bool new_shape = table->columnCount() != columns || table->rowCount() != rows;
  table->setColumnCount(columns);
  table->setRowCount(rows);
  QStringList headings;
  for (const std::string& heading : grid.headings()) headings += ToText(heading);
  QStringList longest(columns);
  for (int c = 0; !new_shape && c < columns; ++c)
    new_shape = table->horizontalHeaderItem(c) == nullptr ||
                table->horizontalHeaderItem(c)->text() != headings[c];
  table->setHorizontalHeaderLabels(headings);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < columns; ++c) {
      const contract::Grid::Cell& cell =
          grid.rows()[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)];
      QTableWidgetItem* item = table->item(r, c);
      if (item == nullptr) table->setItem(r, c, item = new QTableWidgetItem);
      const QString text = ToText(cell.text);
      if (text.size() > longest[c].size()) longest[c] = text;
      const QString doubt = ToText(cell.doubt);
      if (item->text() != text || item->data(Qt::AccessibleDescriptionRole) != doubt) {
        item->setText(text);
        item->setToolTip(!doubt.isEmpty() ? doubt : text.size() > 20 ? text : QString());
        item->setData(Qt::AccessibleDescriptionRole, doubt);
        item->setIcon(doubt.isEmpty() ? QIcon()
                                      : style()->standardIcon(QStyle::SP_MessageBoxWarning));
      }
      if (item->font().bold() != cell.bold) {
        QFont font = item->font();
        font.setBold(cell.bold);
        item->setFont(font);
      }
    }
  if (new_shape) {
    const int widest = Pixels(*this, 3600);
    const auto room_of = [&](const QString& text) {
      return table->fontMetrics().horizontalAdvance(text) + Pixels(*this, 240);
    };
    for (int c = 0; c < columns; ++c) {
      const int width =
          std::max(Pixels(*this, grid.widths()[static_cast<std::size_t>(c)]), room_of(headings[c]));
      table->setColumnWidth(c, std::max(width, std::min(room_of(longest[c]), widest)));
    }
    table->verticalHeader()->setDefaultSectionSize(
        std::max(Pixels(*this, 300), table->fontMetrics().height() + 4));
  }
  if (grid.selected_column() >= 0 && rows > 0) {
    table->clearSelection();
    table->setRangeSelected({0, grid.selected_column(), rows - 1, grid.selected_column()}, true);
    table->scrollToItem(table->item(0, grid.selected_column()));
  } else {
    table->clearSelection();
  }
  table->setUpdatesEnabled(true);
}

void FormWindow::UpdateDefaultButton() {
  bool given = false;
  for (Control* control : form_.controls()) {
    auto* button = qobject_cast<QPushButton*>(widgets_.value(control));
    if (button == nullptr) continue;
    const bool take = control->default_button && !given && control->enabled() && control->visible();
    if (button->isDefault() != take) button->setDefault(take);
    given = given || take;
  }
}

// --- The window

void FormWindow::CaptionChanged() {
  setWindowTitle(ToText(form_.caption()));
}

void FormWindow::FocusMoved(Control& control) {
  Flush();
  if (QWidget* widget = widgets_.value(&control)) widget->setFocus(Qt::OtherFocusReason);
}

void FormWindow::Closed() {
  closed_ = true;
  if (!start_size_.isEmpty() && size() != start_size_ && !isMaximized())
    RememberSize(objectName(), {Twips(*this, width()), Twips(*this, height())});
  QDialog::done(0);
}

void FormWindow::reject() {
  form_.CloseRequested();
  if (!closed_) Flush();
}

void FormWindow::closeEvent(QCloseEvent* event) {
  event->ignore();
  reject();
}

void FormWindow::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  if (activated_) return;
  activated_ = true;
  UpdateDefaultButton();
  QTimer::singleShot(0, this, [this] {
    if (!start_size_.isEmpty()) start_size_ = size();  // as its layout let it be
    repaint();
    form_.Form_Activate();
  });
}

void FormWindow::resizeEvent(QResizeEvent* event) {
  QDialog::resizeEvent(event);
  // What the window grows by because a step needs more room is not the user's wish.
  if (event->oldSize() == start_size_ && size() == start_size_.expandedTo(minimumSize()))
    start_size_ = size();
}

Control* FormWindow::ControlOf(QObject* widget) const {
  for (auto at = widgets_.constBegin(); at != widgets_.constEnd(); ++at)
    if (at.value() == widget) return at.key();
  return nullptr;
}

void FormWindow::keyPressEvent(QKeyEvent* event) {
  if (RepeatsPress(*event)) return;
  if (event->matches(QKeySequence::HelpContents)) {
    if (!event->isAutoRepeat()) ByUser([this] { form_.HelpRequested(); });
    return;
  }
  QDialog::keyPressEvent(event);
}

bool FormWindow::event(QEvent* event) {
  if (event->type() == QEvent::ShortcutOverride && RepeatsPress(*event)) {
    event->accept();  // the letters of buttons are shortcuts: none is pressed again
    return true;
  }
  return QDialog::event(event);
}

bool FormWindow::eventFilter(QObject* object, QEvent* event) {
  // A turn of the wheel over a closed list would change its entry unseen.
  if (event->type() == QEvent::Wheel) {
    const auto* combo = qobject_cast<QComboBox*>(object);
    if (combo != nullptr && !combo->view()->isVisible()) {
      event->ignore();
      return true;
    }
  }
  Control* const control = ControlOf(object);
  if (control == nullptr) return QDialog::eventFilter(object, event);
  switch (event->type()) {
    case QEvent::FocusIn:
      if (control->on_got_focus) ByUser([control] { control->on_got_focus(); });
      if (control->select_on_focus)
        if (auto* edit = qobject_cast<QLineEdit*>(object)) edit->selectAll();
      break;
    case QEvent::FocusOut:
      if (control->on_commit && !closed_) ByUser([control] { control->UserCommit(); });
      break;
    case QEvent::KeyPress: {
      const int key = static_cast<QKeyEvent*>(event)->key();
      if (key != Qt::Key_Return && key != Qt::Key_Enter) break;
      if (RepeatsPress(*event)) return true;
      if (control->on_commit) ByUser([control] { control->UserCommit(); });
      if (control->keeps_return && !TakesReturn(*control)) return true;
      break;
    }
    default:
      break;
  }
  if (qobject_cast<QAbstractButton*>(object) != nullptr && RepeatsPress(*event)) {
    event->accept();
    return true;
  }
  return QDialog::eventFilter(object, event);
}

}  // namespace kelvorin::wizard::qt
