#pragma once
// What the windows remember of their user from one call to the next: sizes and folders, in the
// user's own configuration (`Kelvorin/Windows.ini`). Never anything of a job; settings keep that.

#include <QSize>
#include <QString>

namespace kelvorin::wizard::qt {

/// The size in twips that the user gave the window of that name; an empty one when never.
QSize RememberedSize(const QString& window);
void RememberSize(const QString& window, const QSize& twips);

/// The folder of the file chosen last with these name filters; empty when it is gone, or none was.
QString RememberedFolder(const QString& filters);
void RememberFolder(const QString& filters, const QString& folder);

}  // namespace kelvorin::wizard::qt
