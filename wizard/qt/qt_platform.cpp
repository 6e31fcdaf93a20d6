#include "wizard/qt/qt_platform.h"

#include "base/M_Misc.h"
#include "base/language.h"
#include "wizard/frm_progress.h"
#include "wizard/qt/display.h"
#include "wizard/qt/form_window.h"
#include "wizard/qt/key_guard.h"
#include "wizard/qt/language.h"
#include "wizard/qt/text.h"
#include "wizard/qt/window_memory.h"

#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QShortcut>
#include <QThread>

#include <utility>
#include <vector>

namespace kelvorin::wizard::qt {

using contract::Answer;
using contract::Buttons;
using contract::Icon;

namespace {

// How often windows are served under a run, and how often the dialog is drawn. On a busy machine a
// run gets little of the time on the wall, and most of it would go there: so a service also waits
// until the run has used the processor for `kShare` times as long as the last one took, but not
// longer than a person waits for an answer.
constexpr qint64 kServeMilliseconds = 10;
constexpr qint64 kShowMilliseconds = 40;
constexpr qint64 kLongestWait = 100;
constexpr std::int64_t kShare = 25;

constexpr int kMostLines = 12;     // of a message on the screen
constexpr int kLinesAtTheEnd = 6;  // the reason and the question stand there
constexpr int kLongestLine = 400;  // characters
constexpr int kLongestWord = 90;   // is not wrapped

QString WithoutMiddle(const QString& text, int longest) {
  if (text.size() <= longest) return text;
  return text.left(longest / 2) + QStringLiteral(" [...] ") + text.right(longest / 2);
}

// A message that fits on the screen: long lines and words lose their middle, many lines those in
// between. Values in messages are as long as the data is.
QString Shortened(const QString& message) {
  QStringList lines = message.split(u'\n');
  if (lines.size() > kMostLines) {
    const QStringList end = lines.mid(lines.size() - kLinesAtTheEnd);
    lines = lines.mid(0, kMostLines - kLinesAtTheEnd) + QStringList{QStringLiteral("[...]")} + end;
  }
  for (QString& line : lines) {
    QStringList words = WithoutMiddle(line, kLongestLine).split(u' ');
    for (QString& word : words) word = WithoutMiddle(word, kLongestWord);
    line = words.join(u' ');
  }
  return lines.join(u'\n');
}

// "All Files (*.*)|*.*" as the name filter "All Files (*.*) (*)". The label's own parentheses are
// shown, the added ones are hidden by the dialog.
QStringList NameFilters(std::string_view filter) {
  const QStringList parts = ToText(filter).split(u'|');
  QStringList filters;
  for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
    QStringList patterns = parts[i + 1].split(u';');
    for (QString& pattern : patterns)
      if (pattern == u"*.*") pattern = QStringLiteral("*");  // files without a point, too
    filters += ToText(base::Tr(parts[i].toStdString())) + QStringLiteral(" (") +
               patterns.join(u' ') + u')';
  }
  return filters;
}

}  // namespace

struct QtPlatform::State {
  std::vector<FormWindow*> open;  // the innermost one is the last
  qint64 served = 0;
  qint64 look_again = 0;
  qint64 shown = 0;
  std::int64_t served_at = 0;  // processor time when the last service ended, and what it took
  std::int64_t service = 0;
  frmProgress* progress = nullptr;  // the dialog over the run under way
  bool looked = false;              // at the clock, by the last yield
  int wait_depth = 0;
  bool abandoned = false;

  QWidget* parent() const { return open.empty() ? QApplication::activeWindow() : open.back(); }
  void DrawProgress() {
    progress->Refresh();
    open.back()->Flush();
  }
};

QtPlatform::QtPlatform() : state_(std::make_unique<State>()) {
  UseInstalledTranslators();
}
QtPlatform::~QtPlatform() = default;

