// A process with a core application only, as a service has one: `Execute` and `display` answer, and
// the process goes on.

#include "control/kelvorin.h"
#include "wizard/qt/qt_platform.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  kelvorin::wizard::qt::QtPlatform platform;
  kelvorin::Kelvorin control(&platform);
  control.display();
  control.Execute();
  const std::string expected =
      "The import wizard cannot be shown: the process has an application object without windows";
  std::printf("%s\n", control.LastError().c_str());
  return control.LastError() == expected ? 0 : 1;
}
