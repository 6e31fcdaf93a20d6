#pragma once
// The mapping grid with the chooser laid over the current row's source field. The wizard's window
// makes one and fills it like every other grid.

#include "contract/form.h"

#include <QTableWidget>

#include <functional>

class QComboBox;

namespace kelvorin::wizard::qt {

class MappingTable final : public QTableWidget {
 public:
  /// Column widths are those of the record, which outlives the table.
  MappingTable(QWidget* parent, const contract::Grid& record);

  /// The chooser becomes a child of the grid.
  void SetChooser(QComboBox* chooser);
  /// The chooser's entry that keys do not step to while the list is closed, with a line before it.
  void SetApart(int entry);
  /// Makes a row the current one and places the chooser on it.
  void ShowRow(int row, bool chooser_visible);

  std::function<void(int)> on_row;
  std::function<void()> on_ignore;

 private:
  void PlaceChooser();
  void StretchColumns();
  void keyPressEvent(QKeyEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void updateGeometries() override;
  bool eventFilter(QObject* object, QEvent* event) override;

  const contract::Grid& record_;
  QComboBox* chooser_ = nullptr;
  int apart_ = -1;
  bool chooser_wanted_ = false;
  bool showing_ = false;
};

}  // namespace kelvorin::wizard::qt
