#include "tests/servers/test_server.h"
#include "tests/support/places.h"

#include <doctest/doctest.h>
#include <signal.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace kelvorin::tests {

std::string RunCommand(const std::string& command, int& exit_code) {
  std::string output;
  exit_code = -1;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return output;
  std::array<char, 4096> piece;
  while (const std::size_t size = fread(piece.data(), 1, piece.size(), pipe))
    output.append(piece.data(), size);
  const int status = pclose(pipe);
  if (WIFEXITED(status)) exit_code = WEXITSTATUS(status);
  return output;
}

TestServer::TestServer(std::string_view kind) : kind_(kind) {
  StartAgain();
}

TestServer::~TestServer() {
  Stop();
}

std::string TestServer::Script(std::string_view command) const {
  return SourceFolder() + "/tests/servers/" + kind_ + ".sh " + std::string(command) + " " +
         folder_.File("s");
}

void TestServer::StartAgain() {
  int exit_code = 0;
  const std::string same_port = port_.empty() ? std::string() : "PORT=" + port_ + " ";
  std::string output = RunCommand(same_port + Script("start") + " 2>&1", exit_code);
  while (!output.empty() && output.back() == '\n') output.pop_back();
  if (exit_code == 0) {
    port_ = output.substr(output.rfind('\n') + 1);
  } else {
    port_.clear();
    MESSAGE("skipped: no server for these tests: " << output);
  }
}

TestServer& SharedServer(std::string_view kind) {
  static TestServer server(kind);
  if (!server.running()) MESSAGE("skipped: no server for this test case");
  return server;
}

int TestServer::pid() const {
  std::ifstream file(folder_.File(kind_ == "postgres" ? "s/data/postmaster.pid" : "s/pid"));
  int pid = 0;
  file >> pid;
  return pid;
}

void TestServer::Kill() {
  const int server = pid();
  REQUIRE(server > 1);
  if (kind_ == "postgres") {  // its children end when the one that accepts connections says so
    int exit_code = 0;
    RunCommand("MODE=immediate " + Script("stop"), exit_code);
  } else {
    kill(server, SIGKILL);
    for (int i = 0; i < 100 && kill(server, 0) == 0; ++i) {
      int exit_code = 0;
      RunCommand("sleep 0.05", exit_code);
    }
  }
}

void TestServer::Freeze(bool on) const {
  const std::string number = std::to_string(pid());
  int exit_code = 0;
  RunCommand(std::string(on ? "kill -STOP " : "kill -CONT ") + number + " $(pgrep -P " + number +
                 "); sleep 0.2",
             exit_code);
  REQUIRE(exit_code == 0);
}

void TestServer::Stop() {
  if (!running()) return;
  int exit_code = 0;
  RunCommand(Script("stop"), exit_code);
}

namespace {

struct Shared {
  Shared() {
    WriteWhole(folder.File("odbcinst.ini"),
               "[SQLite3]\nDriver=libsqlite3odbc.so\n[PGW]\nDriver=psqlodbcw.so\n"
               "[Maria]\nDriver=libmaodbc.so\n");
    WriteWhole(folder.File("odbc.ini"), "");
    WriteWhole(folder.File("user.ini"), "");
    setenv("ODBCSYSINI", folder.path().c_str(), 1);
    setenv("ODBCINI", folder.File("user.ini").c_str(), 1);
  }
  TempFolder folder;
  std::string system_entries, user_entries;
  int count = 0;
};

Shared& TheShared() {
  static Shared shared;
  return shared;
}

std::string Entry(std::string_view name, std::string_view driver, std::string_view lines) {
  return "[" + std::string(name) + "]\nDriver=" + std::string(driver) + "\n" + std::string(lines) +
         "\n";
}

}  // namespace

DataSourceFolder::DataSourceFolder() {
  TheShared();
}

std::string DataSourceFolder::Add(std::string_view name, std::string_view driver,
                                  std::string_view lines) {
  Shared& shared = TheShared();
  std::string own_name = std::string(name) + std::to_string(++shared.count);
  shared.system_entries += Entry(own_name, driver, lines);
  WriteWhole(shared.folder.File("odbc.ini"), shared.system_entries);
  return own_name;
}

std::string DataSourceFolder::AddServer(const TestServer& server) {
  return Add(server.kind(), server.kind() == "postgres" ? "PGW" : "Maria",
             "Servername=127.0.0.1\nServer=127.0.0.1\nPort=" + server.port() + "\nDatabase=imp\n");
}

void DataSourceFolder::AddForUser(std::string_view name, std::string_view driver) {
  Shared& shared = TheShared();
  shared.user_entries += Entry(name, driver, "");
  WriteWhole(shared.folder.File("user.ini"), shared.user_entries);
}

}  // namespace kelvorin::tests
