#pragma once
// The window over one form object: makes a widget for every control record, copies records into
// widgets and tells the form what the user did. Derived windows only lay the widgets out; no window
// has a rule of the import.

#include <QDialog>
#include <QHash>
#include <QPointer>
#include <QSet>

#include <functional>
#include <initializer_list>
#include <memory>

#include "contract/form.h"

class QBoxLayout;
class QButtonGroup;
class QTableWidget;

namespace kelvorin::wizard::qt {

class FormWindow : public QDialog, public contract::FormView {
 public:
  explicit FormWindow(contract::Form& form);
  ~FormWindow() override;

  contract::Form& form() const noexcept { return form_; }
  /// Copies all changed records into their widgets now; else this happens before the next event.
  void Flush();
  /// Stands over that window, in its middle, when it opens; unless it has a place of its own.
  void OpenOver(QWidget& owner);
  /// Shows the window and returns when the form has closed.
  void Run();

  // --- FormView
  void ControlChanged(contract::Control& control) override;
  void CaptionChanged() override;
  void FocusMoved(contract::Control& control) override;
  void Closed() override;

 protected:
  /// The widget of a control, made at the first call. Its object name is the control's name.
  QWidget* Widget(contract::Control& control);
  /// Widget of a kind that only one window has, or null.
  virtual QWidget* MakeSpecial(contract::Control&) { return nullptr; }
  /// True when the window itself copied the record.
  virtual bool CopySpecial(contract::Control&, QWidget*) { return false; }
  virtual void Copied() {}
  /// Whether a control that keeps Return for itself does something with it.
  virtual bool TakesReturn(contract::Control&) { return false; }
  /// Runs what the user did and copies what it changed.
  void ByUser(const std::function<void()>& act);
  /// The label's mnemonic leads to the widget.
  QWidget* Label(contract::Control& label, contract::Control& buddy);
  /// Row of buttons; a null stands for the space that grows.
  QBoxLayout* ButtonRow(std::initializer_list<contract::Control*> buttons);
  /// Opens the window with this size, or with the one that the user gave it last.
  void StartSize(int width_twips, int height_twips);
  /// Tab order as listed.
  void SetOrder(std::initializer_list<contract::Control*> order);
  /// Keeps every press of Return that no button takes from closing the window.
  void accept() override {}
  void reject() override;
  void closeEvent(QCloseEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  bool event(QEvent* event) override;
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  QWidget* Make(contract::Control& control);
  void Copy(contract::Control& control, QWidget* widget);
  void CopyButton(contract::Control& control, QWidget* widget);
  void CopyGrid(contract::Grid& grid, QTableWidget* table);
  void UpdateDefaultButton();
  contract::Control* ControlOf(QObject* widget) const;
  /// What a person who does not see the window hears of a control.
  void CopyNames(contract::Control& control, QWidget* widget);

  contract::Form& form_;
  QHash<contract::Control*, QWidget*> widgets_;
  QHash<int, QButtonGroup*> groups_;
  QSet<contract::Control*> changed_;
  QSize start_size_;  // in pixels; of a window that remembers its size
  QPointer<QWidget> owner_;
  bool flush_posted_ = false;
  bool activated_ = false;
  bool closed_ = false;
};

/// The window for a form, by its name.
std::unique_ptr<FormWindow> MakeWindow(contract::Form& form);

}  // namespace kelvorin::wizard::qt
