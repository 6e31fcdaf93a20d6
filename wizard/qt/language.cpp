#include "wizard/qt/language.h"

#include "base/language.h"
#include "wizard/qt/text.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#ifdef KELVORIN_HAS_LANGUAGES
static void FindLanguages() {
  Q_INIT_RESOURCE(languages);  // in a static library nobody else asks for it
}
#endif

namespace kelvorin::wizard::qt {
namespace {

std::string Translated(std::string_view text) {
  std::string source(text);
  if (QCoreApplication::instance() == nullptr) return source;
  const QString shown = QCoreApplication::translate("kelvorin", source.c_str());
  return shown == QString::fromUtf8(source.data(), static_cast<qsizetype>(source.size()))
             ? source
             : FromText(shown);
}

bool Install(const QLocale& locale, const QString& name, const QString& folder) {
  auto* translator = new QTranslator(QCoreApplication::instance());
  if (translator->load(locale, name, QStringLiteral("_"), folder) &&
      QCoreApplication::installTranslator(translator))
    return true;
  delete translator;
  return false;
}

}  // namespace

void UseInstalledTranslators() {
  base::SetTranslation(&Translated);
}

bool InstallLanguage(const QLocale& locale) {
#ifdef KELVORIN_HAS_LANGUAGES
  FindLanguages();
#endif
  if (QCoreApplication::instance() == nullptr ||
      !Install(locale, QStringLiteral("kelvorin"), QStringLiteral(":/kelvorin/languages")))
    return false;
  Install(locale, QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
  return true;
}

}  // namespace kelvorin::wizard::qt