Status QtPlatform::CanShowForms() const {
  const auto refuse = [](const std::string& why) {
    return Status(Code::kNotSupported, "The import wizard cannot be shown: " + why);
  };
  if (const QCoreApplication* application = QCoreApplication::instance()) {
    if (qobject_cast<const QApplication*>(application) == nullptr)
      return refuse("the process has an application object without windows");
    if (application->thread() != QThread::currentThread())
      return refuse("it must be opened from the thread of the windows");
    return Status();
  }
  const std::string missing = MissingDisplay();
  if (!missing.empty()) return refuse(missing);
  static int argc = 1;
  static char name[] = "kelvorin";
  static char* argv[] = {name, nullptr};
  new QApplication(argc, argv);  // for the rest of the process
  return Status();
}

Answer QtPlatform::Ask(const contract::MessageBox& box) {
  const Answer cancelled = box.buttons == Buttons::kOk         ? Answer::kOk
                           : box.buttons == Buttons::kOkCancel ? Answer::kCancel
                                                               : Answer::kNo;
  if (state_->abandoned || !CanShowForms().ok()) return cancelled;
  if (state_->progress != nullptr) state_->DrawProgress();
  QMessageBox window(state_->parent());
  window.setWindowTitle(ToText(box.title));
  window.setTextFormat(Qt::PlainText);  // messages carry data
  const QString whole = ToText(box.text).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
  const QString shown = Shortened(whole);
  window.setText(shown);
  QString details = shown != whole ? whole : QString();
  if (!box.details.empty()) {
    if (!details.isEmpty()) details += QStringLiteral("\n\n");
    details += ToText(box.details).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
  }
  if (!details.isEmpty()) window.setDetailedText(details);
  window.setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  const QMessageBox::Icon icons[] = {QMessageBox::NoIcon, QMessageBox::Information,
                                     QMessageBox::Warning, QMessageBox::Question,
                                     QMessageBox::Critical};
  window.setIcon(icons[static_cast<int>(box.icon)]);
  switch (box.buttons) {
    case Buttons::kOk:
      window.setStandardButtons(QMessageBox::Ok);
      break;
    case Buttons::kOkCancel:
      window.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
      window.setDefaultButton(box.careful ? QMessageBox::Cancel : QMessageBox::Ok);
      break;
    case Buttons::kYesNo:
      window.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
      window.setDefaultButton(box.careful ? QMessageBox::No : QMessageBox::Yes);
      window.setEscapeButton(QMessageBox::No);
      break;
  }
  QShortcut copy(QKeySequence::Copy, &window);
  QObject::connect(&copy, &QShortcut::activated, &window,
                   [&whole] { QApplication::clipboard()->setText(whole); });
  KeyGuard once;
  window.installEventFilter(&once);
  for (QAbstractButton* button : window.buttons()) button->installEventFilter(&once);
  const int wait = std::exchange(state_->wait_depth, 0);
  if (wait > 0) QApplication::restoreOverrideCursor();
  const int pressed = window.exec();
  if (wait > 0) QApplication::setOverrideCursor(Qt::WaitCursor);
  state_->wait_depth = wait;
  switch (pressed) {
    case QMessageBox::Ok:
      return Answer::kOk;
    case QMessageBox::Yes:
      return Answer::kYes;
    default:
      return cancelled;
  }
}

void QtPlatform::SetWaitCursor(bool on) {
  if (qobject_cast<QApplication*>(QCoreApplication::instance()) == nullptr) return;
  state_->wait_depth += on ? 1 : -1;
  if (on && state_->wait_depth == 1) QApplication::setOverrideCursor(Qt::WaitCursor);
  if (!on && state_->wait_depth == 0) QApplication::restoreOverrideCursor();
}

void QtPlatform::Yield() {
  // Under the dialog two yields come with each record: one look at the clock is enough for both.
  if (state_->progress != nullptr && (state_->looked = !state_->looked)) return;
  const qint64 now = base::CoarseMilliseconds();  // looked at for every record
  if (now < state_->look_again) return;
  state_->look_again = now + kServeMilliseconds;
  const std::int64_t used = base::CpuNanoseconds();
  if (now - state_->served < kLongestWait && used >= state_->served_at &&
      used - state_->served_at < state_->service * kShare)
    return;
  Serve(now);
  state_->served_at = base::CpuNanoseconds();
  state_->service = state_->served_at - used;
}

