#define DOCTEST_CONFIG_IMPLEMENT
#include <doctest/doctest.h>

#include <QApplication>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>

namespace {

// The offscreen platform tells what it cannot do; nothing here needs it.
void Say(QtMsgType, const QMessageLogContext&, const QString& text) {
  if (!text.startsWith(QStringLiteral("This plugin does not support")))
    std::fprintf(stderr, "%s\n", qPrintable(text));
}

}  // namespace

int main(int argc, char** argv) {
  qInstallMessageHandler(Say);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const QTemporaryDir home;
  qputenv("HOME", home.path().toLocal8Bit());
  qputenv("XDG_CONFIG_HOME", home.path().toLocal8Bit());
  qputenv("XDG_RUNTIME_DIR", home.path().toLocal8Bit());
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
  doctest::Context context(argc, argv);
  return context.run();
}
