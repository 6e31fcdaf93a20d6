// A host program with windows. See host_window.h.
//   import_host [PROPERTY=VALUE ...]

#include "host_window.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  HostWindow host;
  for (int i = 1; i < argc; ++i) {
    const QString argument = QString::fromLocal8Bit(argv[i]);
    const QByteArray name = argument.section('=', 0, 0).toLatin1();
    if (host.SetProperty(name, argument.section('=', 1))) continue;
    std::fprintf(stderr, "there is no property '%s'\n", name.constData());
    return 2;
  }
  if (argc == 1)
    host.Note("Set DataBaseName and TableName first; `./run host` brings sample data.");
  host.show();
  return QApplication::exec();
}
