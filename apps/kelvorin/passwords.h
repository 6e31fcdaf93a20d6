#pragma once
// Passwords on their way to the program without standing on its command line, where every other
// user of the machine can read them, and out of what it prints.

#include <string>
#include <string_view>

#include "apps/kelvorin/command_line.h"

namespace kelvorin::app {

/// Adds `--[PREFIX]password`, `--[PREFIX]password-file FILE` ("-": standard input) and
/// `--ask-[PREFIX]password`, which asks on the terminal without echo. Without any of them the
/// environment variable `KELVORIN_[PREFIX]PASSWORD` counts. `prefix` is empty or ends in "-";
/// `password` outlives the command.
void AddPassword(Command command, const std::string& prefix, const std::string& of,
                 std::string& password);

/// A connect string without its passwords.
std::string DropPasswords(std::string_view connect);

/// A stored value with the passwords of connect strings in it replaced by "***".
std::string WithoutPasswords(std::string_view value);

}  // namespace kelvorin::app
