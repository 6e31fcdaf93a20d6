#include "wizard/qt/window_memory.h"

#include <QDir>
#include <QSettings>

namespace kelvorin::wizard::qt {
namespace {

QSettings Memory() {
  return QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Kelvorin"),
                   QStringLiteral("Windows"));
}

}  // namespace

QSize RememberedSize(const QString& window) {
  return Memory().value(QStringLiteral("Sizes/") + window).toSize();
}

void RememberSize(const QString& window, const QSize& twips) {
  Memory().setValue(QStringLiteral("Sizes/") + window, twips);
}

QString RememberedFolder(const QString& filters) {
  const QString folder = Memory().value(QStringLiteral("Folders/") + filters).toString();
  return !folder.isEmpty() && QDir(folder).exists() ? folder : QString();
}

void RememberFolder(const QString& filters, const QString& folder) {
  Memory().setValue(QStringLiteral("Folders/") + filters, folder);
}

}  // namespace kelvorin::wizard::qt
