#pragma once
// A label that is always as high as its text needs at the width it has. Layouts under a splitter do
// not ask wrapped labels for that, and draw over their last lines.

#include <QLabel>

namespace kelvorin::wizard::qt {

class NoteLabel final : public QLabel {
 public:
  explicit NoteLabel(QWidget* parent);
  bool event(QEvent* event) override;

 private:
  void KeepHeight();
};

}  // namespace kelvorin::wizard::qt
