#pragma once
// Texts between the product (bytes of the ANSI page) and the windows, and measures between twips
// and pixels. Used by every window.

#include <QString>

#include <string>
#include <string_view>

class QWidget;

namespace kelvorin::wizard::qt {

QString ToText(std::string_view bytes);
/// Characters that the ANSI page does not have become "?".
std::string FromText(const QString& text);
/// File names are bytes of the file system, whatever the ANSI page is.
QString ToFileName(std::string_view bytes);
std::string FromFileName(const QString& name);
/// The caption without its mnemonic mark and the colon at its end.
QString PlainCaption(std::string_view caption);
/// 15 twips are one pixel at 96 dpi.
int Pixels(const QWidget& widget, int twips);
int Twips(const QWidget& widget, int pixels);

}  // namespace kelvorin::wizard::qt
