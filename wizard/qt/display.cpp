#include "wizard/qt/display.h"

#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QString>

#include <cstring>

#if defined(__unix__)
#include <netdb.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#endif

namespace kelvorin::wizard::qt {
namespace {

#if defined(__unix__)
bool Answers(int family, const sockaddr* address, socklen_t size) {
  const int handle = socket(family, SOCK_STREAM, 0);
  if (handle < 0) return false;
  const bool connected = connect(handle, address, size) == 0;
  close(handle);
  return connected;
}

bool LocalSocketAnswers(const QByteArray& path, bool abstract) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::size_t at = abstract ? 1 : 0;
  const auto length = static_cast<std::size_t>(path.size());
  if (length + at + 1 > sizeof address.sun_path) return false;
  std::memcpy(address.sun_path + at, path.constData(), length);
  const auto size =
      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + at + length + (abstract ? 0 : 1));
  sockaddr generic{};
  static_assert(sizeof generic <= sizeof address);
  return Answers(AF_UNIX, reinterpret_cast<const sockaddr*>(&address), size);
}

bool XServerAnswers(const QByteArray& display) {
  const qsizetype colon = display.lastIndexOf(':');
  if (colon < 0) return false;
  const QByteArray host = display.left(colon);
  QByteArray number = display.mid(colon + 1);
  if (const qsizetype point = number.indexOf('.'); point >= 0) number.truncate(point);
  if (host.isEmpty() || host == "unix") {
    const QByteArray path = "/tmp/.X11-unix/X" + number;
    return LocalSocketAnswers(path, false) || LocalSocketAnswers(path, true);
  }
  addrinfo* found = nullptr;
  const QByteArray port = QByteArray::number(6000 + number.toInt());
  if (getaddrinfo(host.constData(), port.constData(), nullptr, &found) != 0) return false;
  bool answers = false;
  for (const addrinfo* at = found; at != nullptr && !answers; at = at->ai_next)
    answers = Answers(at->ai_family, at->ai_addr, at->ai_addrlen);
  freeaddrinfo(found);
  return answers;
}

bool WaylandAnswers(const QByteArray& display) {
  const QByteArray path =
      display.startsWith('/') ? display : qgetenv("XDG_RUNTIME_DIR") + "/" + display;
  return LocalSocketAnswers(path, false);
}
#endif

bool HasPlugin(const QString& name) {
  QStringList folders{QLibraryInfo::path(QLibraryInfo::PluginsPath) + QStringLiteral("/platforms")};
  const QString own = qEnvironmentVariable("QT_QPA_PLATFORM_PLUGIN_PATH");
  if (!own.isEmpty()) folders += own;
  for (const QString& folder : folders)
    if (!QDir(folder).entryList({QStringLiteral("*q%1*").arg(name)}, QDir::Files).isEmpty())
      return true;
  return false;
}

}  // namespace

std::string MissingDisplay() {
#if defined(__unix__)
  const QByteArray x_display = qgetenv("DISPLAY");
  const QByteArray wayland = qgetenv("WAYLAND_DISPLAY");
  const QString wanted =
      qEnvironmentVariable("QT_QPA_PLATFORM").section(u';', 0, 0).section(u':', 0, 0);
  if (!wanted.isEmpty()) {
    if (!HasPlugin(wanted)) return "there is no window system '" + wanted.toStdString() + "'";
    if (wanted == u"xcb" && !XServerAnswers(x_display))
      return "the display '" + x_display.toStdString() + "' does not answer";
    if (wanted.startsWith(u"wayland") && !WaylandAnswers(wayland))
      return "the display '" + wayland.toStdString() + "' does not answer";
    return {};
  }
  if (x_display.isEmpty() && wayland.isEmpty())
    return "there is no display (neither DISPLAY nor WAYLAND_DISPLAY is set)";
  const bool x_usable =
      !x_display.isEmpty() && HasPlugin(QStringLiteral("xcb")) && XServerAnswers(x_display);
  const bool wayland_usable =
      !wayland.isEmpty() && HasPlugin(QStringLiteral("wayland")) && WaylandAnswers(wayland);
  if (!x_usable && !wayland_usable)
    return "the display '" + (x_display.isEmpty() ? wayland : x_display).toStdString() +
           "' does not answer";
#endif
  return {};
}

}  // namespace kelvorin::wizard::qt
