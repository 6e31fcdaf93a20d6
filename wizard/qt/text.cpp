#include "wizard/qt/text.h"

#include "base/code_page.h"

#include <QCoreApplication>
#include <QFile>
#include <QWidget>

namespace kelvorin::wizard::qt {

QString ToText(std::string_view bytes) {
  const base::CodePage& page = base::AnsiPage();
  if (page.is_utf8() || base::AsciiPrefix(bytes) == bytes.size())
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
  QString text;
  text.reserve(static_cast<qsizetype>(bytes.size()));
  for (const char c : bytes)
    text += QChar(static_cast<char16_t>(page.ToUnicode(static_cast<unsigned char>(c))));
  return text;
}

std::string FromText(const QString& text) {
  const base::CodePage& page = base::AnsiPage();
  if (page.is_utf8()) return text.toStdString();
  std::string bytes;
  for (const uint character : text.toUcs4()) {
    if (character < 0x80) {
      bytes += static_cast<char>(character);
      continue;
    }
    const auto byte = page.FromUnicode(character);
    bytes += byte ? static_cast<char>(*byte) : '?';
  }
  return bytes;
}

QString ToFileName(std::string_view bytes) {
  return QFile::decodeName(QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size())));
}

std::string FromFileName(const QString& name) {
  return QFile::encodeName(name).toStdString();
}

QString PlainCaption(std::string_view caption) {
  QString text = ToText(caption);
  text.remove(u'&');
  if (text.endsWith(u':')) text.chop(1);
  return text;
}

int Pixels(const QWidget& widget, int twips) {
  return qRound(twips * widget.logicalDpiX() / 1440.0);
}

int Twips(const QWidget& widget, int pixels) {
  return qRound(pixels * 1440.0 / widget.logicalDpiX());
}

}  // namespace kelvorin::wizard::qt