void QtPlatform::Serve(std::int64_t now) {
  if (QCoreApplication::instance() == nullptr) return;
  if (state_->progress != nullptr && now - state_->shown >= kShowMilliseconds) {
    state_->DrawProgress();
    state_->shown = now;
  }
  // Without the dialog over it, nothing may be pressed in the wizard while it imports.
  QCoreApplication::processEvents(state_->progress != nullptr ? QEventLoop::AllEvents
                                                              : QEventLoop::ExcludeUserInputEvents);
  state_->served = base::CoarseMilliseconds();
  state_->look_again = state_->served + kServeMilliseconds;
}

void QtPlatform::ShowModal(contract::Form& form) {
  if (state_->abandoned || !CanShowForms().ok()) {
    form.Close();
    return;
  }
  const std::unique_ptr<FormWindow> window = MakeWindow(form);
  if (!state_->open.empty()) {
    // No child of the other window: that one must not take this one along.
    window->winId();
    window->setWindowModality(Qt::ApplicationModal);
    window->OpenOver(*state_->open.back());
  }
  state_->open.push_back(window.get());
  frmProgress* const before = std::exchange(state_->progress, dynamic_cast<frmProgress*>(&form));
  window->Run();
  state_->progress = before;
  state_->open.pop_back();
  // A question over the closed window had the focus; not every desktop finds its way back.
  if (!state_->open.empty()) state_->open.back()->activateWindow();
}

std::string QtPlatform::ChooseFile(const contract::FileDialog& dialog) {
  QFileDialog window(state_->parent());
  window.setAcceptMode(dialog.save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
  window.setFileMode(dialog.save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
  window.setOption(QFileDialog::HideNameFilterDetails);
  window.setOption(QFileDialog::DontConfirmOverwrite, dialog.keeps);
  const QStringList filters = NameFilters(dialog.filter);
  window.setNameFilters(filters);
  if (dialog.filter_index >= 1 && dialog.filter_index <= filters.size())
    window.selectNameFilter(filters[dialog.filter_index - 1]);
  const QString kept_as = filters.join(u'|');
  if (!dialog.file_name.empty()) {
    window.selectFile(ToFileName(dialog.file_name));
  } else if (const QString folder = RememberedFolder(kept_as); !folder.isEmpty()) {
    window.setDirectory(folder);
  }
  if (window.exec() != QDialog::Accepted || window.selectedFiles().isEmpty()) return {};
  RememberFolder(kept_as, window.directory().absolutePath());
  return FromFileName(QDir::toNativeSeparators(window.selectedFiles().constFirst()));
}

std::string QtPlatform::ClipboardText() {
  return QApplication::clipboard()->text().toStdString();
}

std::string QtPlatform::InputBox(std::string_view title, std::string_view prompt,
                                 std::string_view text) {
  QInputDialog window(state_->parent());
  window.setWindowTitle(ToText(title));
  window.setLabelText(ToText(prompt));
  window.setTextValue(ToText(text));
  window.resize(Pixels(window, 4800), window.sizeHint().height());
  return window.exec() == QDialog::Accepted ? FromText(window.textValue()) : std::string();
}

void QtPlatform::Abandon() {
  state_->abandoned = true;
  if (QWidget* box = QApplication::activeModalWidget())
    if (qobject_cast<QMessageBox*>(box) != nullptr) box->close();
  for (FormWindow* window : std::vector<FormWindow*>(state_->open.rbegin(), state_->open.rend())) {
    if (auto* progress = dynamic_cast<frmProgress*>(&window->form())) {
      progress->Stop();
    } else {
      window->form().Abandoned();
    }
  }
}

}  // namespace kelvorin::wizard::qt
