#pragma once
// Commands and options as the parser of the command line takes them. Only command_line.cpp knows
// which library parses: it is large, and every file that includes it compiles ten times as long.

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/status.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kelvorin::app {

/// A handle of one option; lives as long as the `CommandLine`, like those of commands.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}
  Option Required();
  /// The heading below which the help lists it.
  Option Group(const std::string& heading);
  Option OneOf(std::initializer_list<const char*> words);
  Option Excludes(Option other);
  /// Each use takes one word, so that what follows can be something else.
  Option OneWordEach();
  /// The environment variable that counts where the option is not given.
  Option Environment(const std::string& variable);
  /// The help names no type of its value.
  Option WithoutType();

 private:
  CLI::Option* option_;
};

/// A handle of one command, or of the whole program. Values given to it outlive the parsing.
class Command {
 public:
  explicit Command(CLI::App* command) : command_(command) {}

  Command AddCommand(const std::string& name, const std::string& help);
  /// One of its commands has to be given.
  void RequireCommand();
  /// Called after parsing when this is the command that was given.
  void OnUse(std::function<void()> action);
  void Footer(const std::string& text);

  /// `name` begins with "--"; without these the value is told by its position.
  Option Add(const std::string& name, std::string& value, const std::string& help);
  Option Add(const std::string& name, int& value, const std::string& help);
  Option Add(const std::string& name, std::int64_t& value, const std::string& help);
  Option Add(const std::string& name, std::vector<std::string>& values, const std::string& help);
  Option AddFlag(const std::string& name, bool& value, const std::string& help);
  /// `take` gets the option's word; its failure is a wrong use of the option.
  Option AddReader(const std::string& name, const std::function<Status(const std::string&)>& take,
                   const std::string& help);
  /// Calls `action` when the flag is given; its failure is a wrong use of the option.
  Option AddAction(const std::string& name, const std::function<Status()>& action,
                   const std::string& help);

 private:
  CLI::App* command_;
};

/// The program's commands.
class CommandLine {
 public:
  CommandLine(const std::string& name, const std::string& version, const std::string& help);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  Command root() const;
  /// Reads the words and runs what was asked for. Help, version and complaints are printed; then,
  /// and only then, the answer is the process's exit status.
  std::optional<int> Parse(int argc, char** argv);

 private:
  std::unique_ptr<CLI::App> app_;
};

}  // namespace kelvorin::app
