#include "os/sockets.h"

#include <dirent.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <charconv>
#include <memory>
#include <string_view>

namespace kelvorin::os {
namespace {

/// The socket behind a descriptor; number 0 when it is none.
SocketIdentity IdentityOf(int descriptor) noexcept {
  struct stat facts {};
  if (fstat(descriptor, &facts) != 0 || !S_ISSOCK(facts.st_mode)) return {};
  return {descriptor, facts.st_ino};
}

bool IsConnectedStream(int descriptor) noexcept {
  int type = 0;
  socklen_t size = sizeof type;
  sockaddr_storage peer{};
  socklen_t peer_size = sizeof peer;
  return getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM &&
         getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &peer_size) == 0;
}

}  // namespace

std::vector<SocketIdentity> ConnectedSockets() {
  std::vector<SocketIdentity> sockets;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc/self/fd"), closedir);
  if (folder == nullptr) return sockets;
  while (const dirent* entry = readdir(folder.get())) {
    const std::string_view name = entry->d_name;
    int descriptor = -1;
    if (std::from_chars(name.data(), name.data() + name.size(), descriptor).ec != std::errc())
      continue;
    const SocketIdentity identity = IdentityOf(descriptor);
    if (identity.number != 0 && IsConnectedStream(descriptor)) sockets.push_back(identity);
  }
  return sockets;
}

void ShutDown(const SocketIdentity& socket) noexcept {
  if (IdentityOf(socket.descriptor) == socket) shutdown(socket.descriptor, SHUT_RDWR);
}

bool PeerClosed(const SocketIdentity& socket) noexcept {
  pollfd asked{socket.descriptor, POLLRDHUP, 0};
  return IdentityOf(socket.descriptor) == socket && poll(&asked, 1, 0) > 0 &&
         (asked.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

}  // namespace kelvorin::os
