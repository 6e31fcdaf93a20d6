// Opens the import wizard on what the arguments name: PROPERTY=VALUE for each property of the
// control. The command `kelvorin wizard` starts this program, so that all other commands need no
// window system.

#include "control/kelvorin.h"
#include "wizard/qt/language.h"
#include "wizard/qt/qt_platform.h"

#include <QLocale>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
  kelvorin::wizard::qt::QtPlatform platform;
  kelvorin::Kelvorin control(&platform);
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const std::size_t sign = argument.find('=');
    const kelvorin::Status set =
        sign == std::string::npos
            ? kelvorin::Status(kelvorin::Code::kInvalidArgument,
                               "'" + argument + "' is not PROPERTY=VALUE")
            : control.SetPropertyText(argument.substr(0, sign), argument.substr(sign + 1));
    if (set.ok()) continue;
    std::fprintf(stderr, "kelvorin: %s\n", std::string(set.message()).c_str());
    return 2;
  }
  if (platform.CanShowForms().ok()) kelvorin::wizard::qt::InstallLanguage(QLocale());
  control.Execute();
  if (!control.LastError().empty()) {
    std::fprintf(stderr, "kelvorin: %s\n", control.LastError().c_str());
    return control.LastRun().fatal || control.LastRun().read == 0 ? 3 : 1;
  }
  return 0;
}
