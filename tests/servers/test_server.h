#pragma once
// Real servers for tests: started in a folder of their own on loopback, stopped when the object
// goes. And a folder of data sources that only this process sees.

#include <string>
#include <string_view>

#include "tests/support/temp_folder.h"

namespace kelvorin::tests {

/// A server started by `tests/servers/<kind>.sh`.
class TestServer {
 public:
  /// `kind` is "postgres" or "mariadb". Says with MESSAGE when the server cannot start.
  explicit TestServer(std::string_view kind);
  ~TestServer();
  TestServer(const TestServer&) = delete;
  TestServer& operator=(const TestServer&) = delete;

  bool running() const noexcept { return !port_.empty(); }
  const std::string& port() const noexcept { return port_; }
  /// The process that accepts connections.
  int pid() const;
  /// Ends the server without letting it finish anything, as a failing machine does.
  void Kill();
  void StartAgain();
  void Stop();

 private:
  std::string Script(std::string_view command) const;
  TempFolder folder_;
  std::string kind_;
  std::string port_;
};

/// Output of a shell command; `exit_code` becomes its answer.
std::string RunCommand(const std::string& command, int& exit_code);

/// Names for the driver manager, in force from its making until the process ends.
class DataSourceFolder {
 public:
  DataSourceFolder();
  /// Adds a data source for the drivers "SQLite3", "PGW" and "Maria".
  void Add(std::string_view name, std::string_view driver, std::string_view lines);
  void AddServer(std::string_view name, const TestServer& server, std::string_view kind);
  const std::string& path() const noexcept { return folder_.path(); }
  std::string File(std::string_view name) const { return folder_.File(name); }

 private:
  TempFolder folder_;
  std::string entries_;
};

}  // namespace kelvorin::tests
