#include "apps/kelvorin/command_line.h"

#include <CLI/CLI.hpp>

#include "apps/kelvorin/command.h"

namespace kelvorin::app {
namespace {

void RequireOk(const std::string& option, const Status& status) {
  if (!status.ok()) throw CLI::ValidationError(option, std::string(status.message()));
}

}  // namespace

Option Option::Required() {
  return Option(option_->required());
}

Option Option::Group(const std::string& heading) {
  return Option(option_->group(heading));
}

Option Option::OneOf(std::initializer_list<const char*> words) {
  return Option(
      option_->check(CLI::IsMember(std::vector<std::string>(words.begin(), words.end()))));
}

Option Option::Excludes(Option other) {
  return Option(option_->excludes(other.option_));
}

Option Option::OneWordEach() {
  return Option(option_->allow_extra_args(false));
}

Option Option::Environment(const std::string& variable) {
  return Option(option_->envname(variable));
}

Option Option::WithoutType() {
  return Option(option_->type_name(""));
}

Command Command::AddCommand(const std::string& name, const std::string& help) {
  return Command(command_->add_subcommand(name, help));
}

void Command::RequireCommand() {
  command_->require_subcommand(1);
}

void Command::OnUse(std::function<void()> action) {
  command_->callback(std::move(action));
}

void Command::Footer(const std::string& text) {
  command_->footer(text);
}

Option Command::Add(const std::string& name, std::string& value, const std::string& help) {
  return Option(command_->add_option(name, value, help));
}

Option Command::Add(const std::string& name, int& value, const std::string& help) {
  return Option(command_->add_option(name, value, help));
}

Option Command::Add(const std::string& name, std::int64_t& value, const std::string& help) {
  return Option(command_->add_option(name, value, help));
}

Option Command::Add(const std::string& name, std::vector<std::string>& values,
                    const std::string& help) {
  return Option(command_->add_option(name, values, help));
}

Option Command::AddFlag(const std::string& name, bool& value, const std::string& help) {
  return Option(command_->add_flag(name, value, help));
}

Option Command::AddReader(const std::string& name,
                          const std::function<Status(const std::string&)>& take,
                          const std::string& help) {
  return Option(command_->add_option_function<std::string>(
      name, [name, take](const std::string& word) { RequireOk(name, take(word)); }, help));
}

Option Command::AddAction(const std::string& name, const std::function<Status()>& action,
                          const std::string& help) {
  return Option(command_->add_flag_callback(
      name, [name, action] { RequireOk(name, action()); }, help));
}

CommandLine::CommandLine(const std::string& name, const std::string& version,
                         const std::string& help)
    : app_(std::make_unique<CLI::App>(help, name)) {
  app_->set_version_flag("--version", version);
}

CommandLine::~CommandLine() = default;

Command CommandLine::root() const {
  return Command(app_.get());
}

std::optional<int> CommandLine::Parse(int argc, char** argv) {
  try {
    app_->parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app_->exit(error) == 0 ? kAllImported : kWrongUsage;
  } catch (const std::exception& error) {
    return Report(kFatal, error.what());
  }
  return std::nullopt;
}

}  // namespace kelvorin::app
