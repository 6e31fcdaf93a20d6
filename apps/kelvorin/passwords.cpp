#include "apps/kelvorin/passwords.h"

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "base/M_STRING.h"

namespace kelvorin::app {
namespace {

/// The first line without its end; fails when there is none.
Status TakeFirstLine(std::istream& in, const std::string& name, std::string& password) {
  if (!std::getline(in, password))
    return Status(Code::kIo, "no password can be read from '" + name + "'");
  if (!password.empty() && password.back() == '\r') password.pop_back();
  return Status();
}

Status ReadPassword(const std::string& file, std::string& password) {
  if (file == "-") return TakeFirstLine(std::cin, "standard input", password);
  std::ifstream in(file, std::ios::binary);
  return TakeFirstLine(in, file, password);
}

/// The terminal's echo, off while this lives; a signal that ends the program brings it back, too.
class Silence {
 public:
  Silence() {
    tcgetattr(STDIN_FILENO, &before_);
    struct sigaction action {};
    action.sa_handler = [](int signal) {
      tcsetattr(STDIN_FILENO, TCSANOW, &before_);
      raise(signal);  // once more, and now to its end
    };
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (std::size_t i = 0; i < kSignals.size(); ++i)
      sigaction(kSignals[i], &action, &handlers_[i]);
    termios silent = before_;
    silent.c_lflag &= static_cast<tcflag_t>(~ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  }
  ~Silence() {
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    for (std::size_t i = 0; i < kSignals.size(); ++i)
      sigaction(kSignals[i], &handlers_[i], nullptr);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  static constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
  static inline termios before_{};
  std::array<struct sigaction, kSignals.size()> handlers_{};
};

Status AskPassword(const std::string& of, std::string& password) {
  if (isatty(STDIN_FILENO) == 0) return Status(Code::kIo, "there is no terminal to ask on");
  std::fprintf(stderr, "Password of the %s: ", of.c_str());
  const Silence silence;
  KV_TRY(TakeFirstLine(std::cin, "the terminal", password));
  std::fputc('\n', stderr);
  return Status();
}

}  // namespace

void AddPassword(Command command, const std::string& prefix, const std::string& of,
                 std::string& password) {
  std::string variable = "KELVORIN_" + base::UpperAscii(prefix) + "PASSWORD";
  for (char& c : variable)
    if (c == '-') c = '_';
  command.Add("--" + prefix + "password", password, "Password of the " + of).Environment(variable);
  command.AddReader(
      "--" + prefix + "password-file",
      [&password](const std::string& file) { return ReadPassword(file, password); },
      "File whose first line is the password of the " + of + " (-: standard input)");
  command.AddAction(
      "--ask-" + prefix + "password", [&password, of] { return AskPassword(of, password); },
      "Ask for the password of the " + of + " on the terminal");
}

namespace {

/// `mask` takes the place of each password; without one its key goes as well.
std::string ReplacePasswords(std::string_view value, const char* mask) {
  std::string shown;
  for (std::size_t at = 0; at < value.size();) {
    // A part ends at ";"; inside braces that is an ordinary character.
    const std::size_t equals = value.find('=', at);
    std::size_t end = value.find(';', at);
    const bool has_key = equals < end;
    if (has_key && equals + 1 < value.size() && value[equals + 1] == '{') {
      end = equals + 2;
      while (end < value.size() && (value[end] != '}' || value.substr(end, 2) == "}}"))
        end += value[end] == '}' ? 2 : 1;
      end = value.find(';', std::min(end, value.size()));
    }
    end = std::min(end, value.size());
    const std::string_view key =
        has_key ? base::Trim(value.substr(at, equals - at)) : std::string_view();
    if ((base::EqualIgnoreCase(key, "PWD") || base::EqualIgnoreCase(key, "Password")) &&
        end > equals + 1) {
      if (mask == nullptr) {
        at = end + 1;
        continue;
      }
      shown += value.substr(at, equals + 1 - at);
      shown += mask;
    } else {
      shown += value.substr(at, end - at);
    }
    if (end < value.size()) shown += ';';
    at = end + 1;
  }
  return shown;
}

}  // namespace

std::string DropPasswords(std::string_view connect) {
  return ReplacePasswords(connect, nullptr);
}

std::string WithoutPasswords(std::string_view value) {
  return ReplacePasswords(value, "***");
}

}  // namespace kelvorin::app
