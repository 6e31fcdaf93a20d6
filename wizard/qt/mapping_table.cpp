#include "wizard/qt/mapping_table.h"

#include "wizard/qt/text.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyledItemDelegate>

#include <algorithm>

namespace kelvorin::wizard::qt {
namespace {

constexpr int kSourceColumn = 5;

// Draws a line before the entry that is set apart.
class LineBefore final : public QStyledItemDelegate {
 public:
  LineBefore(QObject* parent, const int& apart) : QStyledItemDelegate(parent), apart_(apart) {}
  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override {
    QStyledItemDelegate::paint(painter, option, index);
    if (index.row() != apart_) return;
    painter->setPen(option.palette.color(QPalette::Mid));
    painter->drawLine(option.rect.topLeft(), option.rect.topRight());
  }
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    const QSize size = QStyledItemDelegate::sizeHint(option, index);
    return index.row() == apart_ ? size + QSize(0, size.height() / 2) : size;
  }

 private:
  const int& apart_;
};

}  // namespace

MappingTable::MappingTable(QWidget* parent, const contract::Grid& record)
    : QTableWidget(parent), record_(record) {
  setEditTriggers(NoEditTriggers);
  setTabKeyNavigation(false);
  setSelectionBehavior(SelectRows);
  setSelectionMode(SingleSelection);
  setWordWrap(false);
  verticalHeader()->hide();
  horizontalHeader()->setMinimumSectionSize(Pixels(*this, 150));
  horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  horizontalHeader()->setHighlightSections(false);
  connect(this, &QTableWidget::currentCellChanged, this, [this](int row, int, int before, int) {
    if (row != before && row >= 0 && !showing_ && on_row) on_row(row);
  });
  connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { PlaceChooser(); });
  connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, [this] { PlaceChooser(); });
  connect(horizontalHeader(), &QHeaderView::sectionResized, this, [this] { PlaceChooser(); });
}

void MappingTable::SetChooser(QComboBox* chooser) {
  if (chooser_ == chooser) return;
  chooser_ = chooser;
  chooser_->setParent(viewport());
  chooser_->installEventFilter(this);
  chooser_->setItemDelegate(new LineBefore(chooser_, apart_));
}

void MappingTable::SetApart(int entry) {
  apart_ = entry;
}

void MappingTable::ShowRow(int row, bool chooser_visible) {
  chooser_wanted_ = chooser_visible && row >= 0;
  showing_ = true;
  if (row >= 0 && row != currentRow()) setCurrentCell(row, kSourceColumn);
  showing_ = false;
  StretchColumns();
  PlaceChooser();
}

void MappingTable::PlaceChooser() {
  if (chooser_ == nullptr) return;
  const QRect cell =
      currentRow() < 0 ? QRect() : visualRect(model()->index(currentRow(), kSourceColumn));
  const bool on_screen = cell.isValid() && viewport()->rect().intersects(cell);
  chooser_->setVisible(chooser_wanted_ && on_screen);
  if (on_screen) chooser_->setGeometry(cell);
}

void MappingTable::StretchColumns() {
  const std::vector<int>& widths = record_.widths();
  const auto grows = [&](int column) {
    return std::find(record_.grown_columns.begin(), record_.grown_columns.end(), column) !=
           record_.grown_columns.end();
  };
  const int columns = std::min(columnCount(), static_cast<int>(widths.size()));
  int fixed = 0;
  int grown = 0;
  int grown_twips = 0;
  for (int column = 0; column < columns; ++column) {
    const QString heading =
        horizontalHeaderItem(column) != nullptr ? horizontalHeaderItem(column)->text() : QString();
    // The marker of column 0 is as wide as its two signs.
    const QString widest = column == 0 ? QStringLiteral("->") : heading;
    const int text = widest.isEmpty() ? 0 : fontMetrics().horizontalAdvance(widest) + 14;
    const int cells = grows(column) ? 0 : sizeHintForColumn(column);
    const int twips = widths[static_cast<std::size_t>(column)];
    const int least = std::max({Pixels(*this, twips), text, cells});
    (grows(column) ? grown : fixed) += least;
    if (grows(column)) {
      grown_twips += twips;
    } else {
      setColumnWidth(column, least);
    }
  }
  if (grown == 0) return;
  const int room = std::max(viewport()->width() - fixed, grown);
  for (int column = 0; column < columns; ++column)
    if (grows(column))
      setColumnWidth(column, room * widths[static_cast<std::size_t>(column)] / grown_twips);
}

void MappingTable::keyPressEvent(QKeyEvent* event) {
  const bool opens = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter ||
                     event->key() == Qt::Key_F4 || event->key() == Qt::Key_F2 ||
                     event->key() == Qt::Key_Space ||
                     (event->key() == Qt::Key_Down && (event->modifiers() & Qt::AltModifier) != 0);
  if (opens && chooser_ != nullptr && chooser_->isVisible()) {
    chooser_->setFocus();
    chooser_->showPopup();
  } else if (event->key() == Qt::Key_Delete && on_ignore) {
    on_ignore();
  } else {
    QTableWidget::keyPressEvent(event);
  }
}

bool MappingTable::eventFilter(QObject* object, QEvent* event) {
  if (object == chooser_ && event->type() == QEvent::KeyPress && !chooser_->view()->isVisible()) {
    const auto* key = static_cast<QKeyEvent*>(event);
    const bool control = (key->modifiers() & Qt::ControlModifier) != 0;
    switch (key->key()) {
      case Qt::Key_Up:
      case Qt::Key_Down:
        if (!control) {
          // The next entry would take the whole mapping away.
          if (key->key() == Qt::Key_Down && chooser_->currentIndex() + 1 == apart_) return true;
          break;
        }
        if (const int row = currentRow() + (key->key() == Qt::Key_Up ? -1 : 1);
            row >= 0 && row < rowCount())
          setCurrentCell(row, kSourceColumn);
        return true;
      case Qt::Key_Return:
      case Qt::Key_Enter:
      case Qt::Key_Escape:
        setFocus();
        return true;
      case Qt::Key_Delete:
        if (on_ignore) on_ignore();
        return true;
      case Qt::Key_End:
      case Qt::Key_PageDown:
        if (apart_ < 0) break;
        chooser_->setCurrentIndex(apart_ - 1);
        emit chooser_->activated(apart_ - 1);
        return true;
      default:
        break;
    }
  }
  return QTableWidget::eventFilter(object, event);
}

void MappingTable::resizeEvent(QResizeEvent* event) {
  QTableWidget::resizeEvent(event);
  StretchColumns();
  PlaceChooser();
}

void MappingTable::updateGeometries() {
  QTableWidget::updateGeometries();
  PlaceChooser();
}

}  // namespace kelvorin::wizard::qt
