#pragma once
// The network connections of this process, for those that a library opened and keeps to itself: how
// to find such a one again, and how to end it from outside so that whoever waits for it wakes. Used
// by the ODBC driver; opens none and reads none.

#include <cstdint>
#include <vector>

namespace kelvorin::os {

/// A socket. The number tells it from a later one with the same descriptor.
struct SocketIdentity {
  int descriptor = -1;
  std::uint64_t number = 0;
  bool operator==(const SocketIdentity&) const = default;
};

/// The stream sockets of this process that have a peer; empty where the system does not tell.
std::vector<SocketIdentity> ConnectedSockets();
/// Ends both directions; harmless when the descriptor stands for something else by now.
void ShutDown(const SocketIdentity& socket) noexcept;
/// Whether the other side has ended the connection, whatever it said before that; does not wait.
bool PeerClosed(const SocketIdentity& socket) noexcept;

}  // namespace kelvorin::os
