#pragma once
// A label that is always as high as its text needs at the width it has. Layouts under a splitter do
// not ask wrapped labels for that: they draw over the last lines, or leave room for lines that a
// narrower label would have.

#include <QLabel>

namespace kelvorin::wizard::qt {

class NoteLabel final : public QLabel {
 public:
  explicit NoteLabel(QWidget* parent);
  /// Wraps, as high as its lines; long words are broken.
  void Wrap();
  void Show(const QString& text);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;
  bool hasHeightForWidth() const override { return false; }

 private:
  void resizeEvent(QResizeEvent* event) override;
};

}  // namespace kelvorin::wizard::qt
