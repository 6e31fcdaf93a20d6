#pragma once
// Whether a window system can be reached from this process. Looks before a GUI application object
// is made, because making one without a window system ends the process.

#include <string>

namespace kelvorin::wizard::qt {

/// Empty when windows can be shown; else what is missing.
std::string MissingDisplay();

}  // namespace kelvorin::wizard::qt
