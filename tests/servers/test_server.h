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
  const std::string& kind() const noexcept { return kind_; }
  /// The process that accepts connections.
  int pid() const;
  /// Ends the server without letting it finish anything, as a failing machine does.
  void Kill();
  void StartAgain();
  /// Lets all its processes stand still, or go on: it keeps its connections and answers nothing.
  void Freeze(bool on) const;
  void Stop();

 private:
  std::string Script(std::string_view command) const;
  TempFolder folder_;
  std::string kind_;
  std::string port_;
};

/// One server for all test cases of this program that may share it.
TestServer& SharedServer(std::string_view kind);

/// Output of a shell command; `exit_code` becomes its answer.
std::string RunCommand(const std::string& command, int& exit_code);

/// Data sources that only this process sees. The driver manager reads the place of its files once
/// and keeps what it read, so all objects share one place and every name is a new one.
class DataSourceFolder {
 public:
  DataSourceFolder();
  /// Adds a system data source for the drivers "SQLite3", "PGW" and "Maria"; returns its name,
  /// which begins with `name`.
  std::string Add(std::string_view name, std::string_view driver, std::string_view lines);
  std::string AddServer(const TestServer& server);
  /// Adds one of the user's own under exactly this name.
  void AddForUser(std::string_view name, std::string_view driver);
  std::string File(std::string_view name) const { return folder_.File(name); }

 private:
  TempFolder folder_;  // for database files
};

}  // namespace kelvorin::tests
