#pragma once
// The texts of the product in the language of the windows, by the translators that the application
// has installed (context "kelvorin"), and the languages that the product brings along.

class QLocale;

namespace kelvorin::wizard::qt {

/// From now on forms, messages and hints come in the language of the installed translators. Done by
/// every platform with windows.
void UseInstalledTranslators();

/// Installs the translator that the product brings along for a language, and the window toolkit's
/// own. False where there is none: the texts stay English.
bool InstallLanguage(const QLocale& locale);

}  // namespace kelvorin::wizard::qt
